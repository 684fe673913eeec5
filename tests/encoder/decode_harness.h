// A decoder for the encoder's tests: what it decodes is compared with the
// encoder's own reconstruction.
#ifndef VELTRANE_TESTS_ENCODER_DECODE_HARNESS_H
#define VELTRANE_TESTS_ENCODER_DECODE_HARNESS_H

#include <gtest/gtest.h>

#include <algorithm>
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

// Whether the aligned width x height of all three planes are equal.
inline bool SamePictures(const enc::PlaneView& a, const enc::PlaneView& b, int alignedWidth,
                         int alignedHeight) {
    for (int r = 0; r < alignedHeight; ++r) {
        const int cr = r / 2, half = alignedWidth / 2;
        if (!std::equal(a.y + r * a.yStride, a.y + r * a.yStride + alignedWidth,
                        b.y + r * b.yStride) ||
            !std::equal(a.u + cr * a.uvStride, a.u + cr * a.uvStride + half,
                        b.u + cr * b.uvStride) ||
            !std::equal(a.v + cr * a.uvStride, a.v + cr * a.uvStride + half, b.v + cr * b.uvStride))
            return false;
    }
    return true;
}

}  // namespace veltrane::test

#endif
