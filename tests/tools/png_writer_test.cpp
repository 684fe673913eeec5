#include "png_writer.h"

#include <gtest/gtest.h>
#include <png.h>

#include "frame_pattern.h"
#include "temp_dir.h"

namespace veltrane::tools {
namespace {

using test::TempDir;

// Reads a PNG back through libpng as 8-bit RGBA, whatever its colour type.
bool ReadPngRgba(const std::string& path, png_image* image, std::vector<uint8_t>* pixels) {
    *image = {};
    image->version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(image, path.c_str())) return false;
    const png_uint_32 colorType = image->format;
    image->format = PNG_FORMAT_RGBA;
    pixels->resize(PNG_IMAGE_SIZE(*image));
    const bool ok = png_image_finish_read(image, nullptr, pixels->data(), 0, nullptr) != 0;
    image->format = colorType;  // report the file's own layout to the caller
    return ok;
}

TEST(PngWriterTest, RgbAndRgbaReadBackWithLibpng) {
    TempDir dir;
    BgraPicture picture;
    picture.Resize(3, 2);
    picture.pixels = {0xFF102030u, 0x80FF0000u, 0x0000FF00u, 0xFF0000FFu, 0x40404040u, 0xFFFFFFFFu};
    std::string error;
    EXPECT_FALSE(WritePng(dir.File("no/such/dir/x.png"), picture, false, &error));
    EXPECT_NE(error.find("no/such/dir/x.png: cannot create"), std::string::npos) << error;
    for (const bool alpha : {false, true}) {
        const std::string path = dir.File(alpha ? "rgba.png" : "rgb.png");
        ASSERT_TRUE(WritePng(path, picture, alpha, &error)) << error;
        png_image image;
        std::vector<uint8_t> rgba;
        ASSERT_TRUE(ReadPngRgba(path, &image, &rgba)) << path;
        EXPECT_EQ(image.width, 3u);
        EXPECT_EQ(image.height, 2u);
        EXPECT_EQ((image.format & PNG_FORMAT_FLAG_ALPHA) != 0, alpha);
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

TEST(FramePatternTest, FormatsAndRejects) {
    FramePattern pattern;
    std::string error;
    ASSERT_TRUE(pattern.Parse("out/frame%04d.png", &error));
    EXPECT_EQ(pattern.Format(7), "out/frame0007.png");
    EXPECT_EQ(pattern.Format(123456), "out/frame123456.png");
    ASSERT_TRUE(pattern.Parse("100%%_%3d.png", &error));
    EXPECT_EQ(pattern.Format(5), "100%_  5.png");
    ASSERT_TRUE(pattern.Parse("%u.png", &error));
    EXPECT_EQ(pattern.Format(0), "0.png");
    for (const char* bad : {"frame.png", "%d_%d.png", "%x.png", "%-4d.png", "a%", "%099d.png"}) {
        EXPECT_FALSE(pattern.Parse(bad, &error)) << bad;
        EXPECT_NE(error.find(bad), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace veltrane::tools
