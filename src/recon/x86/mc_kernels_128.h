// The 128-bit motion compensation kernels, written once and compiled twice: as
// SSE2 for the baseline table (mc_sse2.cpp), and with VEX encoding for the AVX2
// table (mc_avx2.cpp), where three-operand instructions drop the register copies
// that two-operand SSE2 needs. Wider registers gain nothing on rows of 8 and 16
// samples. Half-sample averages use pavgb, which rounds up exactly as
// (a + b + 1) >> 1, with a one-bit correction for the four-sample diagonal
// average; the residual sums are formed in 16-bit lanes. The row loops are
// unrolled: a row's loads and store cost no more than the loop's own counting.
//
// The NEON kernels (arm/mc_neon.cpp) are their twins, kernel for kernel.
// Everything here has internal linkage, so that each including file gets its own
// copy compiled for its instruction set.
#ifndef VELTRANE_RECON_X86_MC_KERNELS_128_H
#define VELTRANE_RECON_X86_MC_KERNELS_128_H

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"

namespace veltrane {
namespace {

inline __m128i Load8(const unsigned char* p) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}
inline __m128i Load16(const unsigned char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store8(unsigned char* p, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
}
inline void Store16(unsigned char* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// The diagonal average (a + b + c + d + 2) >> 2 of the samples a, b of one row
// and c, d of the next stays in bytes: with x = avg(a, b) and y = avg(c, d)
// (pavgb rounds up), avg(x, y) is the exact result or one more, and it is one
// more exactly when the bits dropped by the three averages add up to an odd
// carry: (a ^ b | c ^ d) & (x ^ y) has that in its lowest bit.
struct RowAverage {
    __m128i average;  // avg(a, b) of a row and its right-hand neighbours
    __m128i odd;      // a ^ b
};

inline RowAverage AverageWithNeighbours(__m128i a, __m128i b) {
    return {_mm_avg_epu8(a, b), _mm_xor_si128(a, b)};
}

inline __m128i DiagonalAverage(const RowAverage& above, const RowAverage& below) {
    const __m128i rounded = _mm_avg_epu8(above.average, below.average);
    const __m128i carry = _mm_and_si128(_mm_or_si128(above.odd, below.odd),
                                        _mm_xor_si128(above.average, below.average));
    return _mm_sub_epi8(rounded, _mm_and_si128(carry, _mm_set1_epi8(1)));
}

// Predictions of eight samples, widened to 16 bits, for each phase.
struct RowsCopy {
    const unsigned char* src;
    ptrdiff_t stride;
    explicit RowsCopy(const unsigned char* s, ptrdiff_t st) : src(s), stride(st) {}
    __m128i Next() {
        const __m128i row = Load8(src);
        src += stride;
        return row;
    }
};

struct RowsHoriz {
    const unsigned char* src;
    ptrdiff_t stride;
    explicit RowsHoriz(const unsigned char* s, ptrdiff_t st) : src(s), stride(st) {}
    __m128i Next() {
        const __m128i row = _mm_avg_epu8(Load8(src), Load8(src + 1));
        src += stride;
        return row;
    }
};

struct RowsVert {
    const unsigned char* src;
    ptrdiff_t stride;
    __m128i above;
    explicit RowsVert(const unsigned char* s, ptrdiff_t st)
        : src(s + st), stride(st), above(Load8(s)) {}
    __m128i Next() {
        const __m128i below = Load8(src);
        const __m128i row = _mm_avg_epu8(above, below);
        above = below;
        src += stride;
        return row;
    }
};

// Eight-sample rows fill half a register: the diagonal average is formed in
// 16-bit lanes, which costs no more here.
struct RowsDiagonal {
    const unsigned char* src;
    ptrdiff_t stride;
    __m128i above;
    static __m128i PairSum(const unsigned char* p) {
        const __m128i zero = _mm_setzero_si128();
        return _mm_add_epi16(_mm_unpacklo_epi8(Load8(p), zero),
                             _mm_unpacklo_epi8(Load8(p + 1), zero));
    }
    explicit RowsDiagonal(const unsigned char* s, ptrdiff_t st)
        : src(s + st), stride(st), above(PairSum(s)) {}
    __m128i Next() {
        const __m128i below = PairSum(src);
        const __m128i sum = _mm_add_epi16(_mm_add_epi16(above, below), _mm_set1_epi16(2));
        above = below;
        src += stride;
        const __m128i average = _mm_srli_epi16(sum, 2);
        return _mm_packus_epi16(average, average);
    }
};

// Adds eight predicted samples (bytes in the low half) to eight residuals: sums
// wrap to 16 bits; sums above 4095 become 0, the rest are clamped to 0..255
// (what pairwise saturation gives). The samples go to dst and to the residual.
inline void AddResidualRow(__m128i prediction, int16_t* residual, unsigned char* dst) {
    const __m128i zero = _mm_setzero_si128();
    __m128i* r = reinterpret_cast<__m128i*>(residual);
    __m128i sum = _mm_add_epi16(_mm_unpacklo_epi8(prediction, zero), _mm_loadu_si128(r));
    sum = _mm_andnot_si128(_mm_cmpgt_epi16(sum, _mm_set1_epi16(4095)), sum);
    const __m128i samples = _mm_packus_epi16(sum, sum);
    Store8(dst, samples);
    _mm_storeu_si128(r, _mm_unpacklo_epi8(samples, zero));
}

template <typename Rows>
inline void Predict8(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    Rows rows(src, stride);
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r, dst += stride) {
        Store8(dst, rows.Next());
    }
}

template <typename Rows>
inline void PredictAdd8(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                        unsigned char* dst, ptrdiff_t stride) {
    Rows rows(src, stride);
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r, dst += stride, residual += residualStride) {
        AddResidualRow(rows.Next(), residual, dst);
    }
}

// The table's entries: one instance of the row loops per phase, with and
// without residual.
void PredictCopy8Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    Predict8<RowsCopy>(src, dst, stride);
}
void PredictHoriz8Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    Predict8<RowsHoriz>(src, dst, stride);
}
void PredictVert8Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    Predict8<RowsVert>(src, dst, stride);
}
void PredictDiagonal8Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    Predict8<RowsDiagonal>(src, dst, stride);
}

