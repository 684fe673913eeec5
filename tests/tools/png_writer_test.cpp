#include "png_writer.h"

#include <gtest/gtest.h>
#include <png.h>

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
            const uint8_t* p = &rgba[4 * i];  // back to 0xAARRGGBB
            EXPECT_EQ(uint32_t{p[3]} << 24 | p[0] << 16 | p[1] << 8 | p[2],
                      picture.pixels[i] | (alpha ? 0 : 0xFF000000u))
                << i;
        }
    }
}

}  // namespace
}  // namespace veltrane::tools
