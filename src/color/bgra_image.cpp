// Conversion of a whole 4:2:0 picture into a 32-bit BGRA image, optionally
// with an alpha plane: the planar driver over the colour row kernels. Rows go
// in pairs, so that each chroma row is read once for the two picture rows that
// share it.
#include <cstddef>
#include <cstdint>

#include "color/color_kernels.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace {

unsigned char* ImageRow(const QXImage_t& image, int32_t row) {
    const ptrdiff_t index = image.bottomUp != 0 ? ptrdiff_t{image.height} - 1 - row : row;
    return image.pixels + index * image.rowBytes;
}

template <bool kAlpha>
void ConvertPicture(const ColorConverter_t* converter, int width, int height, int yStride,
                    int uvStride, int alphaStride, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, const unsigned char* alpha, QXImage_t* image) {
    if (converter == nullptr || image == nullptr || y == nullptr || u == nullptr || v == nullptr ||
        (kAlpha && alpha == nullptr) || width <= 0 || height <= 0) {
        return;
    }
    const veltrane::ColorRowKernels& kernels = *veltrane::ActiveColorRowKernels();
    auto luma = [&](int32_t r) { return y + ptrdiff_t{r} * yStride; };
    auto alphaRow = [&](int32_t r) { return alpha + ptrdiff_t{r} * alphaStride; };
    int32_t r = 0;
    for (; r + 1 < height; r += 2) {
        const ptrdiff_t chroma = ptrdiff_t{r / 2} * uvStride;
        if constexpr (kAlpha) {
            kernels.bgraAlphaRowPair(converter, luma(r), luma(r + 1), alphaRow(r), alphaRow(r + 1),
                                     u + chroma, v + chroma, ImageRow(*image, r),
                                     ImageRow(*image, r + 1), width);
        } else {
            kernels.bgraRowPair(converter, luma(r), luma(r + 1), u + chroma, v + chroma,
                                ImageRow(*image, r), ImageRow(*image, r + 1), width);
        }
    }
    if (r < height) {
        const ptrdiff_t chroma = ptrdiff_t{r / 2} * uvStride;
        if constexpr (kAlpha) {
            kernels.bgraAlphaRow(converter, luma(r), alphaRow(r), u + chroma, v + chroma,
                                 ImageRow(*image, r), width);
        } else {
            kernels.bgraRow(converter, luma(r), u + chroma, v + chroma, ImageRow(*image, r), width);
        }
    }
}

}  // namespace

int32_t CreateBGRAFromYUV(void* session, QXImage_t* image) {
    const auto* s = static_cast<const DecompressSession_t*>(session);
    if (s == nullptr || s->planes == nullptr || s->planes->y == nullptr || image == nullptr) {
        return 0;
    }
    if (image->format != kQXImageFormatBGRA32) {
        return kStatusBadImageFormat;
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
