// SSE2 colour row kernels: the channel arithmetic of the converter's tables in
// 16-bit lanes, 16 pixels per step.
//
// Every term is one pmulhw or pmulhuw of a biased sample (color_biases_x86.h:
// the luma term comes out 19 too high, every chroma term 19 lower); packuswb
// clamps the sums to 0..255.
//
// Each chroma term is formed once per chroma sample for both pixels of its pair
// and, in the row-pair kernels, for both rows. The last step of a row is moved
// back to end at the row's last even pixel and may repeat pixels of the step
// before; an odd last pixel goes to the plain row function.
#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "color/color_kernels.h"
#include "color/x86/color_biases_x86.h"

namespace veltrane {
namespace {

constexpr int kStep = 16;

inline __m128i Load16(const unsigned char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store16(unsigned char* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline __m128i Words(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
inline __m128i Bytes(int value) { return _mm_set1_epi8(static_cast<char>(value)); }

// The chroma terms of 8 chroma samples, each in the lanes of both pixels that
// share it: `low` for pixels 0..7 of the step, `high` for 8..15.
struct ChromaTerms {
    __m128i redLow, redHigh, greenLow, greenHigh, blueLow, blueHigh;
};

// 256 · (sample clamped to 16..240) of 8 chroma samples. Less 256 · 128, which
// each term's bias takes off (16-bit sums wrap), this is 256 · c.
inline __m128i ScaledChroma(const unsigned char* p) {
    const __m128i c = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return _mm_unpacklo_epi8(_mm_setzero_si128(),
                             _mm_min_epu8(_mm_max_epu8(c, Bytes(16)), Bytes(240)));
}

// The high half of (256 · c + bias) · coef.
inline __m128i ChromaTerm(__m128i scaled, int bias, int coef) {
    return _mm_mulhi_epi16(_mm_add_epi16(scaled, Words(bias - 256 * 128)), Words(coef));
}

inline ChromaTerms LoadChromaTerms(const unsigned char* u, const unsigned char* v) {
    const __m128i cu = ScaledChroma(u);
    const __m128i cv = ScaledChroma(v);
    const __m128i red = ChromaTerm(cv, kRedBias, 409);
    const __m128i green =
        _mm_add_epi16(ChromaTerm(cu, kGreenUBias, -100), ChromaTerm(cv, kGreenVBias, -208));
    const __m128i blue = ChromaTerm(cu, kBlueBias, 516);
    return {_mm_unpacklo_epi16(red, red),     _mm_unpackhi_epi16(red, red),
            _mm_unpacklo_epi16(green, green), _mm_unpackhi_epi16(green, green),
            _mm_unpacklo_epi16(blue, blue),   _mm_unpackhi_epi16(blue, blue)};
}

// The saturated channel bytes of 16 pixels.
struct Channels {
    __m128i blue, green, red;
};

inline Channels ConvertStep(const unsigned char* y, const ChromaTerms& c) {
    const __m128i luma = _mm_min_epu8(_mm_max_epu8(Load16(y), Bytes(16)), Bytes(235));
    const __m128i low = _mm_mulhi_epu16(_mm_unpacklo_epi8(Bytes(kLumaBias), luma), Words(298));
    const __m128i high = _mm_mulhi_epu16(_mm_unpackhi_epi8(Bytes(kLumaBias), luma), Words(298));
    return {_mm_packus_epi16(_mm_add_epi16(low, c.blueLow), _mm_add_epi16(high, c.blueHigh)),
            _mm_packus_epi16(_mm_add_epi16(low, c.greenLow), _mm_add_epi16(high, c.greenHigh)),
            _mm_packus_epi16(_mm_add_epi16(low, c.redLow), _mm_add_epi16(high, c.redHigh))};
}

// Colours capped at alpha: alpha 0 leaves the whole word 0.
inline Channels CapAtAlpha(const Channels& ch, __m128i alpha) {
    return {_mm_min_epu8(ch.blue, alpha), _mm_min_epu8(ch.green, alpha),
            _mm_min_epu8(ch.red, alpha)};
}

// 16 words 0xAARRGGBB.
inline void StoreBgra(unsigned char* out, const Channels& ch, __m128i alpha) {
    const __m128i bgLow = _mm_unpacklo_epi8(ch.blue, ch.green);
    const __m128i bgHigh = _mm_unpackhi_epi8(ch.blue, ch.green);
    const __m128i raLow = _mm_unpacklo_epi8(ch.red, alpha);
    const __m128i raHigh = _mm_unpackhi_epi8(ch.red, alpha);
    Store16(out, _mm_unpacklo_epi16(bgLow, raLow));
    Store16(out + 16, _mm_unpackhi_epi16(bgLow, raLow));
    Store16(out + 32, _mm_unpacklo_epi16(bgHigh, raHigh));
    Store16(out + 48, _mm_unpackhi_epi16(bgHigh, raHigh));
}

// The top bits of each channel of 8 pixels (channel words 0..255), placed as the
// layout wants them.
template <int kLayout>
inline __m128i Pack16(__m128i blue, __m128i green, __m128i red) {
    if constexpr (kLayout == kRgb555) {
        return _mm_or_si128(_mm_or_si128(_mm_slli_epi16(_mm_and_si128(red, Words(0xF8)), 7),
                                         _mm_slli_epi16(_mm_and_si128(green, Words(0xF8)), 2)),
                            _mm_srli_epi16(blue, 3));
    } else if constexpr (kLayout == kRgb565) {
        return _mm_or_si128(_mm_or_si128(_mm_slli_epi16(_mm_and_si128(red, Words(0xF8)), 8),
                                         _mm_slli_epi16(_mm_and_si128(green, Words(0xF8)), 3)),
                            _mm_srli_epi16(blue, 3));
    } else {
        return _mm_or_si128(
            _mm_or_si128(_mm_or_si128(_mm_slli_epi16(_mm_and_si128(red, Words(0xF0)), 4),
                                      _mm_and_si128(green, Words(0xF0))),
                         _mm_srli_epi16(blue, 4)),
            Words(0xF000));
    }
}

template <int kLayout>
inline void StoreRgb16(uint16_t* out, const Channels& ch) {
    const __m128i zero = _mm_setzero_si128();
    auto half = [&](auto unpack) {
        return Pack16<kLayout>(unpack(ch.blue, zero), unpack(ch.green, zero), unpack(ch.red, zero));
    };
    unsigned char* bytes = reinterpret_cast<unsigned char*>(out);
    Store16(bytes, half([](__m128i a, __m128i b) { return _mm_unpacklo_epi8(a, b); }));
    Store16(bytes + 16, half([](__m128i a, __m128i b) { return _mm_unpackhi_epi8(a, b); }));
}

// Calls step(x) for steps that cover the even part of a row of `width` pixels;
// returns the number of pixels covered (0 when the row is shorter than a step).
template <typename Step>
inline int ForEachStep(int width, Step step) {
    const int even = width & ~1;
    if (even < kStep) {
        return 0;
    }
    for (int x = 0;; x += kStep) {
        if (x > even - kStep) {
            x = even - kStep;
        }
        step(x);
        if (x == even - kStep) {
            return even;
        }
    }
}

void BgraRowPairSse2(const ColorConverter_t* converter, const unsigned char* y0,
                     const unsigned char* y1, const unsigned char* u, const unsigned char* v,
                     unsigned char* out0, unsigned char* out1, int width) {
    const __m128i opaque = Bytes(0xFF);
    // The upper row goes first and keeps the chroma terms of a run of steps (a
    // whole row up to 2048 pixels); the lower row then reuses them. Reading each
    // luma row front to back, instead of both rows step by step in turn, keeps
    // the reads one sequential stream, which matters once the pictures no
    // longer fit the caches.
    constexpr int kRun = 128;
    ChromaTerms terms[kRun];
    int positions[kRun];
    int steps = 0;
    auto lowerRow = [&] {
        for (int i = 0; i < steps; ++i) {
            StoreBgra(out1 + 4 * positions[i], ConvertStep(y1 + positions[i], terms[i]), opaque);
        }
        steps = 0;
    };
    const int done = ForEachStep(width, [&](int x) {
        terms[steps] = LoadChromaTerms(u + x / 2, v + x / 2);
        positions[steps] = x;
        StoreBgra(out0 + 4 * x, ConvertStep(y0 + x, terms[steps]), opaque);
        if (++steps == kRun) lowerRow();
    });
    lowerRow();
    if (done < width) {
        BgraRowPairC(converter, y0 + done, y1 + done, u + done / 2, v + done / 2, out0 + 4 * done,
                     out1 + 4 * done, width - done);
    }
}

void BgraAlphaRowPairSse2(const ColorConverter_t* converter, const unsigned char* y0,
                          const unsigned char* y1, const unsigned char* a0, const unsigned char* a1,
                          const unsigned char* u, const unsigned char* v, unsigned char* out0,
                          unsigned char* out1, int width) {
    const int done = ForEachStep(width, [&](int x) {
        const ChromaTerms terms = LoadChromaTerms(u + x / 2, v + x / 2);
        const __m128i alpha0 = Load16(a0 + x);
        const __m128i alpha1 = Load16(a1 + x);
        StoreBgra(out0 + 4 * x, CapAtAlpha(ConvertStep(y0 + x, terms), alpha0), alpha0);
        StoreBgra(out1 + 4 * x, CapAtAlpha(ConvertStep(y1 + x, terms), alpha1), alpha1);
    });
    if (done < width) {
        BgraAlphaRowPairC(converter, y0 + done, y1 + done, a0 + done, a1 + done, u + done / 2,
                          v + done / 2, out0 + 4 * done, out1 + 4 * done, width - done);
    }
}

void BgraRowSse2(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                 const unsigned char* v, unsigned char* out, int width) {
    const __m128i opaque = Bytes(0xFF);
    const int done = ForEachStep(width, [&](int x) {
        StoreBgra(out + 4 * x, ConvertStep(y + x, LoadChromaTerms(u + x / 2, v + x / 2)), opaque);
    });
    if (done < width) {
        BgraRowC(converter, y + done, u + done / 2, v + done / 2, out + 4 * done, width - done);
    }
}

void BgraAlphaRowSse2(const ColorConverter_t* converter, const unsigned char* y,
                      const unsigned char* a, const unsigned char* u, const unsigned char* v,
                      unsigned char* out, int width) {
    const int done = ForEachStep(width, [&](int x) {
        const __m128i alpha = Load16(a + x);
        StoreBgra(out + 4 * x,
                  CapAtAlpha(ConvertStep(y + x, LoadChromaTerms(u + x / 2, v + x / 2)), alpha),
                  alpha);
    });
    if (done < width) {
        BgraAlphaRowC(converter, y + done, a + done, u + done / 2, v + done / 2, out + 4 * done,
                      width - done);
    }
}

template <int kLayout>
void Rgb16RowSse2(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                  const unsigned char* v, uint16_t* out, int width) {
    const int done = ForEachStep(width, [&](int x) {
        StoreRgb16<kLayout>(out + x, ConvertStep(y + x, LoadChromaTerms(u + x / 2, v + x / 2)));
    });
    if (done < width) {
        kColorRowKernelsC.rgb16Row[kLayout](converter, y + done, u + done / 2, v + done / 2,
                                            out + done, width - done);
    }
}

}  // namespace

const ColorRowKernels kColorRowKernelsSse2 = {
    BgraRowPairSse2,
    BgraAlphaRowPairSse2,
    BgraRowSse2,
    BgraAlphaRowSse2,
    {Rgb16RowSse2<kRgb555>, Rgb16RowSse2<kRgb565>, Rgb16RowSse2<kArgb4444>},
};

}  // namespace veltrane
