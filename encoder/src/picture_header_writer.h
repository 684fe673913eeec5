// The picture header: start code, version, temporal reference, source format
// (a fixed size code when one matches, else explicit 8- or 16-bit dimensions),
// picture type, deblocking flag, quantiser, and no extra information.
#ifndef VELTRANE_ENCODER_PICTURE_HEADER_WRITER_H
#define VELTRANE_ENCODER_PICTURE_HEADER_WRITER_H

#include "bit_writer.h"

namespace veltrane::enc {

enum PictureType { kIntraPicture = 0, kInterPicture = 1, kDisposablePicture = 2 };

// Source format code for a picture size: 2..6 for the fixed sizes, 0 when both
// dimensions fit 8 bits, else 1.
int SourceFormatFor(int width, int height);

void WritePictureHeader(BitWriter& writer, int version, int temporalReference, int width,
                        int height, PictureType type, int quant);

}  // namespace veltrane::enc

#endif
