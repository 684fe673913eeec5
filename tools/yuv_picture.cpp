#include "yuv_picture.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace veltrane::tools {

namespace {

void CopyPlane(uint8_t* dst, int width, int height, const uint8_t* src, int stride) {
    for (int row = 0; row < height; ++row) {
        std::memcpy(dst + static_cast<size_t>(row) * width,
                    src + static_cast<ptrdiff_t>(row) * stride, static_cast<size_t>(width));
    }
}

}  // namespace

void YuvPicture::Resize(int newWidth, int newHeight) {
    width = newWidth;
    height = newHeight;
    y.resize(static_cast<size_t>(width) * height);
    const size_t chroma = static_cast<size_t>(chromaWidth()) * chromaHeight();
    u.resize(chroma);
    v.resize(chroma);
}

void YuvPicture::MakeBlack(int newWidth, int newHeight) {
    Resize(newWidth, newHeight);
    std::fill(y.begin(), y.end(), uint8_t{16});
    std::fill(u.begin(), u.end(), uint8_t{128});
    std::fill(v.begin(), v.end(), uint8_t{128});
}

void YuvPicture::CopyFrom(int newWidth, int newHeight, const uint8_t* yPlane, const uint8_t* uPlane,
                          const uint8_t* vPlane, int yStride, int uvStride) {
    Resize(newWidth, newHeight);
    CopyPlane(y.data(), width, height, yPlane, yStride);
    CopyPlane(u.data(), chromaWidth(), chromaHeight(), uPlane, uvStride);
    CopyPlane(v.data(), chromaWidth(), chromaHeight(), vPlane, uvStride);
}

}  // namespace veltrane::tools

namespace veltrane::tools {

bool WriteYuvPlanes(std::FILE* file, const YuvPicture& picture) {
    for (const std::vector<uint8_t>* plane : {&picture.y, &picture.u, &picture.v}) {
        if (std::fwrite(plane->data(), 1, plane->size(), file) != plane->size()) return false;
    }
    return true;
}

}  // namespace veltrane::tools
