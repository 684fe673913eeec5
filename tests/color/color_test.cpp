// The colour module against the channel formulas: the converter's tables for
// every Y, U, V triple, the blits and the BGRA images over hand-built sessions.
#include "veltrane/color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "color/impact.h"
#include "support/test_allocator.h"
#include "veltrane/decoder.h"
#include "veltrane/session.h"

namespace veltrane::test {
namespace {

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

// The 16-bit packers by format code; unknown codes keep green and blue only.
uint16_t (*const kPack16[])(uint32_t) = {PackRGB555, PackRGB565, PackARGB4444, PackGreenBlue};
const EPixelFormat kFormats[] = {ePixelFormatRGB555, ePixelFormatRGB565, ePixelFormatARGB4444,
                                 EPixelFormat(3)};

TEST(ColorConverter, EveryTripleMatchesTheChannelFormulasAndDocumentedColoursPack) {
    EXPECT_EQ(OpenColorConverter(nullptr), nullptr);
    TestAllocator allocator;
    allocator.FailAt(1);
    EXPECT_EQ(OpenColorConverter(&allocator), nullptr);
    allocator.FailAt(0);
    ColorConverter_t* converter = OpenColorConverter(&allocator);
    ASSERT_NE(converter, nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 1u);
    long mismatches = 0;
    for (int u = 0; u < 256; ++u) {
        for (int v = 0; v < 256; ++v) {
            for (int y = 0; y < 256; ++y) {
                const uint32_t got = PackRGB(SaturateImpactSum(ImpactSum(*converter, y, u, v)));
                if (got != ReferenceRgb(y, u, v) && mismatches++ < 5) {
                    ADD_FAILURE() << "Y,U,V = " << y << "," << u << "," << v;
                }
            }
        }
    }
    EXPECT_EQ(mismatches, 0);
    // Documented colours: Y, U, V, opaque word, then RGB555, RGB565, ARGB4444,
    // unknown code (0: none given). White keeps bit 5 of 5-6-5 clear.
    const uint32_t cases[][8] = {
        {16, 128, 128, 0xFF000000u, 0, 0, 0, 0},
        {128, 128, 128, 0xFF828282u, 0x4210, 0x8410, 0xF888, 0x8010},
        {235, 128, 128, 0xFFFEFEFEu, 0x7FFF, 0xFFDF, 0xFFFF, 0xF81F},
        {81, 90, 240, 0xFFFE0000u, 0x7C00, 0xF800, 0xFF00, 0},
    };
    for (const auto& c : cases) {
        const uint32_t sum =
            SaturateImpactSum(ImpactSum(*converter, uint8_t(c[0]), uint8_t(c[1]), uint8_t(c[2])));
        EXPECT_EQ(PackOpaque(sum), c[3]) << c[0] << "," << c[1] << "," << c[2];
        for (int f = 0; f < 4 && c[4] != 0; ++f) EXPECT_EQ(kPack16[f](sum), c[4 + f]) << f;
    }
    CloseColorConverter(converter);
    CloseColorConverter(nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
    EXPECT_EQ(allocator.foreignFrees(), 0);
}

// A session record filled by hand as a decode would leave it: planes with
// padding at the end of each row, pseudo-random samples, an optional alpha
// plane with a stride of its own, and a converter.
class HandSession {
public:
    HandSession(int width, int height, uint32_t seed = 1, bool alpha = false)
        : yStride_(width + 5), uvStride_((width + 1) / 2 + 3) {
        y_.resize(size_t(yStride_) * height);
        u_.resize(size_t(uvStride_) * ((height + 1) / 2));
        v_.resize(u_.size());
        alpha_.resize(alpha ? size_t(width + 7) * height : 0);
        for (auto* plane : {&y_, &u_, &v_, &alpha_}) {
            for (auto& s : *plane) s = uint8_t((seed = seed * 1664525u + 1013904223u) >> 24);
        }
        for (auto& a : alpha_) a = a < 48 ? 0 : a;  // transparent pixels often
        converter_ = OpenColorConverter(&allocator_);
        planes_ = {y_.data(), u_.data(), v_.data(), alpha ? alpha_.data() : nullptr};
        session_ = {nullptr,  converter_, width,     height, &planes_,
                    yStride_, uvStride_,  width + 7, 1};
    }
    ~HandSession() { CloseColorConverter(converter_); }
    HandSession(const HandSession&) = delete;
    HandSession& operator=(const HandSession&) = delete;

    // The saturated impact sum of the pixel's own luma and the chroma at
    // (column / 2, row / 2).
    uint32_t Sum(int column, int row) {
        const size_t chroma = size_t(row / 2) * uvStride_ + column / 2;
        return SaturateImpactSum(
            ImpactSum(*converter_, y_[size_t(row) * yStride_ + column], u_[chroma], v_[chroma]));
    }
    uint8_t Alpha(int column, int row) {
        return alpha_[size_t(row) * (session_.width + 7) + column];
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

constexpr uint32_t kMarker32 = 0xDEADBEEFu;
constexpr uint16_t kMarker16 = 0xBEEFu;

// An image with two spare words per row, filled with a marker; the first pixel
// sits at an odd address, so stores must not assume alignment.
struct Image {
    Image(int width, int height, uint32_t bottomUp = 0)
        : bytes(1 + size_t(width + 2) * 4 * height) {
        for (size_t i = 1; i < bytes.size(); i += 4) std::memcpy(&bytes[i], &kMarker32, 4);
        image = {kQXImageFormatBGRA32, width, height, bottomUp, (width + 2) * 4, &bytes[1]};
    }
    // The word at memory row `line`, column `column`.
    uint32_t At(int column, int line) const {
        uint32_t word;
        std::memcpy(&word, image.pixels + size_t(line) * image.rowBytes + 4 * column, 4);
        return word;
    }
    std::vector<uint8_t> bytes;
    QXImage_t image;
};

// Without a session nothing is written; without a picture (no luma plane, or no
// planes record at all) the blits write black, and only the pixels asked for,
// and the BGRA image is left alone. An image of another format is refused.
TEST(BlitTest, NoSessionWritesNothingAndNoPictureWritesBlack) {
    HandSession picture(8, 2);
    Image image(4, 4);
    EXPECT_EQ(CreateBGRAFromYUV(picture.session(), nullptr), 0);
    image.image.format = 1;
    EXPECT_EQ(CreateBGRAFromYUV(picture.session(), &image.image), kStatusBadImageFormat);
    image.image.format = kQXImageFormatBGRA32;
    for (int state = 0; state < 3; ++state) {
        void* session = state == 0 ? nullptr : picture.session();
        if (state == 1) picture.planes().y = nullptr;
        if (state == 2) picture.session()->planes = nullptr;
        uint32_t words[4] = {kMarker32, kMarker32, kMarker32, kMarker32};
        uint16_t halves[4] = {kMarker16, kMarker16, kMarker16, kMarker16};
        EXPECT_EQ(BlitYUVto32(session, 0, 0, 2, words), 0);
        EXPECT_EQ(BlitYUVto32(session, 0, 0, 0, words + 3), 0);
        EXPECT_EQ(BlitYUVto32Single(session, 1, 1, words + 2), 0);
        EXPECT_EQ(BlitYUVto16(session, 0, 0, 2, halves, ePixelFormatRGB555), 0);
        EXPECT_EQ(BlitYUVto16Single(session, 1, 1, halves + 2, ePixelFormatRGB565), 0);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(words[i], i < 3 && state > 0 ? 0xFF000000u : kMarker32) << state << i;
            EXPECT_EQ(halves[i], i < 3 && state > 0 ? 0u : kMarker16) << state << i;
        }
        EXPECT_EQ(CreateBGRAFromYUV(session, &image.image), 0);
    }
    EXPECT_EQ(image.bytes, Image(4, 4).bytes);
}

// Runs of every start column (odd ones included) and length along rows of an
// odd-width picture with random samples, in every layout: each pixel takes its
// own luma and the chroma at column / 2, nothing past the run is written, and
// a one-pixel run equals the single-pixel blit.
TEST(BlitTest, RunsFromEveryColumnMatchTheirSamples) {
    constexpr int kWidth = 9;
    HandSession picture(kWidth, 5, 99);
    for (int row : {3, 4}) {
        for (int column = 0; column < kWidth; ++column) {
            for (int count = 1; column + count <= kWidth; ++count) {
                std::vector<uint32_t> words(size_t(count) + 1, kMarker32);
                BlitYUVto32(picture.session(), column, row, count, words.data());
                for (int i = 0; i < count; ++i) {
                    EXPECT_EQ(words[i], PackOpaque(picture.Sum(column + i, row)))
                        << "run " << column << "+" << count << " row " << row << " pixel " << i;
                }
                EXPECT_EQ(words[count], kMarker32);
                uint32_t single = 0;
                BlitYUVto32Single(picture.session(), column, row, &single);
                EXPECT_EQ(single, words[0]);

                for (int f = 0; f < 4; ++f) {
                    std::vector<uint16_t> halves(size_t(count) + 1, kMarker16);
                    BlitYUVto16(picture.session(), column, row, count, halves.data(), kFormats[f]);
                    for (int i = 0; i < count; ++i) {
                        EXPECT_EQ(halves[i], kPack16[f](picture.Sum(column + i, row)))
                            << "format " << f << " run " << column << "+" << count;
                    }
                    EXPECT_EQ(halves[count], kMarker16);
                    uint16_t half = 0;
                    BlitYUVto16Single(picture.session(), column, row, &half, kFormats[f]);
                    EXPECT_EQ(half, halves[0]);
                }
            }
        }
    }
}

// Random samples over every parity of width and height, top-down and
// bottom-up, with and without an alpha plane: each pixel takes its own luma
// and the chroma at (c / 2, r / 2), alpha 0 gives the word 0 and any other
// alpha caps every channel, and nothing outside the picture's pixels is written.
TEST(BgraImageTest, EveryPixelMatchesItsSamples) {
    const int sizes[][2] = {{1, 1}, {2, 2}, {3, 3}, {6, 4}, {7, 4}, {6, 5}, {1, 4}, {5, 1}};
    for (const auto& size : sizes) {
        for (int variant = 0; variant < 4; ++variant) {
            const int width = size[0], height = size[1];
            const uint32_t bottomUp = variant & 1;
            const bool alpha = variant & 2;
            HandSession picture(width, height, uint32_t(width * 31 + height), alpha);
            Image image(width, height + 1, bottomUp);  // one spare row
            ASSERT_EQ(CreateBGRAFromYUV(picture.session(), &image.image), 0);
            for (int r = 0; r < height; ++r) {
                const int line = bottomUp ? height - r : r;
                for (int c = 0; c < width; ++c) {
                    const uint32_t rgb = PackRGB(picture.Sum(c, r));
                    const uint32_t a = alpha ? picture.Alpha(c, r) : 255;
                    const uint32_t want = a == 0 ? 0u
                                                 : a << 24 | std::min(rgb >> 16, a) << 16 |
                                                       std::min((rgb >> 8) & 0xFF, a) << 8 |
                                                       std::min(rgb & 0xFF, a);
                    EXPECT_EQ(image.At(c, line), want) << width << "x" << height << " at " << c
                                                       << "," << r << " variant " << variant;
                }
                EXPECT_EQ(image.At(width, line), kMarker32);
            }
            EXPECT_EQ(image.At(0, bottomUp ? 0 : height), kMarker32);
        }
    }
}

}  // namespace
}  // namespace veltrane::test
