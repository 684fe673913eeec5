// The inverse transform kernel family: one table per instruction set, the
// plain C table always there as the reference twin of the others.
//
// Kernels take 64 coefficients in row-major order as int16 (the decoder's
// dequantised values lie within -2048..2047) and never write them.
#ifndef VELTRANE_RECON_IDCT_KERNELS_H
#define VELTRANE_RECON_IDCT_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/kernel_binding.h"

namespace veltrane {

using IdctToPixelsKernel = void (*)(const int16_t* coefficients, unsigned char* dst,
                                    ptrdiff_t stride);
using IdctToResidualKernel = void (*)(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride);
// dst holds the prediction; it receives saturate(prediction + transform), pairwise as
// in motion compensation, and the same samples go to `samples` (samplesStride int16 a row).
using IdctAddKernel = void (*)(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                               int16_t* samples, ptrdiff_t samplesStride);

struct IdctKernels {
    IdctToPixelsKernel toPixels;            // intra blocks
    IdctToResidualKernel toResidual;        // any block
    IdctToResidualKernel cornerToResidual;  // coefficients in the first ten zigzag positions
    IdctAddKernel add;                      // any block
    IdctAddKernel cornerAdd;                // coefficients in the first ten zigzag positions
    IdctAddKernel dcAdd;                    // only coefficient 0
};

// The plain kernels.
void IdctToPixelsC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride);
void IdctToResidualC(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride);
void IdctCornerToResidualC(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride);
void IdctAddC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
              ptrdiff_t samplesStride);
void IdctCornerAddC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                    int16_t* samples, ptrdiff_t samplesStride);
void IdctDcAddC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                ptrdiff_t samplesStride);

// The 1-D transform multiplied out, for the SIMD twins: before its rounding and
// shift, output k of a line x0..x7 is the sum over j of kIdctOutputFactors[k][j]
// x_j modulo 2^32, as the butterflies compute it (idct_kernels.cpp checks the
// table against them). Outputs k and 7 - k share the factors of x0, x2, x4, x6
// and differ in the sign of the others'; every factor fits 16 bits.
constexpr int16_t kIdctOutputFactors[8][8] = {
    {8192, 11363, 10703, 9633, 8192, 6437, 4433, 2260},
    {8192, 9633, 4433, -2259, -8192, -11362, -10704, -6436},
    {8192, 6437, -4433, -11362, -8192, 2261, 10704, 9633},
    {8192, 2260, -10703, -6436, 8192, 9633, -4433, -11363},
    {8192, -2260, -10703, 6436, 8192, -9633, -4433, 11363},
    {8192, -6437, -4433, 11362, -8192, -2261, 10704, -9633},
    {8192, -9633, 4433, 2259, -8192, 11362, -10704, 6436},
    {8192, -11363, 10703, -9633, 8192, -6437, 4433, -2260},
};

// The tables, declared alike in every kernel family: the plain twins, then
// the SIMD tables this build has.
extern const IdctKernels kIdctKernelsC;
#if VELTRANE_X86_KERNELS
extern const IdctKernels kIdctKernelsSse2;
extern const IdctKernels kIdctKernelsAvx2;
#endif
#if VELTRANE_NEON_KERNELS
extern const IdctKernels kIdctKernelsNeon;
#endif

// The best table for the given instruction sets.
VELTRANE_LOAD_TIME KernelTableGetter<IdctKernels> SelectIdctKernels(unsigned cpuFeatures);
// The table bound for this processor.
const IdctKernels* ActiveIdctKernels();

}  // namespace veltrane

#endif
