// A 32-bit BGRA picture as the library's conversion writes it: one native word
// 0xAARRGGBB per pixel, rows packed.
#ifndef VELTRANE_TOOLS_BGRA_PICTURE_H
#define VELTRANE_TOOLS_BGRA_PICTURE_H

#include <cstdint>
#include <vector>

#include "veltrane/session.h"

namespace veltrane::tools {

struct BgraPicture {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;

    void Resize(int newWidth, int newHeight) {
        width = newWidth;
        height = newHeight;
        pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0xFF000000u);
    }
    // The top-down image record that lets the library write into `pixels`.
    QXImage_t Describe() {
        QXImage_t image{};
        image.format = kQXImageFormatBGRA32;
        image.width = width;
        image.height = height;
        image.bottomUp = 0;
        image.rowBytes = width * 4;
        image.pixels = reinterpret_cast<unsigned char*>(pixels.data());
        return image;
    }
};

}  // namespace veltrane::tools

#endif
