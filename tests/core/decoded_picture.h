// Copies of decoded planes for comparisons, and a decoder opened on a counting
// allocator that feeds frames from exact-size heap blocks.
#ifndef VELTRANE_TESTS_CORE_DECODED_PICTURE_H
#define VELTRANE_TESTS_CORE_DECODED_PICTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/stream_builder.h"
#include "support/test_allocator.h"
#include "veltrane/decoder.h"

namespace veltrane::test {

// The visible (aligned) area of one plane. At() clamps its coordinates, which is
// what the replicated border of a reference plane shows.
struct Plane {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> samples;

    int At(int x, int y) const {
        x = std::clamp(x, 0, width - 1);
        y = std::clamp(y, 0, height - 1);
        return samples[static_cast<size_t>(y) * width + x];
    }
    bool operator==(const Plane&) const = default;
};

inline Plane CapturePlane(const unsigned char* origin, int stride, int width, int height) {
    Plane p{width, height, {}};
    for (int y = 0; y < height; ++y) {
        p.samples.insert(p.samples.end(), origin + y * stride, origin + y * stride + width);
    }
    return p;
}

struct Picture {
    Plane y, u, v;
    bool operator==(const Picture&) const = default;
};

inline Picture CapturePicture(const DecodeInstance_t* d, unsigned char* const* planes) {
    return {CapturePlane(planes[kPlaneY], d->yStride, d->alignedWidth, d->alignedHeight),
            CapturePlane(planes[kPlaneU], d->uvStride, d->alignedWidth / 2, d->alignedHeight / 2),
            CapturePlane(planes[kPlaneV], d->uvStride, d->alignedWidth / 2, d->alignedHeight / 2)};
}

// A decoder on its own TestAllocator; every frame is handed over in a heap
// block of exactly its size. Closing checks that nothing stays allocated.
class TestDecoder {
public:
    TestDecoder(int32_t width, int32_t height) {
        void* decoder = nullptr;
        openStatus_ = H263DecompressOpen(&decoder, width, height, &allocator_);
        d_ = static_cast<DecodeInstance_t*>(decoder);
    }
    ~TestDecoder() {
        H263DecompressClose(d_);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
    }
    bool ok() const { return openStatus_ == 0 && d_ != nullptr; }
    DecodeInstance_t* operator->() const { return d_; }
    DecodeInstance_t* get() const { return d_; }

    // Decodes the first `size` bytes of `bytes` (all of them by default).
    int32_t Decode(const std::vector<uint8_t>& bytes, size_t size = SIZE_MAX) {
        ExactFrame frame(bytes, size);
        planes = nullptr;
        yStride = uvStride = -1;
        return H263DecompressFrame(d_, frame.data(), static_cast<int32_t>(frame.size()), &planes,
                                   &yStride, &uvStride);
    }
    // The picture whose planes the last successful decode returned.
    Picture Decoded() const { return CapturePicture(d_, planes); }
    Picture Store(int index) const { return CapturePicture(d_, d_->stores[index]); }

    unsigned char** planes = nullptr;
    int32_t yStride = -1, uvStride = -1;

private:
    TestAllocator allocator_;
    DecodeInstance_t* d_ = nullptr;
    int32_t openStatus_ = 1;
};

}  // namespace veltrane::test

#endif
