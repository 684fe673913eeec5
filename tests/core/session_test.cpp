// The session functions: open and close, settings, decoding into the session's
// planes and into BGRA images, alpha sessions, frame inquiries
// and the reader error an inquiry leaves behind.
#include "veltrane/session.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/picture_decoder.h"
#include "support/host_frames.h"
#include "support/test_allocator.h"
#include "veltrane/color.h"

namespace veltrane::test {
namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kSentinel = 0x5A5A5A5A;

class TestSession {
public:
    TestSession(int32_t w, int32_t h)
        : s_(static_cast<DecompressSession_t*>(DecompressOpen(w, h, &allocator_))) {}
    ~TestSession() {
        EXPECT_EQ(DecompressClose(s_), 0);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
        EXPECT_EQ(allocator_.foreignFrees(), 0);
    }
    DecompressSession_t* operator->() const { return s_; }
    DecompressSession_t* get() const { return s_; }
    int32_t Decode(const Bytes& bytes, QXImage_t* image = nullptr) {
        const ExactFrame frame(bytes);
        return DecompressFrame(s_, frame.data(), static_cast<uint32_t>(frame.size()), image);
    }

private:
    TestAllocator allocator_;
    DecompressSession_t* s_;
};

// A BGRA image of exactly width x height pixels, filled with the sentinel.
struct Image {
    Image(int width, int height, uint32_t format = kQXImageFormatBGRA32)
        : pixels(static_cast<size_t>(width) * height, kSentinel),
          image{format, width,     height,
                0,      width * 4, reinterpret_cast<unsigned char*>(pixels.data())} {}
    uint32_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * image.width + x]; }
    std::vector<uint32_t> pixels;
    QXImage_t image;
};

// INTRADC 255 stands for 128: a mid-grey picture (0xFF828282 in BGRA).
Bytes Grey(int w, int h) { return IntraFrame(w, h, kGrey.dcs); }

TEST(Session, OpenAndDecodeIntoThePlanes) {
    TestSession s(16, 16);
    ASSERT_NE(s.get(), nullptr);
    ASSERT_EQ(s.Decode(Grey(16, 16)), 0);
    EXPECT_EQ(s->planes->y, s->decoder->stores[0][kPlaneY]);
    EXPECT_EQ(s->planes->u, s->decoder->stores[0][kPlaneU]);
    EXPECT_EQ(s->planes->v, s->decoder->stores[0][kPlaneV]);
    EXPECT_EQ(s->yStride, 48);
    EXPECT_EQ(s->uvStride, 40);
    ASSERT_EQ(s.Decode(FrameWriter(FieldsForSize(16, 16, 1)).Skip().Bytes()), 0);
    EXPECT_EQ(s->planes->y, s->decoder->stores[1][kPlaneY]);
    Image other(16, 16, 1);  // another format than BGRA is left alone
    ASSERT_EQ(s.Decode(Grey(16, 16), &other.image), 0);
    EXPECT_EQ(std::count(other.pixels.begin(), other.pixels.end(), kSentinel), 16 * 16);

    // The plug-in host test fails every allocation of an open in turn.
    EXPECT_EQ(DecompressOpen(16, 16, nullptr), nullptr);
    EXPECT_EQ(DecompressClose(nullptr), 0);
}

// Settings records of another size than 8 bytes are refused and left alone.
TEST(Session, SettingsNeedARecordOfEightBytes) {
    TestSession s(16, 16);
    for (uint32_t size : {0u, 12u, 8u}) {
        DecompressSettings_t settings{size, 2}, read{size, 77};
        const int32_t expected = size == 8 ? 0 : kStatusBadSettings;
        EXPECT_EQ(DecompressSetSettings(s.get(), &settings), expected);
        EXPECT_EQ(DecompressGetSettings(s.get(), &read), expected);
        EXPECT_EQ(read.deblockingMethod, size == 8 ? 2 : 77);
        EXPECT_EQ(s->decoder->deblockingMethod, size == 8 ? 2 : 0);
    }
}

