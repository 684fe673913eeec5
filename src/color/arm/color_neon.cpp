// NEON colour row kernels: the channel arithmetic of the converter's tables in
// 16-bit lanes, sixteen pixels (eight chroma pairs) a step, with the pixels
// left over at the end of a row handed to the plain kernels.
//
// With Y' = (298 * clamp(Y, 16, 235) - 4767) >> 8 and cu, cv the chroma
// differences from 128 clamped to -112..112, the tables give
//   R = clamp(Y' + ((409 * cv + 128) >> 8))
//   G = clamp(Y' + ((-100 * cu + 128) >> 8) + ((-208 * cv + 128) >> 8))
//   B = clamp(Y' + ((516 * cu) >> 8))
// Products that would leave 16 bits are split at 256, which a shift by 8 passes
// through exactly: (298 y - 4767) >> 8 = y + ((42 y - 4767) >> 8), and so on.
#include <arm_neon.h>

#include <cstdint>

#include "color/color_kernels.h"

namespace veltrane {
namespace {

constexpr int kStep = 16;  // pixels a step

// The chroma terms of eight chroma pairs, each doubled for the two pixels that
// share it: low holds the terms of pixels 0..7, high of pixels 8..15.
struct ChromaTerms {
    int16x8_t red[2];
    int16x8_t green[2];
    int16x8_t blue[2];
};

inline void Duplicate(int16x8_t terms, int16x8_t out[2]) {
    const int16x8x2_t zipped = vzipq_s16(terms, terms);
    out[0] = zipped.val[0];
    out[1] = zipped.val[1];
}

inline int16x8_t ChromaDifference(uint8x8_t samples) {
    const uint8x8_t clamped = vmin_u8(vmax_u8(samples, vdup_n_u8(16)), vdup_n_u8(240));
    return vreinterpretq_s16_u16(vsubl_u8(clamped, vdup_n_u8(128)));
}

inline ChromaTerms LoadChroma(const unsigned char* u, const unsigned char* v) {
    const int16x8_t cu = ChromaDifference(vld1_u8(u));
    const int16x8_t cv = ChromaDifference(vld1_u8(v));
    // (k * c + 128) >> 8 is a rounding shift of k * c; 409 = 256 + 153; 516 = 512 + 4.
    const int16x8_t red = vrsraq_n_s16(cv, vmulq_n_s16(cv, 153), 8);
    const int16x8_t green =
        vrsraq_n_s16(vrshrq_n_s16(vmulq_n_s16(cu, -100), 8), vmulq_n_s16(cv, -208), 8);
    const int16x8_t blue = vsraq_n_s16(vshlq_n_s16(cu, 1), cu, 6);
    ChromaTerms terms;
    Duplicate(red, terms.red);
    Duplicate(green, terms.green);
    Duplicate(blue, terms.blue);
    return terms;
}

// Y' of eight luma samples; 298 = 256 + 42.
inline int16x8_t LumaTerm(uint8x8_t samples) {
    const uint8x8_t y = vmin_u8(vmax_u8(samples, vdup_n_u8(16)), vdup_n_u8(235));
    const int16x8_t scaled = vreinterpretq_s16_u16(vmull_u8(y, vdup_n_u8(42)));
    const int16x8_t fraction = vshrq_n_s16(vsubq_s16(scaled, vdupq_n_s16(4767)), 8);
    return vreinterpretq_s16_u16(vaddw_u8(vreinterpretq_u16_s16(fraction), y));
}

struct Channels {
    uint8x16_t red;
    uint8x16_t green;
    uint8x16_t blue;
};

inline uint8x16_t Saturate(int16x8_t luma0, int16x8_t luma1, const int16x8_t terms[2]) {
    return vcombine_u8(vqmovun_s16(vaddq_s16(luma0, terms[0])),
                       vqmovun_s16(vaddq_s16(luma1, terms[1])));
}

// The channels of sixteen pixels.
inline Channels Convert(const unsigned char* y, const ChromaTerms& chroma) {
    const uint8x16_t samples = vld1q_u8(y);
    const int16x8_t luma0 = LumaTerm(vget_low_u8(samples));
    const int16x8_t luma1 = LumaTerm(vget_high_u8(samples));
    return {Saturate(luma0, luma1, chroma.red), Saturate(luma0, luma1, chroma.green),
            Saturate(luma0, luma1, chroma.blue)};
}

// 32-bit words 0xAARRGGBB: bytes B, G, R, A in memory, eight pixels a store.
inline void StorePixels(unsigned char* out, uint8x16_t blue, uint8x16_t green, uint8x16_t red,
                        uint8x16_t alpha) {
    const uint8x8x4_t low = {
        {vget_low_u8(blue), vget_low_u8(green), vget_low_u8(red), vget_low_u8(alpha)}};
    const uint8x8x4_t high = {
        {vget_high_u8(blue), vget_high_u8(green), vget_high_u8(red), vget_high_u8(alpha)}};
    vst4_u8(out, low);
    vst4_u8(out + 32, high);
}

inline void StoreOpaque(unsigned char* out, const Channels& c) {
    StorePixels(out, c.blue, c.green, c.red, vdupq_n_u8(0xFF));
}

// Colours capped at alpha; alpha 0 thus gives the word 0.
inline void StoreWithAlpha(unsigned char* out, const Channels& c, const unsigned char* a) {
    const uint8x16_t alpha = vld1q_u8(a);
    StorePixels(out, vminq_u8(c.blue, alpha), vminq_u8(c.green, alpha), vminq_u8(c.red, alpha),
                alpha);
}

void BgraRowPairNeon(const ColorConverter_t* converter, const unsigned char* y0,
                     const unsigned char* y1, const unsigned char* u, const unsigned char* v,
                     unsigned char* out0, unsigned char* out1, int width) {
    int i = 0;
    for (; i + kStep <= width; i += kStep) {
        const ChromaTerms chroma = LoadChroma(u + i / 2, v + i / 2);
        StoreOpaque(out0 + 4 * i, Convert(y0 + i, chroma));
        StoreOpaque(out1 + 4 * i, Convert(y1 + i, chroma));
    }
    if (i < width) {
        BgraRowPairC(converter, y0 + i, y1 + i, u + i / 2, v + i / 2, out0 + 4 * i, out1 + 4 * i,
                     width - i);
    }
}

void BgraAlphaRowPairNeon(const ColorConverter_t* converter, const unsigned char* y0,
                          const unsigned char* y1, const unsigned char* a0, const unsigned char* a1,
                          const unsigned char* u, const unsigned char* v, unsigned char* out0,
                          unsigned char* out1, int width) {
    int i = 0;
    for (; i + kStep <= width; i += kStep) {
        const ChromaTerms chroma = LoadChroma(u + i / 2, v + i / 2);
        StoreWithAlpha(out0 + 4 * i, Convert(y0 + i, chroma), a0 + i);
        StoreWithAlpha(out1 + 4 * i, Convert(y1 + i, chroma), a1 + i);
    }
    if (i < width) {
        BgraAlphaRowPairC(converter, y0 + i, y1 + i, a0 + i, a1 + i, u + i / 2, v + i / 2,
                          out0 + 4 * i, out1 + 4 * i, width - i);
    }
}

void BgraRowNeon(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                 const unsigned char* v, unsigned char* out, int width) {
    int i = 0;
    for (; i + kStep <= width; i += kStep) {
        StoreOpaque(out + 4 * i, Convert(y + i, LoadChroma(u + i / 2, v + i / 2)));
    }
    if (i < width) {
        BgraRowC(converter, y + i, u + i / 2, v + i / 2, out + 4 * i, width - i);
    }
}

void BgraAlphaRowNeon(const ColorConverter_t* converter, const unsigned char* y,
                      const unsigned char* a, const unsigned char* u, const unsigned char* v,
                      unsigned char* out, int width) {
    int i = 0;
    for (; i + kStep <= width; i += kStep) {
        StoreWithAlpha(out + 4 * i, Convert(y + i, LoadChroma(u + i / 2, v + i / 2)), a + i);
    }
    if (i < width) {
        BgraAlphaRowC(converter, y + i, a + i, u + i / 2, v + i / 2, out + 4 * i, width - i);
    }
}

// 16-bit layouts: the top bits of each channel, truncated. Each channel is
// widened into the top byte of a lane and inserted below the previous ones.
inline uint16x8_t Pack555(uint8x8_t r, uint8x8_t g, uint8x8_t b) {
    const uint16x8_t rg = vsriq_n_u16(vshll_n_u8(r, 7), vshll_n_u8(g, 8), 6);
    return vsriq_n_u16(rg, vshll_n_u8(b, 8), 11);
}

// The 5-6-5 layout carries green's top five bits only (bits 6..10; bit 5 is 0).
inline uint16x8_t Pack565(uint8x8_t r, uint8x8_t g, uint8x8_t b) {
    const uint8x8_t green = vand_u8(g, vdup_n_u8(0xF8));
    const uint16x8_t rg = vsriq_n_u16(vshll_n_u8(r, 8), vshll_n_u8(green, 8), 5);
    return vsriq_n_u16(rg, vshll_n_u8(b, 8), 11);
}

inline uint16x8_t Pack4444(uint8x8_t r, uint8x8_t g, uint8x8_t b) {
    const uint16x8_t ar = vorrq_u16(vshll_n_u8(r, 4), vdupq_n_u16(0xF000));
    const uint16x8_t arg = vsriq_n_u16(ar, vshll_n_u8(g, 8), 8);
    return vsriq_n_u16(arg, vshll_n_u8(b, 8), 12);
}

template <uint16x8_t (*kPack)(uint8x8_t, uint8x8_t, uint8x8_t), Rgb16RowKernel kPlain>
void Rgb16RowNeon(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                  const unsigned char* v, uint16_t* out, int width) {
    int i = 0;
    for (; i + kStep <= width; i += kStep) {
        const Channels c = Convert(y + i, LoadChroma(u + i / 2, v + i / 2));
        vst1q_u16(out + i, kPack(vget_low_u8(c.red), vget_low_u8(c.green), vget_low_u8(c.blue)));
        vst1q_u16(out + i + 8,
                  kPack(vget_high_u8(c.red), vget_high_u8(c.green), vget_high_u8(c.blue)));
    }
    if (i < width) {
        kPlain(converter, y + i, u + i / 2, v + i / 2, out + i, width - i);
    }
}

}  // namespace

const ColorRowKernels kColorRowKernelsNeon = {
    BgraRowPairNeon,
    BgraAlphaRowPairNeon,
    BgraRowNeon,
    BgraAlphaRowNeon,
    {Rgb16RowNeon<Pack555, Rgb555RowC>, Rgb16RowNeon<Pack565, Rgb565RowC>,
     Rgb16RowNeon<Pack4444, Argb4444RowC>},
};

}  // namespace veltrane
