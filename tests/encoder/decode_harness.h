// Synthetic test content for the encoder, and a decoder that compares what it
// decodes with the encoder's own reconstruction.
#ifndef VELTRANE_TESTS_ENCODER_DECODE_HARNESS_H
#define VELTRANE_TESTS_ENCODER_DECODE_HARNESS_H

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/decoder.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::test {

// A textured background drifting by 1.5 samples right and 0.5 down per frame, a
// striped square moving the other way, per-frame noise, and a different scene
// from `sceneChange` on.
class TestSequence {
public:
    TestSequence(int width, int height, int sceneChange = 1 << 30)
        : width_(width), height_(height), sceneChange_(sceneChange),
          y_(static_cast<size_t>(width * height)),
          u_(static_cast<size_t>(((width + 1) / 2) * ((height + 1) / 2))), v_(u_.size()) {}

    // Frame `k`; the view stays valid until the next call.
    enc::PlaneView Frame(int k) {
        const bool second = k >= sceneChange_;
        const double bx = 1.5 * k, by = 0.5 * k;  // background drift
        const double side = width_ / 3.0;
        const double ox = width_ / 2.0 - 2.0 * k, oy = height_ / 4.0 + k;  // square's corner
        for (int r = 0; r < height_; ++r) {
            for (int c = 0; c < width_; ++c) {
                const double x = c - bx, y = r - by, sx = c - ox, sy = r - oy;
                double value = second ? 90 + 70 * std::cos(x * 0.31) * std::sin(y * 0.23) + 0.4 * y
                                      : 128 + 50 * std::sin(x * 0.21) * std::cos(y * 0.17) +
                                            30 * std::sin((x + y) * 0.07);
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

private:
    static uint8_t Clip(double v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

    int width_, height_, sceneChange_;
    std::vector<uint8_t> y_, u_, v_;
    uint32_t noise_ = 12345;
};

class DecodeHarness {
public:
    DecodeHarness(int width, int height) {
        ok_ = H263DecompressOpen(&decoder_, width, height, &allocator_) == 0;
    }
    ~DecodeHarness() {
        if (ok_) H263DecompressClose(decoder_);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
    }
    bool ok() const { return ok_; }
    void* decoder() const { return decoder_; }

    // Decodes a frame; the planes stay valid until the next decode.
    int32_t Decode(const std::vector<uint8_t>& frame, enc::PlaneView* picture) {
        unsigned char** planes = nullptr;
        int32_t yStride = 0, uvStride = 0;
        const int32_t status =
            H263DecompressFrame(decoder_, frame.data(), static_cast<int32_t>(frame.size()), &planes,
                                &yStride, &uvStride);
        if (status == 0) *picture = {planes[0], planes[1], planes[2], yStride, uvStride};
        return status;
    }
    // The picture type and size the decoder reads from the frame's header.
    void ExpectAttributes(const std::vector<uint8_t>& frame, int type, int width, int height) {
        uint32_t t = 9, w = 0, h = 0;
        ASSERT_EQ(GetFrameAttributes(decoder_, frame.data(), static_cast<uint32_t>(frame.size()),
                                     &t, &w, &h),
                  0);
        EXPECT_EQ(t, static_cast<uint32_t>(type));
        EXPECT_EQ(w, static_cast<uint32_t>(width));
        EXPECT_EQ(h, static_cast<uint32_t>(height));
    }

private:
    TestAllocator allocator_;
    void* decoder_ = nullptr;
    bool ok_ = false;
};

// Number of samples that differ over the aligned width x height of all three planes.
inline int CountDifferences(const enc::PlaneView& a, const enc::PlaneView& b, int alignedWidth,
                            int alignedHeight) {
    int differences = 0;
    auto plane = [&](const uint8_t* p, int ps, const uint8_t* q, int qs, int w, int h) {
        for (int r = 0; r < h; ++r) {
            for (int c = 0; c < w; ++c) differences += p[r * ps + c] != q[r * qs + c];
        }
    };
    plane(a.y, a.yStride, b.y, b.yStride, alignedWidth, alignedHeight);
    plane(a.u, a.uvStride, b.u, b.uvStride, alignedWidth / 2, alignedHeight / 2);
    plane(a.v, a.uvStride, b.v, b.uvStride, alignedWidth / 2, alignedHeight / 2);
    return differences;
}

}  // namespace veltrane::test

#endif
