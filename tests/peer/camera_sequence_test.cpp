// The content generator: colour conversion and noise level, the camera's slow
// sub-pixel pan, and the area reduction behind it.
#include "camera_sequence.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numeric>

namespace veltrane::peer {
namespace {

// A photo whose grey level rises by one step every `run` columns.
Photo RampPhoto(int width, int height, int run) {
    Photo photo{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height * 3)};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c)
                photo.rgb[(static_cast<size_t>(y) * width + x) * 3 + c] =
                    static_cast<uint8_t>(std::min(255, x / run));
    return photo;
}

double Mean(const std::vector<uint8_t>& samples) {
    return std::accumulate(samples.begin(), samples.end(), 0.0) /
           static_cast<double>(samples.size());
}

double StandardDeviation(const std::vector<uint8_t>& samples) {
    const double mean = Mean(samples);
    double squares = 0;
    for (uint8_t s : samples) squares += (s - mean) * (s - mean);
    return std::sqrt(squares / static_cast<double>(samples.size()));
}

TEST(CameraSequence, FlatGreyPhotoGivesStudioRangeGreyWithTheNoiseAsked) {
    Photo photo{400, 300, std::vector<uint8_t>(400 * 300 * 3, 128)};
    CameraSettings settings;
    settings.width = 176;
    settings.height = 144;
    settings.lumaNoise = 2.0;
    settings.chromaNoise = 1.0;
    CameraSequence camera;
    ASSERT_TRUE(camera.Prepare(photo, settings));
    tools::YuvPicture picture;
    camera.Render(0, &picture);
    ASSERT_EQ(picture.y.size(), 176u * 144u);
    ASSERT_EQ(picture.u.size(), 88u * 72u);
    // 16 + 219 x 128 / 255 = 125.9; chroma neutral.
    EXPECT_NEAR(Mean(picture.y), 125.9, 0.1);
    EXPECT_NEAR(Mean(picture.u), 128.0, 0.1);
    EXPECT_NEAR(Mean(picture.v), 128.0, 0.1);
    // Rounding to whole levels adds 1/12 to the variance.
    EXPECT_NEAR(StandardDeviation(picture.y), std::sqrt(4.0 + 1.0 / 12), 0.1);
    EXPECT_NEAR(StandardDeviation(picture.u), std::sqrt(1.0 + 1.0 / 12), 0.1);
}

TEST(CameraSequence, PansInSmallSubPixelStepsAndRepeatsForTheSameSeed) {
    // On a horizontal ramp, the mean luma of a picture tells where the view is:
    // a pan of d working samples changes it by d times the ramp's slope.
    const Photo photo = RampPhoto(800, 660, 4);
    CameraSettings settings;
    settings.width = 176;
    settings.height = 144;
    settings.frames = 50;
    settings.lumaNoise = 0;
    settings.chromaNoise = 0;
    CameraSequence camera;
    ASSERT_TRUE(camera.Prepare(photo, settings));
    std::vector<double> means;
    tools::YuvPicture picture;
    for (int i = 0; i < settings.frames; ++i) {
        camera.Render(i, &picture);
        means.push_back(Mean(picture.y));
    }
    // Working scale: 176 x 1.45 / 800 (the width binds); one working sample
    // spans 1 / scale photo columns, a quarter of a level each, and a level is
    // 219 / 255 luma levels.
    const double slope = 219.0 / 255.0 / 4 / (176 * 1.45 / 800);
    const double travel = (means.back() - means.front()) / slope;
    EXPECT_GT(travel, 20);  // the view moves across the photo...
    int wholeSteps = 0;
    for (int i = 1; i < settings.frames; ++i) {
        const double step = (means[i] - means[i - 1]) / slope;
        EXPECT_LT(std::abs(step), 4.0) << "picture " << i;  // ...slowly
        wholeSteps += std::abs(step - std::round(step)) < 0.02;
    }
    EXPECT_LT(wholeSteps, settings.frames / 4);  // and mostly by fractions of a sample

    settings.lumaNoise = 1.0;
    CameraSequence first, second;
    ASSERT_TRUE(first.Prepare(photo, settings));
    ASSERT_TRUE(second.Prepare(photo, settings));
    tools::YuvPicture a, b;
    first.Render(7, &a);
    second.Render(7, &b);
    EXPECT_EQ(a.y, b.y);
}

TEST(CameraSequence, RefusesPhotosThatWouldHaveToBeEnlarged) {
    const Photo photo = RampPhoto(400, 300, 1);
    CameraSettings settings;
    settings.width = 352;
    settings.height = 288;
    CameraSequence camera;
    EXPECT_FALSE(camera.Prepare(photo, settings));
    settings.width = 176;
    settings.height = 144;
    EXPECT_TRUE(camera.Prepare(photo, settings));
}

TEST(ResampleArea, AveragesTheAreaEachSampleCovers) {
    FloatPlane plane{6, 2, {0, 3, 6, 9, 12, 15, 1, 4, 7, 10, 13, 16}};
    const FloatPlane half = ResampleArea(plane, 3, 1);
    ASSERT_EQ(half.samples.size(), 3u);
    EXPECT_FLOAT_EQ(half.samples[0], 2.0f);  // (0 + 3 + 1 + 4) / 4
    EXPECT_FLOAT_EQ(half.samples[1], 8.0f);
    EXPECT_FLOAT_EQ(half.samples[2], 14.0f);
    // 6 to 4: each output covers one and a half inputs, weighted by coverage.
    const FloatPlane odd = ResampleArea(plane, 4, 1);
    const float expected[] = {1.5f, 5.5f, 10.5f, 14.5f};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(odd.samples[i], expected[i], 1e-5) << i;
}

}  // namespace
}  // namespace veltrane::peer
