// The parts of the peer benchmark whose faults would not show in its own run
// (which checks both decoders' pictures before it times them, and runs as
// peer.quick_benchmark): the ratio statistics and libjpeg-turbo's transform
// being the one ours is compared with.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "interleaved_comparison.h"
#include "jpeg_islow.h"
#include "veltrane/recon.h"

namespace veltrane::peer {
namespace {

TEST(Quantile, InterpolatesBetweenSortedValues) {
    struct Case {
        std::vector<double> values;
        double q, expected;
    } cases[] = {
        {{}, 0.5, 0},
        {{7}, 0.25, 7},
        {{3, 1, 2}, 0.5, 2},
        {{4, 1, 3, 2}, 0.5, 2.5},
        {{4, 1, 3, 2}, 0.25, 1.75},
        {{4, 1, 3, 2}, 1.0, 4},
    };
    for (const Case& c : cases) EXPECT_DOUBLE_EQ(Quantile(c.values, c.q), c.expected);
}

TEST(CompareInterleaved, RunsBothSidesTheSameNumberOfTimes) {
    int ours = 0, theirs = 0;
    const Comparison result = CompareInterleaved(
        {5, 0.0}, [&] { ++ours; }, [&] { ++theirs; });
    EXPECT_EQ(result.rounds, 5);
    EXPECT_EQ(ours, theirs);
    EXPECT_EQ(ours, 1 + 5 * result.passesPerRound);  // one warm-up pass each
}

TEST(JpegIslow, SelectedRoutineEqualsPlainCAndOurIntraTransform) {
    JpegIslow jpeg;
    std::string error;
    ASSERT_TRUE(jpeg.Open(&error)) << error;
    EXPECT_NE(jpeg.SelectedInstructionSet(), "");

    // A DC-only block: coefficient 8 x (v - 128) gives v everywhere.
    int16_t dc[64] = {8 * (200 - 128)};
    uint8_t out[64];
    jpeg.Selected(dc, out, 8);
    for (uint8_t sample : out) EXPECT_EQ(sample, 200);

    std::mt19937 random(9);
    std::uniform_int_distribution<int> ac(-300, 300);
    for (int trial = 0; trial < 200; ++trial) {
        int32_t ours[64];
        int16_t theirs[64];
        for (int i = 0; i < 64; ++i) ours[i] = i < 20 ? ac(random) : 0;
        ours[0] = 8 * 128 + ac(random);
        for (int i = 0; i < 64; ++i) theirs[i] = static_cast<int16_t>(ours[i]);
        theirs[0] = static_cast<int16_t>(theirs[0] - 8 * 128);
        uint8_t a[64], b[64], c[64];
        jpeg.Selected(theirs, a, 8);
        jpeg.PlainC(theirs, b, 8);
        InvDctFixedPointIntra(ours, c, 8);
        ASSERT_EQ(0, std::memcmp(a, b, 64)) << "trial " << trial;
        ASSERT_EQ(0, std::memcmp(a, c, 64)) << "trial " << trial;
    }
}

}  // namespace
}  // namespace veltrane::peer
