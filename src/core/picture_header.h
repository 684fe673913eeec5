// The picture header: the frame-start check (start code and version) and the
// parser of the picture layer.
#ifndef VELTRANE_CORE_PICTURE_HEADER_H
#define VELTRANE_CORE_PICTURE_HEADER_H

#include <cstdint>

#include "veltrane/bitreader.h"
#include "veltrane/decoder.h"

namespace veltrane {

// Parses the picture layer from the temporal reference on into a zero-filled
// header. Returns 12 for the reserved source format 7, else 0; fields cut off by
// the end of the frame are 0 and the reader holds error 4.
int32_t ParsePictureHeader(fifo_t* fifo, PictureHeader_t* header);

// Points the reader at the frame, checks the start code and the version, and
// parses the header. Returns 0 or 12. Frames whose bit count does not fit in 32
// bits (512 MiB and more) or with a negative size are refused with 12.
int32_t CheckFrameStart(fifo_t* fifo, const unsigned char* frame, int64_t size,
                        PictureHeader_t* header);

}  // namespace veltrane

#endif
