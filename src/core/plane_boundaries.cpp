// Extends a plane into its 16-sample border by replicating its edge samples, so
// that motion vectors pointing outside the picture read defined samples.
#include <cstddef>
#include <cstring>

#include "recon/mc_kernels.h"
#include "veltrane/decoder.h"

namespace {
constexpr int32_t kBorder = 16;
}  // namespace

void FillPlaneBoundaries(unsigned char* plane, int32_t width, int32_t height, int32_t stride) {
    if (width <= 0 || height <= 0) {
        return;
    }
    veltrane::ActiveMcKernels()->extendRowEdges(plane, width, height, stride);
    const size_t rowBytes = static_cast<size_t>(width) + 2 * kBorder;
    const unsigned char* first = plane - kBorder;
    const unsigned char* last = plane + static_cast<ptrdiff_t>(height - 1) * stride - kBorder;
    for (int32_t r = 1; r <= kBorder; ++r) {
        std::memcpy(plane - static_cast<ptrdiff_t>(r) * stride - kBorder, first, rowBytes);
        std::memcpy(plane + static_cast<ptrdiff_t>(height - 1 + r) * stride - kBorder, last,
                    rowBytes);
    }
}
