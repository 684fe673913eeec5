// Blits of the session's last picture to display surfaces: runs along one row
// and single pixels, as 32-bit words or in one of the 16-bit layouts. Pixels
// are converted on the fly; in a run each chroma pair serves two pixels.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "color/color_kernels.h"
#include "color/impact.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace {

using veltrane::ChromaImpact;
using veltrane::ImpactSum;
using veltrane::Pack16;
using veltrane::PackOpaque;
using veltrane::SaturateImpactSum;

constexpr uint32_t kOpaqueBlack = 0xFF000000u;

// The planes that a blit reads, or null planes when there is nothing to show.
struct Picture {
    const ColorConverter_t* converter;
    const unsigned char* y;
    const unsigned char* u;
    const unsigned char* v;
    int32_t yStride;
    int32_t uvStride;
    bool present() const {
        return converter != nullptr && y != nullptr && u != nullptr && v != nullptr;
    }
};

Picture PictureOf(const DecompressSession_t& session) {
    const DecompressPlanes_t none{};
    const DecompressPlanes_t& planes = session.planes != nullptr ? *session.planes : none;
    return {session.colorConverter, planes.y,        planes.u, planes.v,
            session.yStride,        session.uvStride};
}

ptrdiff_t LumaOffset(int yStride, int32_t column, int32_t row) {
    return ptrdiff_t{row} * yStride + column;
}

ptrdiff_t ChromaOffset(int uvStride, int32_t column, int32_t row) {
    return ptrdiff_t{row / 2} * uvStride + column / 2;
}

// A run of `count` pixels of `row` from `column` on. A run that starts at an odd
// column begins with the right-hand member of a chroma pair, converted alone;
// the rest starts at an even column and goes to a row kernel.
struct Run {
    const unsigned char* luma;
    const unsigned char* u;
    const unsigned char* v;
    bool oddStart;
};

Run RunAt(int yStride, int uvStride, const unsigned char* yPlane, const unsigned char* uPlane,
          const unsigned char* vPlane, int32_t column, int32_t row) {
    const ptrdiff_t chromaOffset = ChromaOffset(uvStride, column, row);
    return {yPlane + LumaOffset(yStride, column, row), uPlane + chromaOffset, vPlane + chromaOffset,
            column % 2 != 0};
}

uint32_t FirstOfOddRun(const ColorConverter_t& converter, const Run& run) {
    return SaturateImpactSum(converter.yImpact[run.luma[0]] +
                             ChromaImpact(converter, *run.u, *run.v));
}

template <int kFormat>
void ConvertRun16(const Picture& picture, int count, int32_t column, int32_t row, uint16_t* dest) {
    if (count <= 0) {
        return;
    }
    const ColorConverter_t& converter = *picture.converter;
    const Run run =
        RunAt(picture.yStride, picture.uvStride, picture.y, picture.u, picture.v, column, row);
    int first = 0;
    if (run.oddStart) {
        dest[0] = Pack16<kFormat>(FirstOfOddRun(converter, run));
        first = 1;
    }
    const unsigned char* luma = run.luma + first;
    const unsigned char* u = run.u + first;
    const unsigned char* v = run.v + first;
    if constexpr (kFormat == ePixelFormatRGB555 || kFormat == ePixelFormatRGB565 ||
                  kFormat == ePixelFormatARGB4444) {
        constexpr int kLayout = kFormat == ePixelFormatRGB555   ? veltrane::kRgb555
                                : kFormat == ePixelFormatRGB565 ? veltrane::kRgb565
                                                                : veltrane::kArgb4444;
        veltrane::ActiveColorRowKernels()->rgb16Row[kLayout](&converter, luma, u, v, dest + first,
                                                             count - first);
    } else {
        for (int i = 0; i < count - first; i += 2) {
            const uint32_t chroma = ChromaImpact(converter, u[i / 2], v[i / 2]);
            dest[first + i] =
                Pack16<kFormat>(SaturateImpactSum(converter.yImpact[luma[i]] + chroma));
            if (i + 1 < count - first) {
                dest[first + i + 1] =
                    Pack16<kFormat>(SaturateImpactSum(converter.yImpact[luma[i + 1]] + chroma));
            }
        }
    }
}

uint32_t SaturatedSumAt(const ColorConverter_t& converter, int yStride, int uvStride,
                        const unsigned char* yPlane, const unsigned char* uPlane,
                        const unsigned char* vPlane, int32_t column, int32_t row) {
    const ptrdiff_t chromaOffset = ChromaOffset(uvStride, column, row);
    return SaturateImpactSum(ImpactSum(converter, yPlane[LumaOffset(yStride, column, row)],
                                       uPlane[chromaOffset], vPlane[chromaOffset]));
}