// 160x120 decodes 128 rows; the exact-size image has room for 120 only. An
// alpha session's luma becomes the alpha channel, read with its own stride.
TEST(Session, BgraImageOfThePicturesOwnSizeAndAlpha) {
    TestSession s(160, 120), alpha(160, 120);
    const Bytes picture = IntraFrame(160, 120, [](int i, int b) {
        return b < 4 && i == MacroblockCount(160, 120) - 1 ? 235
                                                           : 255;  // the last one's luma white
    });
    Image image(160, 120);
    ASSERT_EQ(s.Decode(picture, &image.image), 0);
    EXPECT_EQ(s->planes->y[127 * s->yStride + 159], 235);  // the last macroblock row is decoded
    EXPECT_EQ(image.At(143, 111), 0xFF828282u);
    EXPECT_EQ(image.At(159, 119), 0xFFFEFEFEu);
    for (uint32_t p : image.pixels) ASSERT_NE(p, kSentinel);

    // Alpha: 0 in the first luma block, 200 everywhere else.
    auto dc = [](int i, int b) { return i == 0 && b == 0 ? 0 : 200; };
    ASSERT_EQ(alpha.Decode(IntraFrame(160, 120, dc)), 0);
    EXPECT_EQ(DecompressSetAlpha(s.get(), alpha.get()), 0);
    EXPECT_EQ(s->planes->alpha, alpha->planes->y);
    ASSERT_EQ(s.Decode(picture, &image.image), 0);
    EXPECT_EQ(image.At(0, 7), 0u);
    EXPECT_EQ(image.At(8, 7), 0xC8828282u);
    EXPECT_EQ(image.At(159, 119), 0xC8C8C8C8u);  // colours capped at alpha
}

TEST(Session, FrameInquiryAndTheReaderErrorItLeaves) {
    TestSession s(16, 16);
    uint32_t out[3];
    auto inquire = [&](const Bytes& bytes, size_t n, uint32_t size) {
        const ExactFrame frame(bytes, n);
        return DecompressGetFrameAttributes(s.get(), frame.data(), size, &out[0], &out[1], &out[2]);
    };
    const Bytes frame = FrameWriter(FieldsForSize(320, 240, 2)).Skip().Bytes();
    EXPECT_EQ(inquire(frame, SIZE_MAX, frame.size()), 0);
    EXPECT_EQ(std::vector<uint32_t>(out, out + 3), (std::vector<uint32_t>{2, 320, 240}));

    // A bad start code, or a size beyond the frame limit: nothing written or read.
    std::fill(out, out + 3, kSentinel);
    EXPECT_EQ(inquire({0x00, 0x01, 0x80, 0x00, 0x00, 0x00}, SIZE_MAX, 6), kStatusBadData);
    EXPECT_EQ(inquire(frame, 4, 0xFFFFFFFFu), kStatusBadData);
    EXPECT_EQ(std::count(out, out + 3, kSentinel), 3);
    const ExactFrame tiny(frame, 4);
    EXPECT_EQ(DecompressFrame(s.get(), tiny.data(), 0x80000000u, nullptr), kStatusBadData);

    // Cut inside the height field: the inquiry succeeds and leaves the reader's
    // error for the next decode, unless the caller discards it.
    const Bytes grey = Grey(16, 16);
    EXPECT_EQ(inquire(grey, 6, 6), 0);
    EXPECT_EQ(out[2], 0u);
    EXPECT_EQ(s.Decode(grey), kStatusOutOfData);
    EXPECT_EQ(s->planes->y, nullptr);
    EXPECT_EQ(inquire(grey, 6, 6), 0);
    DiscardSessionReaderError(s.get());
    EXPECT_EQ(s.Decode(grey), 0);
}

}  // namespace
}  // namespace veltrane::test
