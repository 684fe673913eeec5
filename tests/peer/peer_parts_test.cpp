// The parts of the peer benchmark whose faults would not show in its own run
// (which checks both decoders' pictures and both transforms before it times
// them, and runs as peer.quick_benchmark): the ratio statistics and the plain C
// transform it times beside libjpeg-turbo's selected one.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "interleaved_comparison.h"
#include "jpeg_islow.h"

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

// The benchmark checks our transform against the selected routine on real
// blocks; the plain C routine it also times must compute the same.
TEST(JpegIslow, SelectedRoutineEqualsPlainC) {
    JpegIslow jpeg;
    std::string error;
    ASSERT_TRUE(jpeg.Open(&error)) << error;
    EXPECT_NE(jpeg.SelectedInstructionSet(), "");
    std::mt19937 random(9);
    std::uniform_int_distribution<int> ac(-300, 300);
    for (int trial = 0; trial < 200; ++trial) {
        int16_t block[64] = {};
        for (int i = 0; i < 20; ++i) block[i] = static_cast<int16_t>(ac(random));
        uint8_t a[64], b[64];
        jpeg.Selected(block, a, 8);
        jpeg.PlainC(block, b, 8);
        ASSERT_EQ(0, std::memcmp(a, b, 64)) << "trial " << trial;
    }
}

}  // namespace
}  // namespace veltrane::peer