void PredictAddCopy8Simd128(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                            unsigned char* dst, ptrdiff_t stride) {
    PredictAdd8<RowsCopy>(src, residual, residualStride, dst, stride);
}
void PredictAddHoriz8Simd128(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                             unsigned char* dst, ptrdiff_t stride) {
    PredictAdd8<RowsHoriz>(src, residual, residualStride, dst, stride);
}
void PredictAddVert8Simd128(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                            unsigned char* dst, ptrdiff_t stride) {
    PredictAdd8<RowsVert>(src, residual, residualStride, dst, stride);
}
void PredictAddDiagonal8Simd128(const unsigned char* src, int16_t* residual,
                                ptrdiff_t residualStride, unsigned char* dst, ptrdiff_t stride) {
    PredictAdd8<RowsDiagonal>(src, residual, residualStride, dst, stride);
}

void AddResidual8Simd128(int16_t* residual, ptrdiff_t residualStride, unsigned char* dst,
                         ptrdiff_t stride) {
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r, dst += stride, residual += residualStride) {
        AddResidualRow(Load8(dst), residual, dst);
    }
}

// 16x16 luma prediction, a whole row per register.
void PredictCopy16Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
#pragma GCC unroll 16
    for (int r = 0; r < 16; ++r, src += stride, dst += stride) {
        Store16(dst, Load16(src));
    }
}

void PredictHoriz16Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
#pragma GCC unroll 16
    for (int r = 0; r < 16; ++r, src += stride, dst += stride) {
        Store16(dst, _mm_avg_epu8(Load16(src), Load16(src + 1)));
    }
}

