#include "planes.h"

#include <cstddef>
#include <cstring>

#include "veltrane/decoder.h"

namespace veltrane::enc {

namespace {

constexpr uintptr_t kAlignment = 32;

// Copies a w x h plane into a dstW x dstH one, repeating the last column and row.
void PadPlane(const uint8_t* src, int srcStride, int w, int h, uint8_t* dst, int dstW, int dstH) {
    for (int r = 0; r < dstH; ++r) {
        const uint8_t* in = src + static_cast<ptrdiff_t>(r < h ? r : h - 1) * srcStride;
        uint8_t* out = dst + static_cast<ptrdiff_t>(r) * dstW;
        std::memcpy(out, in, static_cast<size_t>(w));
        std::memset(out + w, in[w - 1], static_cast<size_t>(dstW - w));
    }
}

}  // namespace

void BorderedPlane::Allocate(int width, int height) {
    width_ = width;
    height_ = height;
    stride_ = width + 2 * kBorder;
    const size_t bytes = static_cast<size_t>(stride_) * static_cast<size_t>(height + 2 * kBorder);
    buffer_.assign(bytes + kAlignment, 0);
    const auto base = reinterpret_cast<uintptr_t>(buffer_.data());
    const size_t pad = static_cast<size_t>((kAlignment - base % kAlignment) % kAlignment);
    origin_ = buffer_.data() + pad + static_cast<size_t>(kBorder) * static_cast<size_t>(stride_) +
              kBorder;
}

void BorderedPlane::FillBorder() { FillPlaneBoundaries(origin_, width_, height_, stride_); }

void FrameStore::Allocate(int alignedWidth, int alignedHeight) {
    y.Allocate(alignedWidth, alignedHeight);
    u.Allocate(alignedWidth / 2, alignedHeight / 2);
    v.Allocate(alignedWidth / 2, alignedHeight / 2);
    planes[0] = y.origin();
    planes[1] = u.origin();
    planes[2] = v.origin();
}

void FrameStore::FillBorders() {
    y.FillBorder();
    u.FillBorder();
    v.FillBorder();
}

void PaddedSource::Allocate(int alignedWidth, int alignedHeight) {
    yStride = alignedWidth;
    uvStride = alignedWidth / 2;
    y.assign(static_cast<size_t>(alignedWidth) * static_cast<size_t>(alignedHeight), 0);
    u.assign(static_cast<size_t>(uvStride) * static_cast<size_t>(alignedHeight / 2), 0);
    v.assign(u.size(), 0);
}

void PaddedSource::Load(const PlaneView& picture, int width, int height) {
    const int alignedHeight = static_cast<int>(y.size()) / yStride;
    PadPlane(picture.y, picture.yStride, width, height, y.data(), yStride, alignedHeight);
    const int cw = (width + 1) / 2;
    const int ch = (height + 1) / 2;
    PadPlane(picture.u, picture.uvStride, cw, ch, u.data(), uvStride, alignedHeight / 2);
    PadPlane(picture.v, picture.uvStride, cw, ch, v.data(), uvStride, alignedHeight / 2);
}

}  // namespace veltrane::enc
