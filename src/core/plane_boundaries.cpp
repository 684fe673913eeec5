// Extends a plane into its 16-sample border by replicating its edge samples, so
// that motion vectors pointing outside the picture read defined samples.
#include <cstring>

#include "veltrane/decoder.h"

namespace {
constexpr int32_t kBorder = 16;
}  // namespace

void FillPlaneBoundaries(unsigned char* plane, int32_t width, int32_t height, int32_t stride) {
    if (width <= 0 || height <= 0) {
        return;
    }
    for (int32_t r = 0; r < height; ++r) {
        unsigned char* row = plane + r * stride;
        std::memset(row - kBorder, row[0], kBorder);
        std::memset(row + width, row[width - 1], kBorder);
    }
    const size_t rowBytes = static_cast<size_t>(width) + 2 * kBorder;
    const unsigned char* first = plane - kBorder;
    const unsigned char* last = plane + (height - 1) * stride - kBorder;
    for (int32_t r = 1; r <= kBorder; ++r) {
        std::memcpy(plane - r * stride - kBorder, first, rowBytes);
        std::memcpy(plane + (height - 1 + r) * stride - kBorder, last, rowBytes);
    }
}
