#include "png_writer.h"

#include <gtest/gtest.h>
#include <png.h>

#include "frame_pattern.h"
#include "temp_dir.h"

namespace veltrane::tools {
namespace {

TEST(PngWriterTest, RgbAndRgbaReadBackWithLibpng) {
    test::TempDir dir;
    BgraPicture picture;
    picture.Resize(3, 2);
    picture.pixels = {0xFF102030u, 0x80FF0000u, 0x0000FF00u, 0xFF0000FFu, 0x40404040u, 0xFFFFFFFFu};
    std::string error;
    EXPECT_FALSE(WritePng(dir.File("no/such/dir/x.png"), picture, false, &error));
    EXPECT_NE(error.find("no/such/dir/x.png: cannot create"), std::string::npos) << error;
    for (const bool alpha : {false, true}) {
        const std::string path = dir.File(alpha ? "rgba.png" : "rgb.png");
        ASSERT_TRUE(WritePng(path, picture, alpha, &error)) << error;
        // Read back as 8-bit RGBA, whatever the file's own layout.
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        ASSERT_TRUE(png_image_begin_read_from_file(&image, path.c_str()));
        EXPECT_EQ(image.width, 3u);
        EXPECT_EQ(image.height, 2u);
        EXPECT_EQ((image.format & PNG_FORMAT_FLAG_ALPHA) != 0, alpha);
        image.format = PNG_FORMAT_RGBA;
        std::vector<uint8_t> rgba(PNG_IMAGE_SIZE(image));
        ASSERT_TRUE(png_image_finish_read(&image, nullptr, rgba.data(), 0, nullptr));
        for (size_t i = 0; i < picture.pixels.size(); ++i) {
            const uint32_t w = picture.pixels[i];
            // Words are 0xAARRGGBB: red in bits 16..23, blue in the low byte.
            EXPECT_EQ(rgba[4 * i + 0], (w >> 16) & 0xFF) << i;
            EXPECT_EQ(rgba[4 * i + 1], (w >> 8) & 0xFF) << i;
            EXPECT_EQ(rgba[4 * i + 2], w & 0xFF) << i;
            EXPECT_EQ(rgba[4 * i + 3], alpha ? (w >> 24) : 0xFFu) << i;
        }
    }
}

// Patterns without a number or with other conversions are usage errors of the
// tool's tests; these are the forms they do not reach.
TEST(FramePatternTest, FormatsAndRejects) {
    FramePattern pattern;
    std::string error;
    for (const auto& [text, number, name] :
         {std::tuple{"out/frame%04d.png", 7, "out/frame0007.png"},
          {"out/frame%04d.png", 123456, "out/frame123456.png"},
          {"100%%_%3d.png", 5, "100%_  5.png"},
          {"%u.png", 0, "0.png"}}) {
        ASSERT_TRUE(pattern.Parse(text, &error)) << text;
        EXPECT_EQ(pattern.Format(number), name);
    }
    for (const char* bad : {"%d_%d.png", "%-4d.png", "a%", "%099d.png"}) {
        EXPECT_FALSE(pattern.Parse(bad, &error)) << bad;
        EXPECT_NE(error.find(bad), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace veltrane::tools
