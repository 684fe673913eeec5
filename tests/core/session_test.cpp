// The session functions: open and close, settings, decoding into the session's
// planes and into BGRA images, size changes, alpha sessions and frame inquiries.
#include "veltrane/session.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/stream_builder.h"
#include "support/test_allocator.h"
#include "veltrane/color.h"

namespace veltrane::test {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kSentinel = 0x5A5A5A5A;

// A session on its own counting allocator; closing checks that nothing leaks.
class TestSession {
public:
    TestSession(int32_t width, int32_t height) : s_(Open(width, height)) {}
    ~TestSession() {
        EXPECT_EQ(DecompressClose(s_), 0);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
        EXPECT_EQ(allocator_.foreignFrees(), 0);
    }
    TestSession(const TestSession&) = delete;
    TestSession& operator=(const TestSession&) = delete;

    DecompressSession_t* operator->() const { return s_; }
    DecompressSession_t* get() const { return s_; }

    int32_t Decode(const Bytes& bytes, QXImage_t* image = nullptr) {
        ExactFrame frame(bytes);
        return DecompressFrame(s_, frame.data(), static_cast<uint32_t>(frame.size()), image);
    }

private:
    DecompressSession_t* Open(int32_t width, int32_t height) {
        return static_cast<DecompressSession_t*>(DecompressOpen(width, height, &allocator_));
    }
    TestAllocator allocator_;
    DecompressSession_t* s_;
};

// A BGRA image of exactly width x height pixels on the heap, pre-filled.
struct Image {
    Image(int width, int height, uint32_t format = kQXImageFormatBGRA32)
        : pixels(static_cast<size_t>(width) * height, kSentinel) {
        image.format = format;
        image.width = width;
        image.height = height;
        image.bottomUp = 0;
        image.rowBytes = width * 4;
        image.pixels = reinterpret_cast<unsigned char*>(pixels.data());
    }
    uint32_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * image.width + x]; }
    bool Untouched() const {
        for (uint32_t p : pixels) {
            if (p != kSentinel) return false;
        }
        return true;
    }
    std::vector<uint32_t> pixels;
    QXImage_t image{};
};

Bytes VisibleLuma(const DecompressSession_t* s) {
    Bytes luma;
    for (int y = 0; y < s->height; ++y) {
        luma.insert(luma.end(), s->planes->y + y * s->yStride,
                    s->planes->y + y * s->yStride + s->width);
    }
    return luma;
}

int MbCount(int w, int h) { return ((w + 15) / 16) * ((h + 15) / 16); }

// INTRADC 255 stands for 128: a mid-grey picture.
Bytes Grey(int w, int h) {
    return FlatIntraPicture(FieldsForSize(w, h), MbCount(w, h), [](int, int) { return 255; });
}

TEST(Session, OpenStartsWithNoPicture) {
    TestSession s(176, 144);
    ASSERT_NE(s.get(), nullptr);
    EXPECT_EQ(s->width, 176);
    EXPECT_EQ(s->height, 144);
    EXPECT_EQ(s->eightBitPlanes, 1);
    ASSERT_NE(s->decoder, nullptr);
    EXPECT_EQ(s->decoder->width, 176);
    EXPECT_EQ(s->decoder->height, 144);
    EXPECT_NE(s->colorConverter, nullptr);
    ASSERT_NE(s->planes, nullptr);
    EXPECT_EQ(s->planes->y, nullptr);
    EXPECT_EQ(s->planes->u, nullptr);
    EXPECT_EQ(s->planes->v, nullptr);
    EXPECT_EQ(s->planes->alpha, nullptr);
    EXPECT_EQ(s->yStride, 0);
    EXPECT_EQ(s->uvStride, 0);
    EXPECT_EQ(s->alphaStride, 0);
}

