// The AVX2 border fill: a byte broadcast from memory for each row's edges, and
// the rows above and below copied 32 bytes at a time.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"

namespace veltrane {
namespace {

// Copies `bytes` from src into each of the 16 rows that follow dst at `step`
// bytes apart (a negative step goes up), one row after the other.
void CopyRowSixteenTimes(const unsigned char* src, unsigned char* dst, ptrdiff_t step,
                         size_t bytes) {
    const size_t whole = bytes & ~size_t{31};
    for (int r = 0; r < 16; ++r, dst += step) {
        size_t i = 0;
        for (; i < whole; i += 32) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i),
                                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i)));
        }
        if (i + 16 <= bytes) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)));
            i += 16;
        }
        if (i + 8 <= bytes) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + i),
                             _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + i)));
            i += 8;
        }
        for (; i < bytes; ++i) dst[i] = src[i];
    }
}

inline __m128i BroadcastByte(const unsigned char* p) {
    return _mm_broadcastb_epi8(_mm_cvtsi32_si128(*p));
}

}  // namespace

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

}  // namespace veltrane
