// The exported 8x8 prediction kernels, routed to the kernel table bound for
// this processor. Each aligned/unaligned pair computes the same samples, and
// the table's kernels accept any source alignment, so both members of a pair
// share one kernel.
#include <cstdint>

#include "recon/mc_kernels.h"
#include "veltrane/recon.h"

using veltrane::ActiveMcKernels;
using veltrane::kPhaseCopy;
using veltrane::kPhaseDiagonal;
using veltrane::kPhaseHoriz;
using veltrane::kPhaseVert;

void AddIn8x8PlainCopyAligned(unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                              int residualStride) {
    ActiveMcKernels()->predictAdd8[kPhaseCopy](src, residual, residualStride, dst, stride);
}

void AddIn8x8PlainCopyUnAligned(unsigned char* src, int16_t* residual, unsigned char* dst,
                                int stride, int residualStride) {
    ActiveMcKernels()->predictAdd8[kPhaseCopy](src, residual, residualStride, dst, stride);
}

void AddIn8x8HorizInterpolate(unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                              int residualStride) {
    ActiveMcKernels()->predictAdd8[kPhaseHoriz](src, residual, residualStride, dst, stride);
}

void AddIn8x8VertInterpolateAligned(unsigned char* src, int16_t* residual, unsigned char* dst,
                                    int stride, int residualStride) {
    ActiveMcKernels()->predictAdd8[kPhaseVert](src, residual, residualStride, dst, stride);
}

void AddIn8x8VertInterpolateUnaligned(unsigned char* src, int16_t* residual, unsigned char* dst,
                                      int stride, int residualStride) {
    ActiveMcKernels()->predictAdd8[kPhaseVert](src, residual, residualStride, dst, stride);
}

void AddIn8x8DiagonalInterpolate(unsigned char* src, int16_t* residual, unsigned char* dst,
                                 int stride, int residualStride) {
    ActiveMcKernels()->predictAdd8[kPhaseDiagonal](src, residual, residualStride, dst, stride);
}

void AddIn8x8PlainCopyAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseCopy](src, dst, stride);
}

void AddIn8x8PlainCopyUnAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseCopy](src, dst, stride);
}

void AddIn8x8HorizInterpolateAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseHoriz](src, dst, stride);
}

void AddIn8x8HorizInterpolateUnalignedZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseHoriz](src, dst, stride);
}

void AddIn8x8VertInterpolateAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseVert](src, dst, stride);
}

void AddIn8x8VertInterpolateUnAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseVert](src, dst, stride);
}

void AddIn8x8DiagonalInterpolateZb(unsigned char* src, unsigned char* dst, int stride) {
    ActiveMcKernels()->predict8[kPhaseDiagonal](src, dst, stride);
}