TEST(Session, EveryFailedAllocationInOpenReleasesEverything) {
    TestAllocator counter;
    void* session = DecompressOpen(33, 17, &counter);
    ASSERT_NE(session, nullptr);
    const int needed = counter.allocations();
    EXPECT_EQ(DecompressClose(session), 0);
    EXPECT_EQ(counter.liveBlocks(), 0u);

    for (int k = 1; k <= needed; ++k) {
        TestAllocator allocator;
        allocator.FailAt(k);
        EXPECT_EQ(DecompressOpen(33, 17, &allocator), nullptr) << "allocation " << k;
        EXPECT_EQ(allocator.liveBlocks(), 0u) << "allocation " << k;
        EXPECT_EQ(allocator.foreignFrees(), 0);
    }
    EXPECT_EQ(DecompressOpen(16, 16, nullptr), nullptr);
    EXPECT_EQ(DecompressClose(nullptr), 0);
}

TEST(Session, SettingsNeedARecordOfEightBytesAndDoNotChangeDecoding) {
    TestSession s(16, 16);
    DecompressSettings_t settings{0, 2};
    EXPECT_EQ(DecompressSetSettings(s.get(), &settings), kStatusBadSettings);
    settings.size = 12;
    EXPECT_EQ(DecompressSetSettings(s.get(), &settings), kStatusBadSettings);
    EXPECT_EQ(s->decoder->deblockingMethod, 0);

    settings.size = 8;
    EXPECT_EQ(DecompressSetSettings(s.get(), &settings), 0);
    DecompressSettings_t read{12, 77};
    EXPECT_EQ(DecompressGetSettings(s.get(), &read), kStatusBadSettings);
    EXPECT_EQ(read.deblockingMethod, 77);
    read.size = 8;
    EXPECT_EQ(DecompressGetSettings(s.get(), &read), 0);
    EXPECT_EQ(read.deblockingMethod, 2);

    // Neither the setting nor the header's deblocking flag alters the picture.
    PictureFields fields = FieldsForSize(16, 16, 0, 5);
    const Bytes plain = RandomStream(3).Picture(fields, 1);
    fields.deblocking = 1;
    const Bytes flagged = RandomStream(3).Picture(fields, 1);
    ASSERT_NE(plain, flagged);
    ASSERT_EQ(s.Decode(plain), 0);
    const Bytes first = VisibleLuma(s.get());
    settings.deblockingMethod = 0;
    ASSERT_EQ(DecompressSetSettings(s.get(), &settings), 0);
    ASSERT_EQ(s.Decode(flagged), 0);
    EXPECT_EQ(VisibleLuma(s.get()), first);
}

TEST(Session, DecodingPublishesTheStoreJustDecoded) {
    TestSession s(16, 16);
    ASSERT_EQ(s.Decode(Grey(16, 16)), 0);
    DecodeInstance_t* d = s->decoder;
    EXPECT_EQ(s->planes->y, d->stores[0][kPlaneY]);
    EXPECT_EQ(s->planes->u, d->stores[0][kPlaneU]);
    EXPECT_EQ(s->planes->v, d->stores[0][kPlaneV]);
    EXPECT_EQ(s->planes->alpha, nullptr);
    EXPECT_EQ(s->yStride, 48);
    EXPECT_EQ(s->uvStride, 40);
    EXPECT_EQ(s->planes->y[15 * 48 + 15], 128);

    ASSERT_EQ(s.Decode(FrameWriter(FieldsForSize(16, 16, 1)).Skip().Bytes()), 0);
    EXPECT_EQ(s->planes->y, d->stores[1][kPlaneY]);
    EXPECT_EQ(s->planes->v, d->stores[1][kPlaneV]);
}

TEST(Session, ImageOfAnotherFormatIsNotWritten) {
    TestSession s(16, 16);
    Image image(16, 16, 1);
    ASSERT_EQ(s.Decode(Grey(16, 16), &image.image), 0);
    EXPECT_NE(s->planes->y, nullptr);
    EXPECT_TRUE(image.Untouched());
}

