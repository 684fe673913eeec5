// A moving synthetic test sequence for the encoder: drifting luma and chroma
// gradients, a textured box that bounces across the picture, and a patch of
// noise that changes every picture. Deterministic: the same size and index
// always give the same picture.
#ifndef VELTRANE_TOOLS_TEST_PATTERN_H
#define VELTRANE_TOOLS_TEST_PATTERN_H

#include <cstdint>

#include "yuv_picture.h"

namespace veltrane::tools {

void DrawTestPattern(int width, int height, uint32_t index, YuvPicture* picture);

}  // namespace veltrane::tools

#endif
