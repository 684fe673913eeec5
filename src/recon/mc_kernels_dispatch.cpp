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
inline int IsAligned(int mvx) { return ((mvx >> 1) & 3) == 0 ? 1 : 0; }

using ResidualKernel = void (*)(unsigned char*, int16_t*, unsigned char*, int, int);
using PredictionKernel = void (*)(unsigned char*, unsigned char*, int);

// Kernels by phase, then by alignment (unaligned, aligned).
constexpr ResidualKernel kResidualKernels[4][2] = {
    {AddIn8x8PlainCopyUnAligned, AddIn8x8PlainCopyAligned},
    {AddIn8x8HorizInterpolate, AddIn8x8HorizInterpolate},
    {AddIn8x8VertInterpolateUnaligned, AddIn8x8VertInterpolateAligned},
    {AddIn8x8DiagonalInterpolate, AddIn8x8DiagonalInterpolate}};
constexpr PredictionKernel kPredictionKernels[4][2] = {
    {AddIn8x8PlainCopyUnAlignedZb, AddIn8x8PlainCopyAlignedZb},
    {AddIn8x8HorizInterpolateUnalignedZb, AddIn8x8HorizInterpolateAlignedZb},
    {AddIn8x8VertInterpolateUnAlignedZb, AddIn8x8VertInterpolateAlignedZb},
    {AddIn8x8DiagonalInterpolateZb, AddIn8x8DiagonalInterpolateZb}};

}  // namespace

void CompensateBlock8x8(unsigned char* refPlane, int x, int y, int mvx, int mvy, unsigned char* dst,
                        int16_t* residual, int residualStride, int stride) {
    kResidualKernels[Phase(mvx, mvy)][IsAligned(mvx)](
        DisplacedSource(refPlane, x, y, mvx, mvy, stride), residual, dst, stride, residualStride);
}

void CompensateBlock8x8Zb(unsigned char* refPlane, int x, int y, int mvx, int mvy,
                          unsigned char* dst, int stride) {
    kPredictionKernels[Phase(mvx, mvy)][IsAligned(mvx)](
        DisplacedSource(refPlane, x, y, mvx, mvy, stride), dst, stride);
}

}  // namespace veltrane
