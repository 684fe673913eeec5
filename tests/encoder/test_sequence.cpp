#include "test_sequence.h"

#include <cmath>

namespace veltrane::test {

namespace {

uint8_t Clip(double v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

double Background(double x, double y, bool secondScene) {
    if (secondScene) return 90 + 70 * std::cos(x * 0.31) * std::sin(y * 0.23) + 0.4 * y;
    return 128 + 50 * std::sin(x * 0.21) * std::cos(y * 0.17) + 30 * std::sin((x + y) * 0.07);
}

}  // namespace

TestSequence::TestSequence(int width, int height, int sceneChange)
    : width_(width),
      height_(height),
      sceneChange_(sceneChange),
      y_(static_cast<size_t>(width * height)),
      u_(static_cast<size_t>(((width + 1) / 2) * ((height + 1) / 2))),
      v_(u_.size()) {}

enc::PlaneView TestSequence::Frame(int k) {
    const bool second = k >= sceneChange_;
    const double bx = 1.5 * k, by = 0.5 * k;  // background drift
    const double side = width_ / 3.0;
    const double ox = width_ / 2.0 - 2.0 * k, oy = height_ / 4.0 + k;  // square's corner
    for (int r = 0; r < height_; ++r) {
        for (int c = 0; c < width_; ++c) {
            double value = Background(c - bx, r - by, second);
            const double sx = c - ox, sy = r - oy;
            if (!second && sx >= 0 && sx < side && sy >= 0 && sy < side) {
                value = ((static_cast<int>(sx / 3) + static_cast<int>(sy / 5)) & 1) ? 230 : 30;
            }
            noise_ = noise_ * 1664525u + 1013904223u;
            value += static_cast<int>(noise_ >> 29) - 3.5;  // -3.5..3.5
            y_[static_cast<size_t>(r * width_ + c)] = Clip(value);
        }
    }
    const int cw = (width_ + 1) / 2, ch = (height_ + 1) / 2;
    for (int r = 0; r < ch; ++r) {
        for (int c = 0; c < cw; ++c) {
            const size_t i = static_cast<size_t>(r * cw + c);
            u_[i] = Clip(128 + 40 * std::sin((c - bx / 2) * 0.1 + (second ? 2 : 0)));
            v_[i] = Clip(128 + 40 * std::cos((r - by / 2) * 0.13) * (second ? -1 : 1));
        }
    }
    return {y_.data(), u_.data(), v_.data(), width_, cw};
}

}  // namespace veltrane::test