void PredictVert16Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    __m128i above = Load16(src);
#pragma GCC unroll 16
    for (int r = 0; r < 16; ++r, dst += stride) {
        src += stride;
        const __m128i below = Load16(src);
        Store16(dst, _mm_avg_epu8(above, below));
        above = below;
    }
}

void PredictDiagonal16Simd128(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    RowAverage above = AverageWithNeighbours(Load16(src), Load16(src + 1));
#pragma GCC unroll 16
    for (int r = 0; r < 16; ++r, dst += stride) {
        src += stride;
        const RowAverage below = AverageWithNeighbours(Load16(src), Load16(src + 1));
        Store16(dst, DiagonalAverage(above, below));
        above = below;
    }
}

// Two rows of eight samples in one register, the first in the low half: a row of
// U and a row of V, so that both chroma blocks are predicted at once where the
// arithmetic costs more than the moves (vertical and diagonal phases). They are
// moved with movq and movhps, which cost a shuffle each: the copy and the
// horizontal phase, one load pair per sample row, are the 8x8 kernels run on
// each plane.
inline __m128i LoadPair8(const unsigned char* first, const unsigned char* second) {
    return _mm_castpd_si128(
        _mm_loadh_pd(_mm_castsi128_pd(Load8(first)), reinterpret_cast<const double*>(second)));
}

inline void StorePair8(unsigned char* first, unsigned char* second, __m128i rows) {
    Store8(first, rows);
    _mm_storeh_pi(reinterpret_cast<__m64*>(second), _mm_castsi128_ps(rows));
}

void PredictChromaCopySimd128(const unsigned char* srcU, const unsigned char* srcV,
                              unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride) {
    Predict8<RowsCopy>(srcU, dstU, stride);
    Predict8<RowsCopy>(srcV, dstV, stride);
}

void PredictChromaHorizSimd128(const unsigned char* srcU, const unsigned char* srcV,
                               unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride) {
    Predict8<RowsHoriz>(srcU, dstU, stride);
    Predict8<RowsHoriz>(srcV, dstV, stride);
}

void PredictChromaVertSimd128(const unsigned char* srcU, const unsigned char* srcV,
                              unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride) {
    __m128i above = LoadPair8(srcU, srcV);
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r) {
        const ptrdiff_t o = r * stride;
        const __m128i below = LoadPair8(srcU + o + stride, srcV + o + stride);
        StorePair8(dstU + o, dstV + o, _mm_avg_epu8(above, below));
        above = below;
    }
}

void PredictChromaDiagonalSimd128(const unsigned char* srcU, const unsigned char* srcV,
                                  unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride) {
    RowAverage above = AverageWithNeighbours(LoadPair8(srcU, srcV), LoadPair8(srcU + 1, srcV + 1));
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r) {
        const ptrdiff_t o = r * stride;
        const unsigned char* u = srcU + o + stride;
        const unsigned char* v = srcV + o + stride;
        const RowAverage below = AverageWithNeighbours(LoadPair8(u, v), LoadPair8(u + 1, v + 1));
        StorePair8(dstU + o, dstV + o, DiagonalAverage(above, below));
        above = below;
    }
}

// The table of these kernels with the given border fill.
constexpr McKernels Kernels128(ExtendPlaneKernel extendPlane) {
    return {
        {PredictCopy8Simd128, PredictHoriz8Simd128, PredictVert8Simd128, PredictDiagonal8Simd128},
        {PredictCopy16Simd128, PredictHoriz16Simd128, PredictVert16Simd128,
         PredictDiagonal16Simd128},
        {PredictChromaCopySimd128, PredictChromaHorizSimd128, PredictChromaVertSimd128,
         PredictChromaDiagonalSimd128},
        {PredictAddCopy8Simd128, PredictAddHoriz8Simd128, PredictAddVert8Simd128,
         PredictAddDiagonal8Simd128},
        AddResidual8Simd128,
        extendPlane,
    };
}

}  // namespace
}  // namespace veltrane

#endif
