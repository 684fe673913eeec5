// A synthetic moving sequence for the reference encoder, in integer arithmetic
// only so that every platform draws the same pictures: a textured background
// drifting by 1.5 samples a picture, a checkered box moving the other way,
// noise, and from picture `sceneChange` on a different scene.
#ifndef VELTRANE_TESTS_TEST_SEQUENCE_H
#define VELTRANE_TESTS_TEST_SEQUENCE_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "veltrane_encoder/encoder.h"

namespace veltrane::test {

class TestSequence {
public:
    TestSequence(int width, int height, int sceneChange = 1 << 30)
        : width_(width),
          height_(height),
          cw_((width + 1) / 2),
          ch_((height + 1) / 2),
          sceneChange_(sceneChange),
          y_(size_t(width) * height),
          u_(size_t(cw_) * ch_),
          v_(u_.size()) {}

    // Picture `t`; the view stays valid until the next call.
    enc::PlaneView Frame(int t) {
        const int s = t >= sceneChange_ ? 1 : 0;  // the second scene: other waves, no box
        for (int r = 0; r < height_; ++r) {
            for (int c = 0; c < width_; ++c) {
                int value = 40 + Triangle(2 * c + 3 * t, 94 - 40 * s) +
                            Triangle(2 * r + t, 70) / 2 + Triangle(c + (2 + s) * r, 26) / 3;
                const int bx = c - (width_ / 2 - 2 * t), by = r - (height_ / 4 + t);
                if (s == 0 && bx >= 0 && bx < width_ / 3 && by >= 0 && by < height_ / 3) {
                    value = ((bx / 3 + by / 5) & 1) ? 235 : 20;
                }
                noise_ = noise_ * 1664525u + 1013904223u;
                y_[size_t(r) * width_ + c] = Clip(value + static_cast<int>(noise_ >> 29) - 4);
            }
        }
        for (int r = 0; r < ch_; ++r) {
            for (int c = 0; c < cw_; ++c) {
                u_[size_t(r) * cw_ + c] = Clip(70 + 40 * s + Triangle(2 * c + t, 60) * 2);
                v_[size_t(r) * cw_ + c] = Clip(200 - 60 * s - Triangle(3 * r + t, 50) * 3);
            }
        }
        return {y_.data(), u_.data(), v_.data(), width_, cw_};
    }

private:
    // A triangle wave rising from 0 to period / 2 and back.
    static int Triangle(int x, int period) {
        const int m = ((x % period) + period) % period;
        return m < period / 2 ? m : period - m;
    }
    static uint8_t Clip(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

    int width_, height_, cw_, ch_, sceneChange_;
    std::vector<uint8_t> y_, u_, v_;
    uint32_t noise_ = 12345;
};

}  // namespace veltrane::test

#endif
