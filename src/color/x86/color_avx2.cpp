// AVX2 colour row kernels: the arithmetic of the SSE2 twins (see there: one
// pmulhw or pmulhuw per term, the luma term 19 too high and the chroma terms 19
// lower, packuswb for the clamping), 32 pixels per step. Rows too short for one
// step go to the SSE2 kernels. Apart from the lane order below, the file
// follows color_sse2.cpp kernel for kernel.
//
// Unpacking and packing work within 128-bit lanes. So that the in-lane steps
// still end in consecutive pixels, luma and alpha are loaded with their dwords
// permuted, and the chroma terms are formed in the matching order: 32-bit
// pixels pass one pack and two interleaving steps, 16-bit pixels one pack and
// one unpack, so the two outputs need different orders.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "color/color_kernels.h"
#include "color/x86/color_biases_x86.h"

namespace veltrane {
namespace {

constexpr int kStep = 32;

inline __m256i Load32(const unsigned char* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void Store32(unsigned char* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
inline __m256i Words(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
inline __m256i Bytes(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }

// The order of a step's pixels in the lanes: which luma dwords each lane takes
// (vpermd), and which chroma sample each word of the chroma terms holds (pshufb
// from a lane that holds all 16 samples, into the high byte of the word).
struct LaneOrder {
    __m256i luma;
    __m256i chroma;
};

// Pack, then bytes and words interleaved with the other channels: lane 0 of
// luma holds pixels 0..3, 8..11, 16..19, 24..27 and lane 1 the rest.
inline LaneOrder BgraOrder() {
    return {_mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7),
            _mm256_setr_epi8(-1, 0, -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13,  //
                             -1, 2, -1, 3, -1, 6, -1, 7, -1, 10, -1, 11, -1, 14, -1, 15)};
}

// Pack, then bytes widened to words: lane 0 holds pixels 0..7 and 16..23.
inline LaneOrder Rgb16Order() {
    return {_mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7),
            _mm256_setr_epi8(-1, 0, -1, 1, -1, 2, -1, 3, -1, 8, -1, 9, -1, 10, -1, 11,  //
                             -1, 4, -1, 5, -1, 6, -1, 7, -1, 12, -1, 13, -1, 14, -1, 15)};
}

inline __m256i LoadPermuted(const unsigned char* p, const LaneOrder& order) {
    return _mm256_permutevar8x32_epi32(Load32(p), order.luma);
}

// The chroma terms of 16 chroma samples, each in the lanes of both pixels that
// share it.
struct ChromaTerms {
    __m256i redLow, redHigh, greenLow, greenHigh, blueLow, blueHigh;
};

// 256 · (sample clamped to 16..240) of 16 chroma samples. Less 256 · 128, which
// each term's bias takes off (16-bit sums wrap), this is 256 · c.
inline __m256i ScaledChroma(const unsigned char* p, const LaneOrder& order) {
    const __m256i c =
        _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    return _mm256_shuffle_epi8(_mm256_min_epu8(_mm256_max_epu8(c, Bytes(16)), Bytes(240)),
                               order.chroma);
}

// The high half of (256 · c + bias) · coef.
inline __m256i ChromaTerm(__m256i scaled, int bias, int coef) {
    return _mm256_mulhi_epi16(_mm256_add_epi16(scaled, Words(bias - 256 * 128)), Words(coef));
}

inline ChromaTerms LoadChromaTerms(const unsigned char* u, const unsigned char* v,
                                   const LaneOrder& order) {
    const __m256i cu = ScaledChroma(u, order);
    const __m256i cv = ScaledChroma(v, order);
    const __m256i red = ChromaTerm(cv, kRedBias, 409);
    const __m256i green =
        _mm256_add_epi16(ChromaTerm(cu, kGreenUBias, -100), ChromaTerm(cv, kGreenVBias, -208));
    const __m256i blue = ChromaTerm(cu, kBlueBias, 516);
    return {_mm256_unpacklo_epi16(red, red),     _mm256_unpackhi_epi16(red, red),
            _mm256_unpacklo_epi16(green, green), _mm256_unpackhi_epi16(green, green),
            _mm256_unpacklo_epi16(blue, blue),   _mm256_unpackhi_epi16(blue, blue)};
}

// The saturated channel bytes of 32 pixels, in the lane order of the luma.
struct Channels {
    __m256i blue, green, red;
};

inline Channels ConvertStep(__m256i luma, const ChromaTerms& c) {
    luma = _mm256_min_epu8(_mm256_max_epu8(luma, Bytes(16)), Bytes(235));
    const __m256i low =
        _mm256_mulhi_epu16(_mm256_unpacklo_epi8(Bytes(kLumaBias), luma), Words(298));
    const __m256i high =
        _mm256_mulhi_epu16(_mm256_unpackhi_epi8(Bytes(kLumaBias), luma), Words(298));
    return {
        _mm256_packus_epi16(_mm256_add_epi16(low, c.blueLow), _mm256_add_epi16(high, c.blueHigh)),
        _mm256_packus_epi16(_mm256_add_epi16(low, c.greenLow), _mm256_add_epi16(high, c.greenHigh)),
        _mm256_packus_epi16(_mm256_add_epi16(low, c.redLow), _mm256_add_epi16(high, c.redHigh))};
}

inline Channels CapAtAlpha(const Channels& ch, __m256i alpha) {
    return {_mm256_min_epu8(ch.blue, alpha), _mm256_min_epu8(ch.green, alpha),
            _mm256_min_epu8(ch.red, alpha)};
}

// 32 words 0xAARRGGBB from channels in BgraOrder.
inline void StoreBgra(unsigned char* out, const Channels& ch, __m256i alpha) {
    const __m256i bgLow = _mm256_unpacklo_epi8(ch.blue, ch.green);
    const __m256i bgHigh = _mm256_unpackhi_epi8(ch.blue, ch.green);
    const __m256i raLow = _mm256_unpacklo_epi8(ch.red, alpha);
    const __m256i raHigh = _mm256_unpackhi_epi8(ch.red, alpha);
    Store32(out, _mm256_unpacklo_epi16(bgLow, raLow));
    Store32(out + 32, _mm256_unpackhi_epi16(bgLow, raLow));
    Store32(out + 64, _mm256_unpacklo_epi16(bgHigh, raHigh));
    Store32(out + 96, _mm256_unpackhi_epi16(bgHigh, raHigh));
}

template <int kLayout>
inline __m256i Pack16(__m256i blue, __m256i green, __m256i red) {
    if constexpr (kLayout == kRgb555) {
        return _mm256_or_si256(
            _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(red, Words(0xF8)), 7),
                            _mm256_slli_epi16(_mm256_and_si256(green, Words(0xF8)), 2)),
            _mm256_srli_epi16(blue, 3));
    } else if constexpr (kLayout == kRgb565) {
        return _mm256_or_si256(
            _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(red, Words(0xF8)), 8),
                            _mm256_slli_epi16(_mm256_and_si256(green, Words(0xF8)), 3)),
            _mm256_srli_epi16(blue, 3));
    } else {
        return _mm256_or_si256(
            _mm256_or_si256(
                _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(red, Words(0xF0)), 4),
                                _mm256_and_si256(green, Words(0xF0))),
                _mm256_srli_epi16(blue, 4)),
            Words(0xF000));
    }
}

