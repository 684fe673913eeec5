/* Inverse DCT family and motion compensation. */
#ifndef VELTRANE_RECON_H
#define VELTRANE_RECON_H

#include <stdint.h>

#include "veltrane/decoder.h"

VELTRANE_EXTERN_C_BEGIN

/* Inverse transforms of 64 row-major int32 coefficients. InvDctFixedPoint,
 * InvDctFixedPointIntra and InvDct10FixedPoint use the coefficient array as
 * workspace; InvDctFixedPointHH reads only the upper-left 4x4 coefficients and
 * works in its fourth argument, 64 int32 of scratch. */
VELTRANE_API void InvDctFixedPoint(int32_t* coefficients, int16_t* dst, int stride);
VELTRANE_API void InvDctFixedPointIntra(int32_t* coefficients, unsigned char* dst, int stride);
VELTRANE_API void InvDct10FixedPoint(int32_t* coefficients, int16_t* dst, int stride);
VELTRANE_API void InvDct1FixedPoint(int32_t* coefficients, int16_t* dst, int stride);
VELTRANE_API void InvDctFixedPointHH(int32_t* coefficients, int16_t* dst, int stride,
                                     int32_t* workspace);
/* Forward transform of 64 row-major int16 samples into 64 int32 coefficients. */
VELTRANE_API void DctFixedPoint(const int16_t* samples, int32_t* coefficients);

VELTRANE_API int MotionCompensation(int mbIndex, int x, int y, int16_t* mbTypes,
                                    macroblockvec_t* mbVectors, unsigned char** refPlanes,
                                    unsigned char* curY, unsigned char* curU, unsigned char* curV,
                                    int16_t* coefficients, int yStride, int uvStride,
                                    unsigned int codedMask);
VELTRANE_API void CopyRefMacroBlock(unsigned char** refPlanes, int x, int y, unsigned char* curY,
                                    unsigned char* curU, unsigned char* curV, int yStride,
                                    int uvStride);
VELTRANE_API void ClipMacroBlock(unsigned char* curY, unsigned char* curU, unsigned char* curV,
                                 int16_t* coefficients, int yStride, int uvStride);

/* 8x8 prediction kernels. With residual: dst = saturate(prediction + residual),
 * the residual overwritten with the samples written. Without (Zb): dst = prediction. */
VELTRANE_API void AddIn8x8PlainCopyAligned(unsigned char* src, int16_t* residual,
                                           unsigned char* dst, int stride, int residualStride);
VELTRANE_API void AddIn8x8PlainCopyUnAligned(unsigned char* src, int16_t* residual,
                                             unsigned char* dst, int stride, int residualStride);
VELTRANE_API void AddIn8x8HorizInterpolate(unsigned char* src, int16_t* residual,
                                           unsigned char* dst, int stride, int residualStride);
VELTRANE_API void AddIn8x8VertInterpolateAligned(unsigned char* src, int16_t* residual,
                                                 unsigned char* dst, int stride,
                                                 int residualStride);
VELTRANE_API void AddIn8x8VertInterpolateUnaligned(unsigned char* src, int16_t* residual,
                                                   unsigned char* dst, int stride,
                                                   int residualStride);
VELTRANE_API void AddIn8x8DiagonalInterpolate(unsigned char* src, int16_t* residual,
                                              unsigned char* dst, int stride, int residualStride);
VELTRANE_API void AddIn8x8PlainCopyAlignedZb(unsigned char* src, unsigned char* dst, int stride);
VELTRANE_API void AddIn8x8PlainCopyUnAlignedZb(unsigned char* src, unsigned char* dst, int stride);
VELTRANE_API void AddIn8x8HorizInterpolateAlignedZb(unsigned char* src, unsigned char* dst,
                                                    int stride);
VELTRANE_API void AddIn8x8HorizInterpolateUnalignedZb(unsigned char* src, unsigned char* dst,
                                                      int stride);
VELTRANE_API void AddIn8x8VertInterpolateAlignedZb(unsigned char* src, unsigned char* dst,
                                                   int stride);
VELTRANE_API void AddIn8x8VertInterpolateUnAlignedZb(unsigned char* src, unsigned char* dst,
                                                     int stride);
VELTRANE_API void AddIn8x8DiagonalInterpolateZb(unsigned char* src, unsigned char* dst, int stride);

VELTRANE_EXTERN_C_END

#endif
