// The AVX2 motion compensation table: the 128-bit kernels compiled with VEX
// encoding, and a border fill of its own: a byte broadcast from memory for each
// row's edges, and the rows above and below copied 32 bytes at a time, each
// loaded once.
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

}  // namespace

constinit const McKernels kMcKernelsAvx2 = Kernels128(ExtendPlaneAvx2);

}  // namespace veltrane
