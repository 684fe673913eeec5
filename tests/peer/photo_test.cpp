// Reading the photo the content is filmed from, and the benchmark's time units.
#include "photo.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstring>

#include "report.h"
#include "temp_dir.h"

namespace veltrane::peer {
namespace {

using tools::test::TempDir;

TEST(LoadPhoto, ReadsPngAsRgbAndNamesTheFileOnFailure) {
    TempDir dir;
    const std::string path = dir.File("photo.png");
    // A 3x2 picture, RGBA with alpha to be dropped.
    const uint8_t rgba[] = {255, 0,  0,  255, 0,  255, 0,  128, 0,  0,  255, 0,
                            10,  20, 30, 255, 40, 50,  60, 255, 70, 80, 90,  255};
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = 3;
    image.height = 2;
    image.format = PNG_FORMAT_RGBA;
    ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, rgba, 0, nullptr));

    Photo photo;
    std::string error;
    ASSERT_TRUE(LoadPhoto(path, &photo, &error)) << error;
    EXPECT_EQ(photo.width, 3);
    EXPECT_EQ(photo.height, 2);
    ASSERT_EQ(photo.rgb.size(), 18u);
    EXPECT_EQ(photo.rgb[0], 255);  // first pixel red
    EXPECT_EQ(photo.rgb[1], 0);
    EXPECT_EQ(photo.rgb[15], 70);  // last pixel (70, 80, 90)
    EXPECT_EQ(photo.rgb[17], 90);

    const std::string garbage = dir.File("garbage.jpg");
    tools::test::WriteBytes(garbage, {'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'});
    EXPECT_FALSE(LoadPhoto(garbage, &photo, &error));
    EXPECT_NE(error.find(garbage + ": neither a JPEG nor a PNG"), std::string::npos) << error;

    // A JPEG signature with nothing behind it.
    const std::string cut = dir.File("cut.jpg");
    tools::test::WriteBytes(cut, {0xFF, 0xD8, 0xFF, 0xE0, 0x00});
    EXPECT_FALSE(LoadPhoto(cut, &photo, &error));
    EXPECT_NE(error.find(cut + ": bad JPEG file"), std::string::npos) << error;

    EXPECT_FALSE(LoadPhoto(dir.File("missing.png"), &photo, &error));
    EXPECT_NE(error.find("missing.png: cannot open"), std::string::npos) << error;
}

TEST(FormatSeconds, PicksTheUnitThatSuitsTheTime) {
    EXPECT_EQ(FormatSeconds(412e-9), "412 ns");
    EXPECT_EQ(FormatSeconds(3.514e-6), "3.51 us");
    EXPECT_EQ(FormatSeconds(0.0123), "12.3 ms");
    EXPECT_EQ(FormatSeconds(1.2), "1.2 s");
}

}  // namespace
}  // namespace veltrane::peer
