#include "test_pattern.h"

#include <algorithm>
#include <cstddef>

namespace veltrane::tools {

namespace {

// 0..255..0 over a period of 512.
uint8_t Triangle(int64_t phase) {
    const int64_t p = ((phase % 512) + 512) % 512;
    return static_cast<uint8_t>(p < 256 ? p : 511 - p);
}

// Position along a track of `span` positions that bounces back at both ends.
int Bounce(int64_t step, int span) {
    if (span <= 0) return 0;
    const int64_t period = 2 * int64_t{span};
    const int64_t p = step % period;
    return static_cast<int>(p < span ? p : period - 1 - p);
}

void DrawBackground(uint32_t t, YuvPicture* pic) {
    for (int y = 0; y < pic->height; ++y) {
        uint8_t* row = pic->y.data() + static_cast<size_t>(y) * pic->width;
        for (int x = 0; x < pic->width; ++x) {
            // Video-range luma from a diagonal gradient drifting two samples per picture.
            row[x] = static_cast<uint8_t>(16 + Triangle(2 * x + y + 2 * int64_t{t}) * 219 / 255);
        }
    }
    for (int y = 0; y < pic->chromaHeight(); ++y) {
        for (int x = 0; x < pic->chromaWidth(); ++x) {
            const size_t i = static_cast<size_t>(y) * pic->chromaWidth() + x;
            pic->u[i] = static_cast<uint8_t>(64 + Triangle(4 * x - int64_t{t}) / 2);
            pic->v[i] = static_cast<uint8_t>(64 + Triangle(4 * y + 3 * int64_t{t}) / 2);
        }
    }
}

// A box with a checkerboard texture and fine stripes, moving by a few samples
// per picture along both axes.
void DrawBox(uint32_t t, YuvPicture* pic) {
    const int side = std::max(4, std::min(pic->width, pic->height) / 3) & ~1;
    const int left = Bounce(3 * int64_t{t}, pic->width - side) & ~1;
    const int top = Bounce(2 * int64_t{t}, pic->height - side) & ~1;
    for (int y = top; y < std::min(top + side, pic->height); ++y) {
        for (int x = left; x < std::min(left + side, pic->width); ++x) {
            const int cx = (x - left) / 4, cy = (y - top) / 4;
            const int texture = ((cx + cy) & 1) ? 200 : 50;
            pic->y[static_cast<size_t>(y) * pic->width + x] =
                static_cast<uint8_t>(texture + ((x - left) % 3) * 10);
        }
    }
    for (int y = top / 2; y < std::min((top + side) / 2, pic->chromaHeight()); ++y) {
        for (int x = left / 2; x < std::min((left + side) / 2, pic->chromaWidth()); ++x) {
            const size_t i = static_cast<size_t>(y) * pic->chromaWidth() + x;
            pic->u[i] = 90;
            pic->v[i] = 200;
        }
    }
}

// Noise in the lower-left quarter, new for every picture.
void DrawNoise(uint32_t t, YuvPicture* pic) {
    uint32_t state = 0x9E3779B9u ^ (t * 0x85EBCA6Bu);
    const int w = pic->width / 4, h = pic->height / 4;
    for (int y = pic->height - h; y < pic->height; ++y) {
        for (int x = 0; x < w; ++x) {
            state = state * 1664525u + 1013904223u;
            pic->y[static_cast<size_t>(y) * pic->width + x] =
                static_cast<uint8_t>(16 + (state >> 24) % 220);
        }
    }
}

}  // namespace

void DrawTestPattern(int width, int height, uint32_t index, YuvPicture* picture) {
    picture->Resize(width, height);
    DrawBackground(index, picture);
    DrawBox(index, picture);
    DrawNoise(index, picture);
}

}  // namespace veltrane::tools
