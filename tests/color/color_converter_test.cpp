// The colour tables: one block from the host, and every Y, U, V triple against
// the clamped channel formulas.
#include <gtest/gtest.h>

#include "color/color_fixture.h"
#include "color/impact.h"

namespace veltrane::test {
namespace {

TEST(ColorConverter, OpensOneBlockAndEveryTripleMatchesTheChannelFormulas) {
    EXPECT_EQ(OpenColorConverter(nullptr), nullptr);
    TestAllocator allocator;
    allocator.FailAt(1);
    EXPECT_EQ(OpenColorConverter(&allocator), nullptr);
    allocator.FailAt(0);
    ColorConverter_t* converter = OpenColorConverter(&allocator);
    ASSERT_NE(converter, nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 1u);
    long mismatches = 0;
    for (int u = 0; u < 256; ++u) {
        for (int v = 0; v < 256; ++v) {
            const uint32_t chroma = ChromaImpact(*converter, uint8_t(u), uint8_t(v));
            for (int y = 0; y < 256; ++y) {
                const uint32_t got = PackRGB(SaturateImpactSum(converter->yImpact[y] + chroma));
                if (got != ReferenceRgb(y, u, v) && mismatches++ < 5) {
                    ADD_FAILURE() << "Y,U,V = " << y << "," << u << "," << v;
                }
            }
        }
    }
    EXPECT_EQ(mismatches, 0);
    CloseColorConverter(converter);
    CloseColorConverter(nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
    EXPECT_EQ(allocator.foreignFrees(), 0);
}

}  // namespace
}  // namespace veltrane::test
