#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "color/color_fixture.h"
#include "veltrane/color.h"
#include "veltrane/decoder.h"

namespace veltrane::test {
namespace {

constexpr uint32_t kMarker = 0xDEADBEEFu;

// An image with two spare words per row, filled with a marker; the first pixel
// sits at an odd address, so stores must not assume alignment.
struct Image {
    Image(int width, int height, uint32_t bottomUp = 0)
        : bytes(1 + size_t(width + 2) * 4 * height) {
        for (size_t i = 1; i < bytes.size(); i += 4) std::memcpy(&bytes[i], &kMarker, 4);
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

TEST(BgraImageTest, NothingWrittenWithoutPictureOrWithWrongFormat) {
    HandSession picture(4, 4);
    Image image(4, 4);
    EXPECT_EQ(CreateBGRAFromYUV(picture.session(), nullptr), 0);
    image.image.format = 1;
    EXPECT_EQ(CreateBGRAFromYUV(picture.session(), &image.image), kStatusBadImageFormat);
    image.image.format = kQXImageFormatBGRA32;
    picture.planes().y = nullptr;
    EXPECT_EQ(CreateBGRAFromYUV(picture.session(), &image.image), 0);
    EXPECT_EQ(image.bytes, Image(4, 4).bytes);
}

// Random samples over every parity of width and height, top-down and
// bottom-up: each pixel takes its own luma and the chroma at (c / 2, r / 2),
// and nothing outside the picture's pixels is written.
TEST(BgraImageTest, EveryPixelMatchesItsSamples) {
    const int sizes[][2] = {{1, 1}, {2, 2}, {3, 3}, {6, 4}, {7, 4}, {6, 5}, {1, 4}, {5, 1}};
    for (const auto& size : sizes) {
        for (uint32_t bottomUp : {0u, 1u}) {
            const int width = size[0], height = size[1];
            HandSession picture(width, height, uint32_t(width * 31 + height));
            Image image(width, height + 1, bottomUp);  // one spare row
            ASSERT_EQ(CreateBGRAFromYUV(picture.session(), &image.image), 0);
            for (int r = 0; r < height; ++r) {
                const int line = bottomUp ? height - r : r;
                for (int c = 0; c < width; ++c) {
                    EXPECT_EQ(image.At(c, line), 0xFF000000u | picture.Expected(c, r))
                        << width << "x" << height << " at " << c << "," << r << " up " << bottomUp;
                }
                EXPECT_EQ(image.At(width, line), kMarker);
            }
            EXPECT_EQ(image.At(0, bottomUp ? 0 : height), kMarker);
        }
    }
}

// Random colours under a ramp of alpha values over an odd size: alpha 0 gives
// the word 0, any other alpha caps every channel.
TEST(BgraImageTest, AlphaCapsColoursAndClearsTransparentPixels) {
    HandSession ramp(5, 3, 77);
    ramp.AddAlpha(0);
    for (int i = 0; i < 15; ++i) ramp.Alpha(i % 5, i / 5) = uint8_t(i * 18);
    Image rampImage(5, 3);
    CreateBGRAFromYUV(ramp.session(), &rampImage.image);
    for (int i = 0; i < 15; ++i) {
        const uint32_t a = uint32_t(i * 18), rgb = ramp.Expected(i % 5, i / 5);
        const uint32_t want = a == 0 ? 0u
                                     : a << 24 | std::min(rgb >> 16, a) << 16 |
                                           std::min((rgb >> 8) & 0xFF, a) << 8 |
                                           std::min(rgb & 0xFF, a);
        EXPECT_EQ(rampImage.At(i % 5, i / 5), want) << i;
    }
}

}  // namespace
}  // namespace veltrane::test
