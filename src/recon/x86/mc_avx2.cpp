// The AVX2 motion compensation table: the 128-bit kernels compiled with VEX
// encoding, with the diagonal luma and chroma predictions and the border fill of
// its own. The border fill broadcasts a byte from memory for each row's edges
// and copies the rows above and below 32 bytes at a time, each loaded once.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"
#include "recon/x86/mc_kernels_128.h"

namespace veltrane {
namespace {

// Copies `bytes` (at least 32) from src into each of the 16 rows that follow dst
// at `step` bytes apart (a negative step goes up): each 32 bytes are loaded once
// and stored 16 times. A row whose length is no multiple of 32 ends with 32
// bytes that overlap the ones before, stored again with the same values.
void CopyRowSixteenTimes(const unsigned char* src, unsigned char* dst, ptrdiff_t step,
                         size_t bytes) {
    const auto copyColumn = [&](size_t i) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
        unsigned char* d = dst + i;
#pragma GCC unroll 16
        for (int r = 0; r < 16; ++r, d += step) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), v);
        }
    };
    size_t i = 0;
    for (; i + 32 <= bytes; i += 32) copyColumn(i);
    if (i < bytes) copyColumn(bytes - 32);
}

// The byte at p in every lane; the load reads p to p + 3.
inline __m128i BroadcastByte(const unsigned char* p) {
    return _mm_broadcastb_epi8(_mm_loadu_si32(p));
}

void ExtendPlaneAvx2(unsigned char* plane, int width, int height, ptrdiff_t stride) {
    unsigned char* row = plane;
    for (int r = 0; r < height; ++r, row += stride) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row - 16), BroadcastByte(row));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + width), BroadcastByte(row + width - 1));
    }
    const size_t rowBytes = static_cast<size_t>(width) + 32;
    CopyRowSixteenTimes(plane - 16, plane - stride - 16, -stride, rowBytes);
    unsigned char* last = plane + (height - 1) * stride - 16;
    CopyRowSixteenTimes(last, last + stride, stride, rowBytes);
}

// The diagonal phase in 16-bit lanes, which a 256-bit register holds for 16
// samples: each row's pair sums a + b + 1 are formed once, and two of them give
// (a + b + c + d + 2) >> 2 with one add and one shift. Two output rows share one
// pack.
inline __m256i Widen(__m128i bytes) { return _mm256_cvtepu8_epi16(bytes); }

inline __m256i PairSums(__m128i a, __m128i b) {
    return _mm256_add_epi16(_mm256_add_epi16(Widen(a), Widen(b)), _mm256_set1_epi16(1));
}

inline __m256i DiagonalOf(__m256i above, __m256i below) {
    return _mm256_srli_epi16(_mm256_add_epi16(above, below), 2);
}

void PredictDiagonal16Avx2(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    auto sums = [&src, stride] {
        const __m256i rowSums = PairSums(Load16(src), Load16(src + 1));
        src += stride;
        return rowSums;
    };
    __m256i above = sums();
#pragma GCC unroll 8
    for (int r = 0; r < 16; r += 2, dst += 2 * stride) {
        const __m256i middle = sums();
        const __m256i below = sums();
        // [row r, low 8 | row r + 1, low 8 || row r, high 8 | row r + 1, high 8]
        const __m256i packed =
            _mm256_packus_epi16(DiagonalOf(above, middle), DiagonalOf(middle, below));
        const __m256i rows = _mm256_permute4x64_epi64(packed, 0xD8);
        Store16(dst, _mm256_castsi256_si128(rows));
        Store16(dst + stride, _mm256_extracti128_si256(rows, 1));
        above = below;
    }
}

void PredictChromaDiagonalAvx2(const unsigned char* srcU, const unsigned char* srcV,
                               unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride) {
    ptrdiff_t in = 0;
    auto sums = [&] {
        const __m256i rowSums =
            PairSums(LoadPair8(srcU + in, srcV + in), LoadPair8(srcU + in + 1, srcV + in + 1));
        in += stride;
        return rowSums;
    };
    __m256i above = sums();
#pragma GCC unroll 4
    for (int r = 0; r < 8; r += 2) {
        const ptrdiff_t out = r * stride;
        const __m256i middle = sums();
        const __m256i below = sums();
        // [U row r | U row r + 1 || V row r | V row r + 1]
        const __m256i packed =
            _mm256_packus_epi16(DiagonalOf(above, middle), DiagonalOf(middle, below));
        const __m128i u = _mm256_castsi256_si128(packed);
        const __m128i v = _mm256_extracti128_si256(packed, 1);
        StorePair8(dstU + out, dstU + out + stride, u);
        StorePair8(dstV + out, dstV + out + stride, v);
        above = below;
    }
}

constexpr McKernels WithDiagonals(McKernels kernels) {
    kernels.predict16[kPhaseDiagonal] = PredictDiagonal16Avx2;
    kernels.predictChroma[kPhaseDiagonal] = PredictChromaDiagonalAvx2;
    return kernels;
}

}  // namespace

constinit const McKernels kMcKernelsAvx2 = WithDiagonals(Kernels128(ExtendPlaneAvx2));

}  // namespace veltrane
