// The part of the peer benchmark whose faults would not show in its own run
// (which checks both decoders' pictures and both transforms before it times
// them, and runs as peer.quick_benchmark): the quantiles its ratios are
// reported by.
#include <gtest/gtest.h>

#include "interleaved_comparison.h"

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

}  // namespace
}  // namespace veltrane::peer
