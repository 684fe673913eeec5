#include "test_pattern.h"

#include <gtest/gtest.h>

namespace veltrane::tools {
namespace {

int CountDifferences(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    int n = 0;
    for (size_t i = 0; i < a.size(); ++i) n += a[i] != b[i];
    return n;
}

TEST(TestPatternTest, MovesBetweenPicturesAndRepeatsExactly) {
    YuvPicture a, b, again;
    DrawTestPattern(35, 21, 4, &a);
    DrawTestPattern(35, 21, 5, &b);
    DrawTestPattern(35, 21, 4, &again);
    EXPECT_EQ(a.y, again.y);
    EXPECT_EQ(a.u, again.u);
    EXPECT_EQ(a.u.size(), 18u * 11u);
    // Most luma and chroma samples move from one picture to the next.
    EXPECT_GT(CountDifferences(a.y, b.y), 35 * 21 / 2);
    EXPECT_GT(CountDifferences(a.u, b.u), 18 * 11 / 2);
    for (uint8_t sample : a.y) {
        EXPECT_GE(sample, 16);
        EXPECT_LE(sample, 235);
    }
}

}  // namespace
}  // namespace veltrane::tools
