// Prediction of one 8x8 block from its vector: the half-sample phase picks the
// kernel. The kernels read the reference a byte at a time or unaligned, so the
// word alignment of the vector does not matter here.
#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"

namespace veltrane {

namespace {

// The reference sample of the block at (x, y), displaced by the vector.
const unsigned char* Source(const unsigned char* refPlane, int x, int y, int mvx, int mvy,
                            int stride) {
    return Displaced(refPlane + static_cast<ptrdiff_t>(y) * stride + x, mvx, mvy, stride);
}

}  // namespace

void CompensateBlock8x8(const McKernels& kernels, unsigned char* refPlane, int x, int y, int mvx,
                        int mvy, unsigned char* dst, int16_t* residual, int residualStride,
                        int stride) {
    kernels.predictAdd8[McPhaseOf(mvx, mvy)](Source(refPlane, x, y, mvx, mvy, stride), residual,
                                             residualStride, dst, stride);
}

void CompensateBlock8x8Zb(const McKernels& kernels, unsigned char* refPlane, int x, int y, int mvx,
                          int mvy, unsigned char* dst, int stride) {
    kernels.predict8[McPhaseOf(mvx, mvy)](Source(refPlane, x, y, mvx, mvy, stride), dst, stride);
}

}  // namespace veltrane
