#include <algorithm>
#include <memory>

#include "fuzz/harnesses.h"
#include "support/test_allocator.h"
#include "veltrane/color.h"
#include "veltrane/decoder.h"
#include "veltrane/session.h"

namespace veltrane::fuzz {

namespace {

constexpr int kMaxFrames = 24;
constexpr uint32_t kIntraPictureType = 0;
constexpr uint32_t kMaxReopenPixels = 352 * 288;  // keeps every run small and fast
constexpr int32_t kSizes[4][2] = {{16, 16}, {176, 144}, {33, 17}, {128, 96}};

class Harness {
public:
    Harness(uint8_t config, HarnessResult& result, const FrameObserver& observer)
        : observer_(observer),
          withAlpha_((config & 4) != 0),
          withImage_((config & 8) == 0),
          bottomUp_((config & 16) != 0),
          result_(result) {
        Open(kSizes[config & 3][0], kSizes[config & 3][1]);
    }
    ~Harness() {
        Close();
        result_.liveBlocks = allocator_.liveBlocks();
        result_.foreignFrees = allocator_.foreignFrees();
    }

    void Frame(const uint8_t* bytes, uint32_t size, int index) {
        if (colour_ == nullptr) return;
        uint32_t type = 0, width = 0, height = 0;
        const int32_t inquiry =
            Check(DecompressGetFrameAttributes(colour_, bytes, size, &type, &width, &height));
        int32_t status = Decode(bytes, size);
        // The host's answer to a size change: a new session for the frame's size.
        if (status == kStatusSizeChanged && inquiry == kStatusOk && width <= 1024 &&
            height <= 1024 && width * height <= kMaxReopenPixels) {
            Close();
            Open(static_cast<int32_t>(width), static_cast<int32_t>(height));
            if (colour_ == nullptr) return;
            status = Decode(bytes, size);
        }
        if (status == kStatusOk) {
            ++result_.decoded;
            Blit(index);
            filled_ = filled_ || type == kIntraPictureType;
        }
        if (observer_) {
            observer_(index, status, filled_ ? colour_ : nullptr, width_, height_,
                      withImage_ ? image_.get() : nullptr);
        }
    }

private:
    void Open(int32_t width, int32_t height) {
        filled_ = false;
        width_ = width;
        height_ = height;
        colour_ = DecompressOpen(width, height, &allocator_);
        if (withAlpha_) alpha_ = DecompressOpen(width, height, &allocator_);
    }
    void Close() {
        DecompressClose(alpha_);
        DecompressClose(colour_);
        alpha_ = colour_ = nullptr;
    }
    int32_t Check(int32_t status) {
        result_.unexpectedStatus |= status != kStatusOk && status != kStatusOutOfData &&
                                    status != kStatusBadData && status != kStatusSizeChanged;
        return status;
    }

    int32_t Decode(const uint8_t* bytes, uint32_t size) {
        if (alpha_ != nullptr) {
            Check(DecompressFrame(alpha_, bytes, size, nullptr));
            DecompressSetAlpha(colour_, alpha_);
        }
        image_.reset(new uint32_t[static_cast<size_t>(width_) * static_cast<size_t>(height_)]());
        auto* pixels = reinterpret_cast<unsigned char*>(image_.get());
        QXImage_t image{kQXImageFormatBGRA32, width_, height_, bottomUp_, width_ * 4, pixels};
        return Check(DecompressFrame(colour_, bytes, size, withImage_ ? &image : nullptr));
    }

    // A row of the picture through every blit, with exact-size destinations.
    void Blit(int index) {
        if (width_ <= 0 || height_ <= 0) return;
        const int32_t row = index % height_;
        const auto format = static_cast<EPixelFormat>(ePixelFormatRGB555 + index % 3);
        std::unique_ptr<uint32_t[]> run32(new uint32_t[width_]);
        std::unique_ptr<uint16_t[]> run16(new uint16_t[width_]);
        for (int32_t first = 0; first < std::min(width_, 2); ++first) {
            BlitYUVto32(colour_, first, row, width_ - first, run32.get());
            BlitYUVto16(colour_, first, row, width_ - first, run16.get(), format);
        }
        BlitYUVto32Single(colour_, width_ - 1, row, run32.get());
        BlitYUVto16Single(colour_, width_ - 1, height_ - 1, run16.get(), format);
    }

    test::TestAllocator allocator_;
    const FrameObserver& observer_;
    bool filled_ = false;  // an intra picture was decoded since the sessions opened
    std::unique_ptr<uint32_t[]> image_;
    const bool withAlpha_;
    const bool withImage_;
    const bool bottomUp_;
    HarnessResult& result_;
    void* colour_ = nullptr;
    void* alpha_ = nullptr;
    int32_t width_ = 0;
    int32_t height_ = 0;
};

}  // namespace

HarnessResult RunDecodeHarness(const uint8_t* data, size_t size, const FrameObserver& observer) {
    HarnessResult result;
    if (size == 0) return result;
    {
        // Fills in the allocator's counts on closing.
        Harness harness(data[0], result, observer);
        Reader in{data + 1, size - 1};
        for (int index = 0; index < kMaxFrames && !in.done(); ++index) {
            size_t length = in.Byte();
            length |= static_cast<size_t>(in.Byte()) << 8;
            const uint8_t* bytes = in.Take(length);
            // Each frame gets a heap block of exactly its size.
            std::unique_ptr<uint8_t[]> frame(new uint8_t[length]);
            std::copy(bytes, bytes + length, frame.get());
            harness.Frame(frame.get(), static_cast<uint32_t>(length), index);
        }
    }
    return result;
}

}  // namespace veltrane::fuzz
