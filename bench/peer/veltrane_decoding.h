// Whole-stream decoding with libveltrane's session functions, as a host does.
#ifndef VELTRANE_BENCH_PEER_VELTRANE_DECODING_H
#define VELTRANE_BENCH_PEER_VELTRANE_DECODING_H

#include <cstdint>
#include <vector>

#include "planar_picture.h"
#include "veltrane/veltrane.h"

namespace veltrane::peer {

struct OurDecodeResult {
    bool opened = false;
    int decoded = 0;         // frames that returned status 0
    int failed = 0;          // frames that did not
    int32_t firstError = 0;  // the status of the first failed frame
};

// Opens a session of the stream's size, decodes every frame (into `image` as
// well, when it is not null) and closes it. `visit`, when given, sees each
// picture decoded without error.
OurDecodeResult DecodeOurStream(const std::vector<std::vector<uint8_t>>& frames, int width,
                                int height, IAllocator* allocator, QXImage_t* image,
                                const PictureVisitor* visit = nullptr);

}  // namespace veltrane::peer

#endif
