#include "macroblock_stats.h"

#include <gtest/gtest.h>

#include "core/macroblock_type.h"

namespace veltrane::tools {
namespace {

// Types, coded blocks and vector lengths summed from the records, up to the first
// damaged one.
TEST(MacroblockStatsTest, CountTypesBlocksAndVectorLengthsOfTheRecords) {
    std::vector<MacroblockRecord> records(8, MacroblockRecord{});
    records[0].type = kMacroblockInter4V;  // four vectors of 5, 0, 0 and 2.5 pixels
    records[0].vectors[0] = {6, 8};
    records[0].vectors[3] = {-3, 4};
    records[0].codedBlocks = 0x31;
    records[1].type = kMacroblockIntra;
    records[1].codedBlocks = 0x0F;
    records[1].vectors[0] = {10, 10};  // intra: never counted as a vector
    records[2].skipped = true;
    records[3].type = kMacroblockInter;  // one vector of 2 pixels, the others ignored
    records[3].vectors[0] = {0, -4};
    records[3].vectors[1] = {40, 40};
    records[4].type = kMacroblockInterQ;
    records[4].codedBlocks = 0x20;
    records[5].type = kMacroblockIntraQ;
    records[6].damaged = true;  // neither it nor what follows is counted
    records[7].type = kMacroblockIntra;
    const MacroblockStats s = SummariseMacroblocks(records);
    for (int type = 0; type <= kSkippedMacroblock; ++type) EXPECT_EQ(s.byType[type], 1u) << type;
    EXPECT_EQ(s.total(), 6u);
    EXPECT_EQ(s.codedBlocks, 8u);
    EXPECT_EQ(s.vectors, 6u);
    EXPECT_DOUBLE_EQ(s.meanVectorLength(), 9.5 / 6);
}

}  // namespace
}  // namespace veltrane::tools
