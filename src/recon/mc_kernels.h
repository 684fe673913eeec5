// The motion compensation kernel family: 8x8 and 16x16 prediction at the four
// half-sample phases, prediction plus residual, residual add and the border
// fill. One table per instruction set; the plain C table is the reference twin
// of the others.
//
// `src` is the reference sample at the whole-sample position of the block's
// top-left sample; the kernels read up to one column to the right and one row
// below the block (horizontal, vertical and diagonal phases). `stride` serves
// both the reference and the picture plane.
#ifndef VELTRANE_RECON_MC_KERNELS_H
#define VELTRANE_RECON_MC_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/kernel_binding.h"

namespace veltrane {

// Phase index of a vector: bit 0 the horizontal half-sample flag, bit 1 the
// vertical one.
enum McPhase : int { kPhaseCopy = 0, kPhaseHoriz = 1, kPhaseVert = 2, kPhaseDiagonal = 3 };

inline int McPhaseOf(int mvx, int mvy) { return (mvx & 1) | ((mvy & 1) << 1); }

using PredictKernel = void (*)(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
// The two 8x8 chroma blocks of a macroblock, which share one vector and one stride.
using PredictChromaKernel = void (*)(const unsigned char* srcU, const unsigned char* srcV,
                                     unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride);
// dst = saturate(prediction + residual) in pairs; each 16-bit sum wraps, and the
// samples written replace the residual.
using PredictAddKernel = void (*)(const unsigned char* src, int16_t* residual,
                                  ptrdiff_t residualStride, unsigned char* dst, ptrdiff_t stride);
// As PredictAddKernel with the prediction already in dst.
using AddResidualKernel = void (*)(int16_t* residual, ptrdiff_t residualStride, unsigned char* dst,
                                   ptrdiff_t stride);
// Extends a plane of width x height samples (both at least 1) into its 16-sample
// border: the 16 bytes left and right of each row take the row's edge samples, then
// the first and the last row, borders included, are copied into the 16 rows above
// and below.
using ExtendPlaneKernel = void (*)(unsigned char* plane, int width, int height, ptrdiff_t stride);

struct McKernels {
    PredictKernel predict8[4];  // by McPhase
    PredictKernel predict16[4];
    PredictChromaKernel predictChroma[4];
    PredictAddKernel predictAdd8[4];
    AddResidualKernel addResidual8;
    ExtendPlaneKernel extendPlane;
};

// The plain kernels.
void PredictCopy8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictHoriz8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictVert8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictDiagonal8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictCopy16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictHoriz16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictVert16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictDiagonal16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride);
void PredictChromaCopyC(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                        unsigned char* dstV, ptrdiff_t stride);
void PredictChromaHorizC(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                         unsigned char* dstV, ptrdiff_t stride);
void PredictChromaVertC(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                        unsigned char* dstV, ptrdiff_t stride);
void PredictChromaDiagonalC(const unsigned char* srcU, const unsigned char* srcV,
                            unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride);
void PredictAddCopy8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                      unsigned char* dst, ptrdiff_t stride);
void PredictAddHoriz8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                       unsigned char* dst, ptrdiff_t stride);
void PredictAddVert8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                      unsigned char* dst, ptrdiff_t stride);
void PredictAddDiagonal8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                          unsigned char* dst, ptrdiff_t stride);
void AddResidual8C(int16_t* residual, ptrdiff_t residualStride, unsigned char* dst,
                   ptrdiff_t stride);
void ExtendPlaneC(unsigned char* plane, int width, int height, ptrdiff_t stride);

// The tables, declared alike in every kernel family: the plain twins, then
// the SIMD tables this build has.
extern const McKernels kMcKernelsC;
#if VELTRANE_X86_KERNELS
extern const McKernels kMcKernelsSse2;
// The SSE2 kernels in VEX encoding, with a border fill of its own: 8- and
// 16-sample rows gain nothing from wider registers.
extern const McKernels kMcKernelsAvx2;
#endif
#if VELTRANE_NEON_KERNELS
extern const McKernels kMcKernelsNeon;
#endif

// The best table for the given instruction sets.
VELTRANE_LOAD_TIME KernelTableGetter<McKernels> SelectMcKernels(unsigned cpuFeatures);
// The table bound for this processor.
const McKernels* ActiveMcKernels();

// Predicts the 8x8 block at (x, y) of the plane whose origin is refPlane from
// the vector (mvx, mvy) in half samples of that plane, adds the residual
// (residualStride values a row), saturates, and writes the block to dst. The
// residual is overwritten with the samples written. stride serves both planes.
void CompensateBlock8x8(const McKernels& kernels, unsigned char* refPlane, int x, int y, int mvx,
                        int mvy, unsigned char* dst, int16_t* residual, int residualStride,
                        int stride);

// As CompensateBlock8x8 for a block without residual: dst receives the prediction.
void CompensateBlock8x8Zb(const McKernels& kernels, unsigned char* refPlane, int x, int y, int mvx,
                          int mvy, unsigned char* dst, int stride);

// The reference sample at the whole-sample displaced position of the sample at
// `at`; the shifts round toward minus infinity, so -1 gives -1.
inline const unsigned char* Displaced(const unsigned char* at, int mvx, int mvy, ptrdiff_t stride) {
    return at + static_cast<ptrdiff_t>(mvy >> 1) * stride + (mvx >> 1);
}

}  // namespace veltrane

#endif