TEST(Session, BgraImageGetsThePicturesOwnSizeNotTheMacroblockGrid) {
    // 160x120 decodes 128 rows; the exact-size image has room for 120 only.
    TestSession s(160, 120);
    const int mbs = MbCount(160, 120);
    ASSERT_EQ(s->decoder->alignedHeight, 128);
    auto dc = [mbs](int i, int b) { return b < 4 ? (i == mbs - 1 ? 235 : 255) : 255; };
    Image image(160, 120);
    ASSERT_EQ(s.Decode(FlatIntraPicture(FieldsForSize(160, 120), mbs, dc), &image.image), 0);
    EXPECT_EQ(s->width, 160);
    EXPECT_EQ(s->height, 120);
    EXPECT_EQ(s->yStride, 192);
    EXPECT_EQ(s->planes->y[127 * 192 + 159], 235);  // the last macroblock row is decoded
    EXPECT_EQ(image.At(0, 0), 0xFF828282u);
    EXPECT_EQ(image.At(159, 119), 0xFFFEFEFEu);
    EXPECT_EQ(image.At(143, 111), 0xFF828282u);
    for (uint32_t p : image.pixels) ASSERT_NE(p, kSentinel);
}

TEST(Session, FrameOfAnotherSizeKeepsThePreviousPicture) {
    TestSession s(128, 96);
    ASSERT_EQ(s.Decode(Grey(128, 96)), 0);
    const DecompressPlanes_t before = *s->planes;
    const int32_t yStride = s->yStride;
    Image image(128, 96);
    EXPECT_EQ(s.Decode(Grey(176, 144), &image.image), kStatusSizeChanged);
    EXPECT_EQ(s->planes->y, before.y);
    EXPECT_EQ(s->planes->u, before.u);
    EXPECT_EQ(s->planes->v, before.v);
    EXPECT_EQ(s->yStride, yStride);
    EXPECT_TRUE(image.Untouched());
    // The session still decodes frames of its own size.
    EXPECT_EQ(s.Decode(Grey(128, 96), &image.image), 0);
    EXPECT_EQ(image.At(127, 95), 0xFF828282u);
}

TEST(Session, FailedDecodeKeepsPlanesAndStrides) {
    TestSession s(33, 17);
    ASSERT_EQ(s.Decode(Grey(33, 17)), 0);
    const unsigned char* y = s->planes->y;
    Bytes cut = FrameWriter(FieldsForSize(33, 17, 1)).Skip(3).Bytes();
    cut.pop_back();  // cut inside the quantiser field
    Image image(33, 17);
    const int32_t status = s.Decode(cut, &image.image);
    EXPECT_TRUE(status == kStatusOutOfData || status == kStatusBadData) << status;
    EXPECT_EQ(s->planes->y, y);
    EXPECT_EQ(s->yStride, 80);
    EXPECT_TRUE(image.Untouched());
}

TEST(Session, AlphaSessionLumaBecomesTheAlphaChannel) {
    TestSession colour(32, 16);
    TestSession alpha(32, 16);
    ASSERT_EQ(colour.Decode(Grey(32, 16)), 0);
    // Alpha: 0 in the first luma block, 200 everywhere else.
    auto dc = [](int i, int b) { return i == 0 && b == 0 ? 0 : 200; };
    ASSERT_EQ(alpha.Decode(FlatIntraPicture(FieldsForSize(32, 16), 2, dc)), 0);
    EXPECT_EQ(DecompressSetAlpha(colour.get(), alpha.get()), 0);
    EXPECT_EQ(colour->planes->alpha, alpha->planes->y);
    EXPECT_EQ(colour->alphaStride, alpha->yStride);

    Image image(32, 16);
    ASSERT_EQ(colour.Decode(Grey(32, 16), &image.image), 0);
    EXPECT_EQ(image.At(0, 0), 0u);
    EXPECT_EQ(image.At(7, 7), 0u);
    EXPECT_EQ(image.At(8, 0), 0xC8828282u);
    EXPECT_EQ(image.At(31, 15), 0xC8828282u);
}

