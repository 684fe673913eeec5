// Shared by the colour tests: the channel arithmetic the converter must
// reproduce, and a hand-built session over planes held in vectors.
#ifndef VELTRANE_TESTS_COLOR_COLOR_FIXTURE_H
#define VELTRANE_TESTS_COLOR_COLOR_FIXTURE_H

#include <cstdint>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace veltrane::test {

// 0x00RRGGBB straight from the clamped integer channel formulas.
inline uint32_t ReferenceRgb(int y, int u, int v) {
    auto clamp = [](int x, int lo, int hi) { return x < lo ? lo : (x > hi ? hi : x); };
    const int luma = (298 * clamp(y, 16, 235) - 4767) >> 8;
    const int cu = clamp(u - 128, -112, 112), cv = clamp(v - 128, -112, 112);
    const int r = clamp(luma + ((409 * cv + 128) >> 8), 0, 255);
    const int g = clamp(luma + ((-100 * cu + 128) >> 8) + ((-208 * cv + 128) >> 8), 0, 255);
    const int b = clamp(luma + ((516 * cu) >> 8), 0, 255);
    return uint32_t(r << 16 | g << 8 | b);
}

// A session record filled by hand as a decode would leave it: planes with
// padding at the end of each row, pseudo-random samples, and a converter.
class HandSession {
public:
    HandSession(int width, int height, uint32_t seed = 1)
        : yStride_(width + 5), uvStride_((width + 1) / 2 + 3) {
        y_.resize(size_t(yStride_) * height);
        u_.resize(size_t(uvStride_) * ((height + 1) / 2));
        v_.resize(u_.size());
        for (auto* plane : {&y_, &u_, &v_}) {
            for (auto& s : *plane) s = uint8_t((seed = seed * 1664525u + 1013904223u) >> 24);
        }
        converter_ = OpenColorConverter(&allocator_);
        planes_ = {y_.data(), u_.data(), v_.data(), nullptr};
        session_ = {nullptr, converter_, width, height, &planes_, yStride_, uvStride_, 0, 1};
    }
    ~HandSession() { CloseColorConverter(converter_); }
    HandSession(const HandSession&) = delete;
    HandSession& operator=(const HandSession&) = delete;

    void Fill(uint8_t y, uint8_t u, uint8_t v) {
        y_.assign(y_.size(), y);
        u_.assign(u_.size(), u);
        v_.assign(v_.size(), v);
    }
    // Adds an alpha plane with the luma geometry and a stride of its own.
    void AddAlpha(uint8_t value) {
        session_.alphaStride = session_.width + 7;
        alpha_.assign(size_t(session_.alphaStride) * session_.height, value);
        planes_.alpha = alpha_.data();
    }
    uint8_t& Alpha(int column, int row) {
        return alpha_[size_t(row) * session_.alphaStride + column];
    }
    uint32_t Expected(int column, int row) {
        const size_t chroma = size_t(row / 2) * uvStride_ + column / 2;
        return ReferenceRgb(y_[size_t(row) * yStride_ + column], u_[chroma], v_[chroma]);
    }

    DecompressSession_t* session() { return &session_; }
    DecompressPlanes_t& planes() { return planes_; }

private:
    TestAllocator allocator_;
    int yStride_, uvStride_;
    std::vector<uint8_t> y_, u_, v_, alpha_;
    ColorConverter_t* converter_ = nullptr;
    DecompressPlanes_t planes_{};
    DecompressSession_t session_{};
};

}  // namespace veltrane::test

#endif
