// A decoder for the encoder's tests: what it decodes is compared with the
// encoder's own reconstruction.
#ifndef VELTRANE_TESTS_ENCODER_DECODE_HARNESS_H
#define VELTRANE_TESTS_ENCODER_DECODE_HARNESS_H

#include <gtest/gtest.h>

#include <vector>

#include "support/test_allocator.h"
#include "support/test_sequence.h"
#include "veltrane/decoder.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::test {

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
