// Synthetic test content: a textured background drifting by 1.5 samples right
// and 0.5 down per frame, a striped square moving the other way, per-frame noise,
// and a different scene from `sceneChange` on.
#ifndef VELTRANE_TESTS_ENCODER_TEST_SEQUENCE_H
#define VELTRANE_TESTS_ENCODER_TEST_SEQUENCE_H

#include <cstdint>
#include <vector>

#include "veltrane_encoder/encoder.h"

namespace veltrane::test {

class TestSequence {
public:
    TestSequence(int width, int height, int sceneChange = 1 << 30);
    // Frame `k`; the view stays valid until the next call.
    enc::PlaneView Frame(int k);

    int width() const { return width_; }
    int height() const { return height_; }

private:
    int width_, height_, sceneChange_;
    std::vector<uint8_t> y_, u_, v_;
    uint32_t noise_ = 12345;
};

}  // namespace veltrane::test

#endif
