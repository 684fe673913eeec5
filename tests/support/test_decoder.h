// A decoder for tests on its own TestAllocator: every frame is handed over in a
// heap block of exactly its size, and closing checks that nothing stays
// allocated. Decode can record the macroblocks as the tools' path does.
#ifndef VELTRANE_TESTS_TEST_DECODER_H
#define VELTRANE_TESTS_TEST_DECODER_H

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/picture_decoder.h"
#include "support/stream_builder.h"
#include "support/test_allocator.h"
#include "veltrane/decoder.h"

namespace veltrane::test {

// The reader's error codes, short for tables of expected results.
constexpr uint32_t kOut = kFifoErrorOutOfData, kBad = kFifoErrorBadCode;

// The Y, U and V samples of a picture of width x height (multiples of 16), back to back.
inline std::vector<uint8_t> PlaneSamples(const uint8_t* const planes[3], int yStride, int uvStride,
                                         int width, int height) {
    std::vector<uint8_t> out;
    for (int k = 0; k < 3; ++k) {
        const int stride = k == 0 ? yStride : uvStride, w = width >> (k != 0);
        for (int r = 0; r < height >> (k != 0); ++r)
            out.insert(out.end(), planes[k] + r * stride, planes[k] + r * stride + w);
    }
    return out;
}

class TestDecoder {
public:
    TestDecoder(int32_t width, int32_t height) {
        void* decoder = nullptr;
        EXPECT_EQ(H263DecompressOpen(&decoder, width, height, &allocator_), 0);
        d_ = static_cast<DecodeInstance_t*>(decoder);
    }
    ~TestDecoder() {
        H263DecompressClose(d_);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
    }
    TestDecoder(const TestDecoder&) = delete;
    TestDecoder& operator=(const TestDecoder&) = delete;
    DecodeInstance_t* operator->() const { return d_; }
    DecodeInstance_t* get() const { return d_; }

    // Decodes the first `size` bytes of `bytes` (all of them by default).
    int32_t Decode(const std::vector<uint8_t>& bytes, size_t size = SIZE_MAX,
                   std::vector<MacroblockRecord>* records = nullptr) {
        const ExactFrame frame(bytes, size);
        const auto n = static_cast<int32_t>(frame.size());
        planes = nullptr;
        yStride = uvStride = -1;
        if (records == nullptr)
            return H263DecompressFrame(d_, frame.data(), n, &planes, &yStride, &uvStride);
        records->assign(static_cast<size_t>(d_->mbCount), MacroblockRecord{});
        int32_t count = -1;
        const int32_t status = DecompressFrameRecordingMacroblocks(
            d_, frame.data(), n, &planes, &yStride, &uvStride, records->data(), &count);
        records->resize(static_cast<size_t>(count));
        return status;
    }
    // The aligned Y, U and V samples of the picture the last decode returned,
    // or of a frame store, back to back.
    std::vector<uint8_t> Decoded() const { return Samples(planes); }
    std::vector<uint8_t> Store(int index) const { return Samples(d_->stores[index]); }
    // Sample (x, y) of plane 0..2 of the last decoded picture.
    int At(int plane, int x, int y) const {
        return planes[plane][y * (plane == 0 ? d_->yStride : d_->uvStride) + x];
    }

    unsigned char** planes = nullptr;
    int32_t yStride = -1, uvStride = -1;

private:
    std::vector<uint8_t> Samples(unsigned char* const* p) const {
        return PlaneSamples(p, d_->yStride, d_->uvStride, d_->alignedWidth, d_->alignedHeight);
    }

    TestAllocator allocator_;
    DecodeInstance_t* d_ = nullptr;
};

}  // namespace veltrane::test

#endif
