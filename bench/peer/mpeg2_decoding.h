// Whole-stream decoding with libmpeg2, the peer for whole decodes: MPEG-2 has the
// same 8x8 DCT and half-sample motion compensation design.
#ifndef VELTRANE_BENCH_PEER_MPEG2_DECODING_H
#define VELTRANE_BENCH_PEER_MPEG2_DECODING_H

#include <cstdint>
#include <string>
#include <vector>

#include "planar_picture.h"

namespace veltrane::peer {

struct Mpeg2DecodeResult {
    bool opened = false;
    int pictures = 0;  // pictures handed out for display
    int invalid = 0;   // times the decoder reported invalid data
    int width = 0;     // from the sequence header
    int height = 0;
};

// Decodes an elementary stream held in memory with a fresh decoder, at
// libmpeg2's default acceleration. `visit`, when given, sees each picture.
Mpeg2DecodeResult DecodeTheirStream(const std::vector<uint8_t>& stream,
                                    const PictureVisitor* visit = nullptr);

// The instruction sets libmpeg2 chose on this machine, e.g. "MMX MMXEXT SSE2".
std::string Mpeg2Acceleration();

}  // namespace veltrane::peer

#endif
