// The plain colour row functions over the converter's packed tables: per pixel
// one table read, one addition, one mask test and the packing; the chroma part
// of the sum is formed once for the pixels that share it.
#include <cstdint>
#include <cstring>

#include "color/color_kernels.h"
#include "color/impact.h"

namespace veltrane {
namespace {

inline void StoreWord(unsigned char* out, int column, uint32_t word) {
    std::memcpy(out + 4 * column, &word, sizeof(word));
}

inline uint32_t Opaque(const ColorConverter_t& cc, unsigned char luma, uint32_t chroma) {
    return PackOpaque(SaturateImpactSum(cc.yImpact[luma] + chroma));
}

// A transparent pixel needs no colour.
inline uint32_t WithAlpha(const ColorConverter_t& cc, unsigned char luma, unsigned char alpha,
                          uint32_t chroma) {
    return alpha == 0 ? 0u : PackWithAlpha(SaturateImpactSum(cc.yImpact[luma] + chroma), alpha);
}

// Converts `width` pixels; pixel(i, chroma) handles pixel i with the chroma part
// of its pair.
template <typename Pixel>
inline void ForEachPixel(const ColorConverter_t& cc, const unsigned char* u, const unsigned char* v,
                         int width, Pixel pixel) {
    int i = 0;
    for (; i + 1 < width; i += 2) {
        const uint32_t chroma = ChromaImpact(cc, *u++, *v++);
        pixel(i, chroma);
        pixel(i + 1, chroma);
    }
    if (i < width) {
        pixel(i, ChromaImpact(cc, *u, *v));
    }
}

template <int kFormat>
void Rgb16Row(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
              const unsigned char* v, uint16_t* out, int width) {
    const ColorConverter_t& cc = *converter;
    ForEachPixel(cc, u, v, width, [&](int i, uint32_t chroma) {
        out[i] = Pack16<kFormat>(SaturateImpactSum(cc.yImpact[y[i]] + chroma));
    });
}

}  // namespace

void BgraRowPairC(const ColorConverter_t* converter, const unsigned char* y0,
                  const unsigned char* y1, const unsigned char* u, const unsigned char* v,
                  unsigned char* out0, unsigned char* out1, int width) {
    const ColorConverter_t& cc = *converter;
    ForEachPixel(cc, u, v, width, [&](int i, uint32_t chroma) {
        StoreWord(out0, i, Opaque(cc, y0[i], chroma));
        StoreWord(out1, i, Opaque(cc, y1[i], chroma));
    });
}

void BgraAlphaRowPairC(const ColorConverter_t* converter, const unsigned char* y0,
                       const unsigned char* y1, const unsigned char* a0, const unsigned char* a1,
                       const unsigned char* u, const unsigned char* v, unsigned char* out0,
                       unsigned char* out1, int width) {
    const ColorConverter_t& cc = *converter;
    ForEachPixel(cc, u, v, width, [&](int i, uint32_t chroma) {
        StoreWord(out0, i, WithAlpha(cc, y0[i], a0[i], chroma));
        StoreWord(out1, i, WithAlpha(cc, y1[i], a1[i], chroma));
    });
}

void BgraRowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
              const unsigned char* v, unsigned char* out, int width) {
    const ColorConverter_t& cc = *converter;
    ForEachPixel(cc, u, v, width,
                 [&](int i, uint32_t chroma) { StoreWord(out, i, Opaque(cc, y[i], chroma)); });
}

void BgraAlphaRowC(const ColorConverter_t* converter, const unsigned char* y,
                   const unsigned char* a, const unsigned char* u, const unsigned char* v,
                   unsigned char* out, int width) {
    const ColorConverter_t& cc = *converter;
    ForEachPixel(cc, u, v, width, [&](int i, uint32_t chroma) {
        StoreWord(out, i, WithAlpha(cc, y[i], a[i], chroma));
    });
}

void Rgb555RowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                const unsigned char* v, uint16_t* out, int width) {
    Rgb16Row<ePixelFormatRGB555>(converter, y, u, v, out, width);
}

void Rgb565RowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                const unsigned char* v, uint16_t* out, int width) {
    Rgb16Row<ePixelFormatRGB565>(converter, y, u, v, out, width);
}

void Argb4444RowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                  const unsigned char* v, uint16_t* out, int width) {
    Rgb16Row<ePixelFormatARGB4444>(converter, y, u, v, out, width);
}

}  // namespace veltrane