TEST(Session, FrameInquiryReportsTypeAndSize) {
    TestSession s(16, 16);
    const Bytes frame = FrameWriter(FieldsForSize(320, 240, 2)).Skip().Bytes();
    ExactFrame exact(frame);
    uint32_t type = kSentinel, width = kSentinel, height = kSentinel;
    EXPECT_EQ(
        DecompressGetFrameAttributes(s.get(), exact.data(), static_cast<uint32_t>(exact.size()),
                                     &type, &width, &height),
        0);
    EXPECT_EQ(type, 2u);
    EXPECT_EQ(width, 320u);
    EXPECT_EQ(height, 240u);
    EXPECT_EQ(
        DecompressGetFrameAttributes(s.get(), exact.data(), static_cast<uint32_t>(exact.size()),
                                     nullptr, nullptr, nullptr),
        0);

    const ExactFrame bad(Bytes{0x00, 0x01, 0x80, 0x00, 0x00, 0x00});
    type = width = height = kSentinel;
    EXPECT_EQ(DecompressGetFrameAttributes(s.get(), bad.data(), static_cast<uint32_t>(bad.size()),
                                           &type, &width, &height),
              kStatusBadData);
    EXPECT_EQ(type, kSentinel);
    EXPECT_EQ(width, kSentinel);
    EXPECT_EQ(height, kSentinel);
}

TEST(Session, InquiryCutShortInsideTheHeaderLeavesItsErrorForTheNextDecode) {
    TestSession s(16, 16);
    const Bytes grey = Grey(16, 16);
    const ExactFrame cut(grey, 6);  // ends in the middle of the height field
    uint32_t type = kSentinel, width = kSentinel, height = kSentinel;
    EXPECT_EQ(DecompressGetFrameAttributes(s.get(), cut.data(), 6, &type, &width, &height), 0);
    EXPECT_EQ(width, 16u);
    EXPECT_EQ(height, 0u);
    EXPECT_EQ(s.Decode(grey), kStatusOutOfData);
    EXPECT_EQ(s->planes->y, nullptr);
    EXPECT_EQ(s.Decode(grey), 0);
}

TEST(Session, SizesBeyondTheFrameLimitAreRefusedWithoutReading) {
    TestSession s(16, 16);
    const ExactFrame tiny(Bytes{0x00, 0x00, 0x80, 0x00});
    EXPECT_EQ(DecompressFrame(s.get(), tiny.data(), 0x80000000u, nullptr), kStatusBadData);
    EXPECT_EQ(DecompressFrame(s.get(), tiny.data(), 0xFFFFFFFFu, nullptr), kStatusBadData);
    uint32_t type = kSentinel;
    EXPECT_EQ(
        DecompressGetFrameAttributes(s.get(), tiny.data(), 0xFFFFFFFFu, &type, nullptr, nullptr),
        kStatusBadData);
    EXPECT_EQ(type, kSentinel);
    EXPECT_EQ(s->planes->y, nullptr);
}

TEST(Session, BlitsShowTheSamePictureAsTheBgraImage) {
    // An odd-sized picture with a different value in every block.
    TestSession s(33, 17);
    const int mbs = MbCount(33, 17);
    auto dc = [](int i, int b) { return 20 + 30 * b + 7 * i; };
    Image image(33, 17);
    ASSERT_EQ(s.Decode(FlatIntraPicture(FieldsForSize(33, 17), mbs, dc), &image.image), 0);
    for (int row : {0, 7, 8, 16}) {
        std::vector<uint32_t> run(33);
        EXPECT_EQ(BlitYUVto32(s.get(), 0, row, 33, run.data()), 0);
        for (int x = 0; x < 33; ++x) ASSERT_EQ(run[x], image.At(x, row)) << x << "," << row;
        uint32_t single = 0;
        EXPECT_EQ(BlitYUVto32Single(s.get(), 32, row, &single), 0);
        EXPECT_EQ(single, image.At(32, row));
        uint16_t pixel = 0;
        EXPECT_EQ(BlitYUVto16Single(s.get(), 32, row, &pixel, ePixelFormatRGB565), 0);
        const uint32_t word = image.At(32, row);
        const uint32_t r = (word >> 16) & 0xFF, g = (word >> 8) & 0xFF, b = word & 0xFF;
        EXPECT_EQ(pixel, ((r & 0xF8) << 8) | ((g & 0xF8) << 3) | (b >> 3));
    }
}

}  // namespace
}  // namespace veltrane::test
