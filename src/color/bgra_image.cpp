// Conversion of a whole 4:2:0 picture into a 32-bit BGRA image, optionally
// with an alpha plane. Rows are done in pairs so that each chroma pair is read
// once and its part of the sum is formed once for a 2x2 block.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "color/impact.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace {

using veltrane::ChromaImpact;
using veltrane::PackOpaque;
using veltrane::PackWithAlpha;
using veltrane::SaturateImpactSum;

// One row of the picture: its luma samples, its alpha samples (unused without
// an alpha plane) and the image row it goes to.
struct Row {
    const unsigned char* luma;
    const unsigned char* alpha;
    unsigned char* out;
};

unsigned char* ImageRow(const QXImage_t& image, int32_t row) {
    const ptrdiff_t index = image.bottomUp != 0 ? ptrdiff_t{image.height} - 1 - row : row;
    return image.pixels + index * image.rowBytes;
}

// Finishes the pixel at column `column` of `row` with the shared chroma part.
template <bool kAlpha>
inline void ConvertPixel(const ColorConverter_t& converter, uint32_t chroma, const Row& row,
                         int32_t column) {
    uint32_t word;
    if constexpr (kAlpha) {
        const uint32_t alpha = row.alpha[column];
        // A transparent pixel needs no colour.
        word = alpha == 0
                   ? 0u
                   : PackWithAlpha(SaturateImpactSum(converter.yImpact[row.luma[column]] + chroma),
                                   alpha);
    } else {
        word = PackOpaque(SaturateImpactSum(converter.yImpact[row.luma[column]] + chroma));
    }
    std::memcpy(row.out + 4 * ptrdiff_t{column}, &word, sizeof(word));
}

template <bool kAlpha>
void ConvertRowPair(const ColorConverter_t& converter, const Row& top, const Row& bottom,
                    const unsigned char* u, const unsigned char* v, int32_t width) {
    int32_t column = 0;
    for (; column + 1 < width; column += 2) {
        const uint32_t chroma = ChromaImpact(converter, *u++, *v++);
        ConvertPixel<kAlpha>(converter, chroma, top, column);
        ConvertPixel<kAlpha>(converter, chroma, top, column + 1);
        ConvertPixel<kAlpha>(converter, chroma, bottom, column);
        ConvertPixel<kAlpha>(converter, chroma, bottom, column + 1);
    }
    if (column < width) {
        const uint32_t chroma = ChromaImpact(converter, *u, *v);
        ConvertPixel<kAlpha>(converter, chroma, top, column);
        ConvertPixel<kAlpha>(converter, chroma, bottom, column);
    }
}

template <bool kAlpha>
void ConvertSingleRow(const ColorConverter_t& converter, const Row& row, const unsigned char* u,
                      const unsigned char* v, int32_t width) {
    int32_t column = 0;
    for (; column + 1 < width; column += 2) {
        const uint32_t chroma = ChromaImpact(converter, *u++, *v++);
        ConvertPixel<kAlpha>(converter, chroma, row, column);
        ConvertPixel<kAlpha>(converter, chroma, row, column + 1);
    }
    if (column < width) {
        ConvertPixel<kAlpha>(converter, ChromaImpact(converter, *u, *v), row, column);
    }
}

template <bool kAlpha>
void ConvertPicture(const ColorConverter_t* converter, int width, int height, int yStride,
                    int uvStride, int alphaStride, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, const unsigned char* alpha, QXImage_t* image) {
    if (converter == nullptr || image == nullptr || y == nullptr || u == nullptr || v == nullptr ||
        (kAlpha && alpha == nullptr) || width <= 0 || height <= 0) {
        return;
    }
    auto rowAt = [&](int32_t r) {
        Row row{y + ptrdiff_t{r} * yStride, nullptr, ImageRow(*image, r)};
        if constexpr (kAlpha) {
            row.alpha = alpha + ptrdiff_t{r} * alphaStride;
        }
        return row;
    };
    int32_t r = 0;
    for (; r + 1 < height; r += 2) {
        const ptrdiff_t chromaOffset = ptrdiff_t{r / 2} * uvStride;
        ConvertRowPair<kAlpha>(*converter, rowAt(r), rowAt(r + 1), u + chromaOffset,
                               v + chromaOffset, width);
    }
    if (r < height) {
        const ptrdiff_t chromaOffset = ptrdiff_t{r / 2} * uvStride;
        ConvertSingleRow<kAlpha>(*converter, rowAt(r), u + chromaOffset, v + chromaOffset, width);
    }
}

}  // namespace

int32_t CreateBGRAFromYUV(void* session, QXImage_t* image) {
    const auto* s = static_cast<const DecompressSession_t*>(session);
    if (s == nullptr || s->planes == nullptr || s->planes->y == nullptr || image == nullptr) {
        return 0;
    }
    if (image->format != kQXImageFormatBGRA32) {
        return 50;
    }
    const DecompressPlanes_t& planes = *s->planes;
    if (planes.alpha != nullptr) {
        ConvertCharYUV12AToBGRA(s->colorConverter, s->width, s->height, s->yStride, s->uvStride,
                                s->alphaStride, planes.y, planes.u, planes.v, planes.alpha, image,
                                0);
    } else {
        ConvertCharYUV12ToBGRA(s->colorConverter, s->width, s->height, s->yStride, s->uvStride,
                               planes.y, planes.u, planes.v, image, 0);
    }
    return 0;
}

void ConvertCharYUV12ToBGRA(const ColorConverter_t* converter, int width, int height, int yStride,
                            int uvStride, const unsigned char* y, const unsigned char* u,
                            const unsigned char* v, QXImage_t* image, int32_t /*reserved*/) {
    ConvertPicture<false>(converter, width, height, yStride, uvStride, 0, y, u, v, nullptr, image);
}

void ConvertCharYUV12AToBGRA(const ColorConverter_t* converter, int width, int height, int yStride,
                             int uvStride, int alphaStride, const unsigned char* y,
                             const unsigned char* u, const unsigned char* v,
                             const unsigned char* alpha, QXImage_t* image, int32_t /*reserved*/) {
    ConvertPicture<true>(converter, width, height, yStride, uvStride, alphaStride, y, u, v, alpha,
                         image);
}