uint16_t Pack16ByFormat(uint32_t s, EPixelFormat format) {
    switch (format) {
        case ePixelFormatRGB555:
            return Pack16<ePixelFormatRGB555>(s);
        case ePixelFormatRGB565:
            return Pack16<ePixelFormatRGB565>(s);
        case ePixelFormatARGB4444:
            return Pack16<ePixelFormatARGB4444>(s);
    }
    return Pack16<0>(s);
}

}  // namespace

int32_t BlitYUVto32(void* session, int32_t column, int32_t row, int count, uint32_t* dest) {
    if (session == nullptr || dest == nullptr) {
        return 0;
    }
    const Picture picture = PictureOf(*static_cast<const DecompressSession_t*>(session));
    if (!picture.present()) {
        for (int i = 0; i < count; ++i) {
            dest[i] = kOpaqueBlack;
        }
        return 0;
    }
    ConvertCharYUV12ToRGBASpan(picture.converter, 0, 0, picture.yStride, picture.uvStride,
                               picture.y, picture.u, picture.v, dest, count, column, row);
    return 0;
}

int32_t BlitYUVto32Single(void* session, int32_t column, int32_t row, uint32_t* dest) {
    if (session == nullptr || dest == nullptr) {
        return 0;
    }
    const Picture picture = PictureOf(*static_cast<const DecompressSession_t*>(session));
    if (!picture.present()) {
        *dest = kOpaqueBlack;
        return 0;
    }
    *dest = PackOpaque(SaturatedSumAt(*picture.converter, picture.yStride, picture.uvStride,
                                      picture.y, picture.u, picture.v, column, row));
    return 0;
}

int32_t BlitYUVto16(void* session, int32_t column, int32_t row, int count, uint16_t* dest,
                    EPixelFormat format) {
    if (session == nullptr || dest == nullptr) {
        return 0;
    }
    const Picture picture = PictureOf(*static_cast<const DecompressSession_t*>(session));
    if (!picture.present()) {
        if (count > 0) {
            std::memset(dest, 0, static_cast<size_t>(count) * sizeof(uint16_t));
        }
        return 0;
    }
    switch (format) {
        case ePixelFormatRGB555:
            ConvertRun16<ePixelFormatRGB555>(picture, count, column, row, dest);
            break;
        case ePixelFormatRGB565:
            ConvertRun16<ePixelFormatRGB565>(picture, count, column, row, dest);
            break;
        case ePixelFormatARGB4444:
            ConvertRun16<ePixelFormatARGB4444>(picture, count, column, row, dest);
            break;
        default:
            ConvertRun16<0>(picture, count, column, row, dest);
            break;
    }
    return 0;
}

int32_t BlitYUVto16Single(void* session, int32_t column, int32_t row, uint16_t* dest,
                          EPixelFormat format) {
    if (session == nullptr || dest == nullptr) {
        return 0;
    }
    const Picture picture = PictureOf(*static_cast<const DecompressSession_t*>(session));
    if (!picture.present()) {
        *dest = 0;
        return 0;
    }
    ConvertCharYUV12ToRGB16Single(picture.converter, 0, 0, picture.yStride, picture.uvStride,
                                  picture.y, picture.u, picture.v, dest, column, row, format);
    return 0;
}

void ConvertCharYUV12ToRGBASpan(const ColorConverter_t* converter, int /*width*/, int /*height*/,
                                int yStride, int uvStride, const unsigned char* yPlane,
                                const unsigned char* uPlane, const unsigned char* vPlane,
                                uint32_t* dest, int count, int32_t column, int32_t row) {
    if (converter == nullptr || yPlane == nullptr || uPlane == nullptr || vPlane == nullptr ||
        dest == nullptr) {
        return;
    }
    if (count <= 0) {
        return;
    }
    const Run run = RunAt(yStride, uvStride, yPlane, uPlane, vPlane, column, row);
    int first = 0;
    if (run.oddStart) {
        dest[0] = PackOpaque(FirstOfOddRun(*converter, run));
        first = 1;
    }
    veltrane::ActiveColorRowKernels()->bgraRow(
        converter, run.luma + first, run.u + first, run.v + first,
        reinterpret_cast<unsigned char*>(dest + first), count - first);
}

void ConvertCharYUV12ToRGB16Single(const ColorConverter_t* converter, int /*width*/, int /*height*/,
                                   int yStride, int uvStride, const unsigned char* yPlane,
                                   const unsigned char* uPlane, const unsigned char* vPlane,
                                   uint16_t* dest, int32_t column, int32_t row,
                                   EPixelFormat format) {
    if (converter == nullptr || yPlane == nullptr || uPlane == nullptr || vPlane == nullptr ||
        dest == nullptr) {
        return;
    }
    *dest = Pack16ByFormat(
        SaturatedSumAt(*converter, yStride, uvStride, yPlane, uPlane, vPlane, column, row), format);
}
