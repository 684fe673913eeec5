// The biases of the x86 colour row kernels (SSE2 and AVX2 share them).
//
// Every term is one pmulhw or pmulhuw: the high half of (256·c + bias)·coef is
// floor((coef·c + coef·bias/256) / 256), and each bias below is chosen so that
// this floor equals the rounded term over the whole clamped range (checked here
// at compile time). Luma's bias can only add, where its formula subtracts 4767,
// so the luma term comes out 19 too high and every chroma term is formed 19
// lower (green: 6 in its U part, 13 in its V part).
#ifndef VELTRANE_COLOR_X86_COLOR_BIASES_X86_H
#define VELTRANE_COLOR_X86_COLOR_BIASES_X86_H

namespace veltrane {
namespace {

// What the constants stand for, as the plain code computes it.
constexpr int Clamp(int x, int low, int high) { return x < low ? low : (x > high ? high : x); }
constexpr int ExactLuma(int y) { return (298 * Clamp(y, 16, 235) - 4767) >> 8; }

constexpr int kLumaBias = 84;  // low byte under the clamped luma sample
constexpr int kLumaExcess = 19;
constexpr int kRedBias = -2964;
constexpr int kGreenUBias = 3600;
constexpr int kGreenVBias = 3928;
constexpr int kBlueBias = -2413;

constexpr bool LumaBiasIsExact() {
    for (int y = 0; y < 256; ++y) {
        const int clamped = Clamp(y, 16, 235);
        if (((256 * clamped + kLumaBias) * 298 >> 16) != ExactLuma(y) + kLumaExcess) return false;
    }
    return true;
}

// pmulhw of (256·c + bias) and coef against (coef·c + rounding) >> 8, less `lower`.
constexpr bool ChromaBiasIsExact(int coef, int bias, int rounding, int lower) {
    for (int c = -112; c <= 112; ++c) {
        const int scaled = 256 * c + bias;
        if (scaled < -32768 || scaled > 32767) return false;
        if ((scaled * coef >> 16) != ((coef * c + rounding) >> 8) - lower) return false;
    }
    return true;
}

static_assert(LumaBiasIsExact());
static_assert(ChromaBiasIsExact(409, kRedBias, 128, kLumaExcess));
static_assert(ChromaBiasIsExact(-100, kGreenUBias, 128, 6));
static_assert(ChromaBiasIsExact(-208, kGreenVBias, 128, kLumaExcess - 6));
static_assert(ChromaBiasIsExact(516, kBlueBias, 0, kLumaExcess));

}  // namespace
}  // namespace veltrane

#endif
