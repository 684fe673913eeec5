// The plain inverse transform kernels: the reference twins of every SIMD table.
#include <cstddef>
#include <cstdint>

#include "recon/idct_kernels.h"
#include "recon/idct_passes.h"
#include "recon/saturate.h"

namespace veltrane {

void IdctToPixelsC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride) {
    idct::TransformToPixels(coefficients, dst, stride);
}

void IdctToResidualC(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    idct::TransformToResidual(coefficients, dst, stride);
}

void IdctCornerToResidualC(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    idct::TransformCornerToResidual(coefficients, dst, stride);
}

void IdctAddC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
              ptrdiff_t samplesStride) {
    int16_t residual[64];
    idct::TransformToResidual(coefficients, residual, 8);
    AddResidualBlock(residual, 8, dst, stride, samples, samplesStride);
}

void IdctCornerAddC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                    int16_t* samples, ptrdiff_t samplesStride) {
    int16_t residual[64];
    idct::TransformCornerToResidual(coefficients, residual, 8);
    AddResidualBlock(residual, 8, dst, stride, samples, samplesStride);
}

void IdctDcAddC(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                ptrdiff_t samplesStride) {
    int16_t residual[64];
    const int16_t value = idct::DcOnlyOutput(coefficients[0]);
    for (int16_t& r : residual) {
        r = value;
    }
    AddResidualBlock(residual, 8, dst, stride, samples, samplesStride);
}

}  // namespace veltrane