// 32 16-bit pixels from channels in Rgb16Order.
template <int kLayout>
inline void StoreRgb16(uint16_t* out, const Channels& ch) {
    const __m256i zero = _mm256_setzero_si256();
    unsigned char* bytes = reinterpret_cast<unsigned char*>(out);
    Store32(bytes, Pack16<kLayout>(_mm256_unpacklo_epi8(ch.blue, zero),
                                   _mm256_unpacklo_epi8(ch.green, zero),
                                   _mm256_unpacklo_epi8(ch.red, zero)));
    Store32(bytes + 32, Pack16<kLayout>(_mm256_unpackhi_epi8(ch.blue, zero),
                                        _mm256_unpackhi_epi8(ch.green, zero),
                                        _mm256_unpackhi_epi8(ch.red, zero)));
}

// Calls step(x) for steps that cover the even part of a row of at least one
// step; the last step ends at the last even pixel and may overlap the one before.
template <typename Step>
inline int ForEachStep(int width, Step step) {
    const int even = width & ~1;
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

inline bool ShorterThanStep(int width) { return (width & ~1) < kStep; }

void BgraRowPairAvx2(const ColorConverter_t* converter, const unsigned char* y0,
                     const unsigned char* y1, const unsigned char* u, const unsigned char* v,
                     unsigned char* out0, unsigned char* out1, int width) {
    if (ShorterThanStep(width)) {
        kColorRowKernelsSse2.bgraRowPair(converter, y0, y1, u, v, out0, out1, width);
        return;
    }
    const LaneOrder order = BgraOrder();
    const __m256i opaque = Bytes(0xFF);
    // The upper row goes first and keeps the chroma terms of a run of steps (a
    // whole row up to 2048 pixels); the lower row then reuses them. Reading each luma row front to
    // back, instead of both rows step by step in turn, keeps the reads one sequential stream, which
    // matters once the pictures no longer fit the caches.
    constexpr int kRun = 64;
    ChromaTerms terms[kRun];
    int positions[kRun];
    int steps = 0;
    auto lowerRow = [&] {
        for (int i = 0; i < steps; ++i) {
            const int x = positions[i];
            StoreBgra(out1 + 4 * x, ConvertStep(LoadPermuted(y1 + x, order), terms[i]), opaque);
        }
        steps = 0;
    };
    const int done = ForEachStep(width, [&](int x) {
        terms[steps] = LoadChromaTerms(u + x / 2, v + x / 2, order);
        positions[steps] = x;
        StoreBgra(out0 + 4 * x, ConvertStep(LoadPermuted(y0 + x, order), terms[steps]), opaque);
        if (++steps == kRun) lowerRow();
    });
    lowerRow();
    if (done < width) {
        BgraRowPairC(converter, y0 + done, y1 + done, u + done / 2, v + done / 2, out0 + 4 * done,
                     out1 + 4 * done, width - done);
    }
}

void BgraAlphaRowPairAvx2(const ColorConverter_t* converter, const unsigned char* y0,
                          const unsigned char* y1, const unsigned char* a0, const unsigned char* a1,
                          const unsigned char* u, const unsigned char* v, unsigned char* out0,
                          unsigned char* out1, int width) {
    if (ShorterThanStep(width)) {
        kColorRowKernelsSse2.bgraAlphaRowPair(converter, y0, y1, a0, a1, u, v, out0, out1, width);
        return;
    }
    const LaneOrder order = BgraOrder();
    const int done = ForEachStep(width, [&](int x) {
        const ChromaTerms terms = LoadChromaTerms(u + x / 2, v + x / 2, order);
        const __m256i alpha0 = LoadPermuted(a0 + x, order);
        const __m256i alpha1 = LoadPermuted(a1 + x, order);
        StoreBgra(out0 + 4 * x, CapAtAlpha(ConvertStep(LoadPermuted(y0 + x, order), terms), alpha0),
                  alpha0);
        StoreBgra(out1 + 4 * x, CapAtAlpha(ConvertStep(LoadPermuted(y1 + x, order), terms), alpha1),
                  alpha1);
    });
    if (done < width) {
        BgraAlphaRowPairC(converter, y0 + done, y1 + done, a0 + done, a1 + done, u + done / 2,
                          v + done / 2, out0 + 4 * done, out1 + 4 * done, width - done);
    }
}

void BgraRowAvx2(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                 const unsigned char* v, unsigned char* out, int width) {
    if (ShorterThanStep(width)) {
        kColorRowKernelsSse2.bgraRow(converter, y, u, v, out, width);
        return;
    }
    const LaneOrder order = BgraOrder();
    const __m256i opaque = Bytes(0xFF);
    const int done = ForEachStep(width, [&](int x) {
        StoreBgra(
            out + 4 * x,
            ConvertStep(LoadPermuted(y + x, order), LoadChromaTerms(u + x / 2, v + x / 2, order)),
            opaque);
    });
    if (done < width) {
        BgraRowC(converter, y + done, u + done / 2, v + done / 2, out + 4 * done, width - done);
    }
}

void BgraAlphaRowAvx2(const ColorConverter_t* converter, const unsigned char* y,
                      const unsigned char* a, const unsigned char* u, const unsigned char* v,
                      unsigned char* out, int width) {
    if (ShorterThanStep(width)) {
        kColorRowKernelsSse2.bgraAlphaRow(converter, y, a, u, v, out, width);
        return;
    }
    const LaneOrder order = BgraOrder();
    const int done = ForEachStep(width, [&](int x) {
        const __m256i alpha = LoadPermuted(a + x, order);
        StoreBgra(out + 4 * x,
                  CapAtAlpha(ConvertStep(LoadPermuted(y + x, order),
                                         LoadChromaTerms(u + x / 2, v + x / 2, order)),
                             alpha),
                  alpha);
    });
    if (done < width) {
        BgraAlphaRowC(converter, y + done, a + done, u + done / 2, v + done / 2, out + 4 * done,
                      width - done);
    }
}

template <int kLayout>
void Rgb16RowAvx2(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                  const unsigned char* v, uint16_t* out, int width) {
    if (ShorterThanStep(width)) {
        kColorRowKernelsSse2.rgb16Row[kLayout](converter, y, u, v, out, width);
        return;
    }
    const LaneOrder order = Rgb16Order();
    const int done = ForEachStep(width, [&](int x) {
        StoreRgb16<kLayout>(out + x, ConvertStep(LoadPermuted(y + x, order),
                                                 LoadChromaTerms(u + x / 2, v + x / 2, order)));
    });
    if (done < width) {
        kColorRowKernelsC.rgb16Row[kLayout](converter, y + done, u + done / 2, v + done / 2,
                                            out + done, width - done);
    }
}

}  // namespace

const ColorRowKernels kColorRowKernelsAvx2 = {
    BgraRowPairAvx2,
    BgraAlphaRowPairAvx2,
    BgraRowAvx2,
    BgraAlphaRowAvx2,
    {Rgb16RowAvx2<kRgb555>, Rgb16RowAvx2<kRgb565>, Rgb16RowAvx2<kArgb4444>},
};

}  // namespace veltrane
