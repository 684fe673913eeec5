// The exported inverse transforms over 32-bit coefficients. Coefficients that
// fit 16 bits (every block the decoder forms does) go to the kernel table bound
// for this processor; any other block is transformed by the plain passes, which
// take 32-bit input as it is.
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "recon/idct_kernels.h"
#include "recon/idct_passes.h"
#include "veltrane/recon.h"

namespace {

// Copies the coefficients into `narrow`; false if one does not fit 16 bits.
// This runs before every exported transform, so it works on vector lanes: with
// the instructions every x86-64 processor has, or the compiler's vector types.
#if defined(__SSE2__)
bool NarrowCoefficients(const int32_t* coefficients, int16_t* narrow) {
    const __m128i bias = _mm_set1_epi32(32768);
    const __m128i above15 = _mm_set1_epi32(static_cast<int32_t>(0xFFFF0000u));
    __m128i outside = _mm_setzero_si128();
    for (int i = 0; i < 64; i += 8) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + i + 4));
        // Values in -32768..32767 become 0..65535 with the bias: nothing above bit 15.
        outside =
            _mm_or_si128(outside, _mm_or_si128(_mm_add_epi32(a, bias), _mm_add_epi32(b, bias)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(narrow + i), _mm_packs_epi32(a, b));
    }
    return _mm_movemask_epi8(
               _mm_cmpeq_epi32(_mm_and_si128(outside, above15), _mm_setzero_si128())) == 0xFFFF;
}
#else
bool NarrowCoefficients(const int32_t* coefficients, int16_t* narrow) {
    typedef int32_t Wide __attribute__((vector_size(16)));
    typedef int16_t Narrow __attribute__((vector_size(8)));
    Wide outside = {};
    for (int i = 0; i < 64; i += 4) {
        Wide wide;
        std::memcpy(&wide, coefficients + i, sizeof(wide));
        // Values in -32768..32767 become 0..65535 with the bias: nothing above bit 15.
        outside |= (wide + 32768) & static_cast<int32_t>(0xFFFF0000u);
        const Narrow packed = __builtin_convertvector(wide, Narrow);
        std::memcpy(narrow + i, &packed, sizeof(packed));
    }
    return (outside[0] | outside[1] | outside[2] | outside[3]) == 0;
}
#endif

}  // namespace

using namespace veltrane;

// The exported transforms, alike: coefficients that fit 16 bits go to the
// kernel table, any other block to the plain 32-bit transform.
extern "C" void InvDctFixedPoint(int32_t* coefficients, int16_t* dst, int stride) {
    alignas(32) int16_t narrow[64];
    if (NarrowCoefficients(coefficients, narrow)) {
        ActiveIdctKernels()->toResidual(narrow, dst, stride);
    } else {
        idct::TransformToResidual(coefficients, dst, stride);
    }
}

extern "C" void InvDctFixedPointIntra(int32_t* coefficients, unsigned char* dst, int stride) {
    alignas(32) int16_t narrow[64];
    if (NarrowCoefficients(coefficients, narrow)) {
        ActiveIdctKernels()->toPixels(narrow, dst, stride);
    } else {
        idct::TransformToPixels(coefficients, dst, stride);
    }
}

extern "C" void InvDct10FixedPoint(int32_t* coefficients, int16_t* dst, int stride) {
    alignas(32) int16_t narrow[64];
    if (NarrowCoefficients(coefficients, narrow)) {
        ActiveIdctKernels()->cornerToResidual(narrow, dst, stride);
    } else {
        idct::TransformCornerToResidual(coefficients, dst, stride);
    }
}

extern "C" void InvDct1FixedPoint(int32_t* coefficients, int16_t* dst, int stride) {
    const int16_t v = idct::DcOnlyOutput(coefficients[0]);
    for (int r = 0; r < 8; ++r) {
        idct::FillRow(dst + static_cast<ptrdiff_t>(r) * stride, v);
    }
}
