// Choice of the 8x8 prediction kernel for one block from the half-sample phase
// and the word alignment of its vector.
#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"
#include "veltrane/recon.h"

namespace veltrane {
namespace {

// The reference sample at the whole-sample displaced position of the block's
// top-left sample; the shifts round toward minus infinity, so -1 gives -1.
inline unsigned char* DisplacedSource(unsigned char* refPlane, int x, int y, int mvx, int mvy,
                                      int stride) {
    const ptrdiff_t row = static_cast<ptrdiff_t>(y + (mvy >> 1)) * stride;
    return refPlane + row + (x + (mvx >> 1));
}

// Phase index: bit 0 the horizontal half-sample flag, bit 1 the vertical one.
inline int Phase(int mvx, int mvy) { return (mvx & 1) | ((mvy & 1) << 1); }

// Block positions, plane origins and strides are multiples of 4, so the source
// is word aligned exactly when the whole-sample horizontal displacement is.
inline bool IsAligned(int mvx) { return ((mvx >> 1) & 3) == 0; }

}  // namespace

void CompensateBlock8x8(unsigned char* refPlane, int x, int y, int mvx, int mvy, unsigned char* dst,
                        int16_t* residual, int residualStride, int stride) {
    unsigned char* src = DisplacedSource(refPlane, x, y, mvx, mvy, stride);
    switch (Phase(mvx, mvy)) {
        case 0:
            if (IsAligned(mvx)) {
                AddIn8x8PlainCopyAligned(src, residual, dst, stride, residualStride);
            } else {
                AddIn8x8PlainCopyUnAligned(src, residual, dst, stride, residualStride);
            }
            break;
        case 1:
            AddIn8x8HorizInterpolate(src, residual, dst, stride, residualStride);
            break;
        case 2:
            if (IsAligned(mvx)) {
                AddIn8x8VertInterpolateAligned(src, residual, dst, stride, residualStride);
            } else {
                AddIn8x8VertInterpolateUnaligned(src, residual, dst, stride, residualStride);
            }
            break;
        default:
            AddIn8x8DiagonalInterpolate(src, residual, dst, stride, residualStride);
            break;
    }
}

void CompensateBlock8x8Zb(unsigned char* refPlane, int x, int y, int mvx, int mvy,
                          unsigned char* dst, int stride) {
    unsigned char* src = DisplacedSource(refPlane, x, y, mvx, mvy, stride);
    const bool aligned = IsAligned(mvx);
    switch (Phase(mvx, mvy)) {
        case 0:
            if (aligned) {
                AddIn8x8PlainCopyAlignedZb(src, dst, stride);
            } else {
                AddIn8x8PlainCopyUnAlignedZb(src, dst, stride);
            }
            break;
        case 1:
            if (aligned) {
                AddIn8x8HorizInterpolateAlignedZb(src, dst, stride);
            } else {
                AddIn8x8HorizInterpolateUnalignedZb(src, dst, stride);
            }
            break;
        case 2:
            if (aligned) {
                AddIn8x8VertInterpolateAlignedZb(src, dst, stride);
            } else {
                AddIn8x8VertInterpolateUnAlignedZb(src, dst, stride);
            }
            break;
        default:
            AddIn8x8DiagonalInterpolateZb(src, dst, stride);
            break;
    }
}

}  // namespace veltrane
