// The picture decoding loop behind H263DecompressFrame, and an internal variant
// that also reports what it found in each macroblock, for tools that show the
// structure of a stream. The exported path instantiates the loop with an
// observer that does nothing, so it neither costs time nor allocates.
#ifndef VELTRANE_CORE_PICTURE_DECODER_H
#define VELTRANE_CORE_PICTURE_DECODER_H

#include <cstdint>

#include "veltrane/decoder.h"
#include "veltrane/session.h"

namespace veltrane {

// One macroblock as the decoder read it.
struct MacroblockRecord {
    bool damaged;         // the reader had recorded an error by its end: what it holds, and
                          // what follows it, comes from bits the decoder could not trust
    bool skipped;         // not coded (COD = 1): copied from the reference
    int16_t type;         // 0..4 as the decoder keeps it (0 when skipped; intra picture: 3 or 4)
    uint8_t quantiser;    // the quantiser in force at its end
    uint8_t codedBlocks;  // blocks with coefficients: bits 3..0 luma 0..3, bit 5 Cb, bit 4 Cr
    // inter: its vectors (a one-vector macroblock repeats its one vector)
    MotionVector_t vectors[4];
    uint32_t firstBit;  // stream position of its first bit (stuffing included)
    uint32_t bitCount;  // bits it occupies
};

// H263DecompressFrame, recording every macroblock the loop reached into
// `records` (room for the decoder's mbCount entries); `*recordCount` receives
// how many it reached (all of them unless status 44 stopped the picture, none
// for header errors and pictures without macroblock data).
int32_t DecompressFrameRecordingMacroblocks(void* decoder, const unsigned char* frame, int32_t size,
                                            unsigned char*** planes, int32_t* yStride,
                                            int32_t* uvStride, MacroblockRecord* records,
                                            int32_t* recordCount);

// DecompressFrame of the session, recording the macroblocks as above: `records`
// needs room for the mbCount entries of the session's decoder.
int32_t DecompressSessionFrameRecordingMacroblocks(void* session, const unsigned char* data,
                                                   uint32_t size, QXImage_t* image,
                                                   MacroblockRecord* records, int32_t* recordCount);

// Drops a reader error that an earlier call on the session left uncollected: a
// header inquiry of a frame cut short, or a picture stopped by status 44. The
// exported functions keep such an error for the next decode, which then fails
// with it; a caller that judges every frame on its own bits calls this after
// an inquiry and after a failed frame.
void DiscardSessionReaderError(void* session);

}  // namespace veltrane

#endif
