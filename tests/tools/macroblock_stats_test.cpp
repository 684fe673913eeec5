#include "macroblock_stats.h"

#include <gtest/gtest.h>

#include "core/macroblock_type.h"
#include "encoded_stream.h"
#include "host_allocator.h"

namespace veltrane::tools {
namespace {

using test::Config;
using test::EncodeTestPattern;

// The decoder's records of what it read agree with what the encoder chose, per
// picture and macroblock type.
TEST(MacroblockStatsTest, AgreeWithTheEncodersChoicesPerPicture) {
    enc::EncoderConfig config = Config(100, 60);  // 7 x 4 macroblocks
    config.version = 1;
    config.disposable = true;
    config.gopLength = 5;
    HostAllocator allocator;
    MacroblockStatsCollector collector(&allocator);
    ASSERT_TRUE(collector.Open(100, 60));
    uint32_t vectors = 0, coded = 0;
    for (const auto& picture : EncodeTestPattern(config, 8)) {
        const MacroblockStats s = collector.Collect(
            picture.frame.data.data(), static_cast<uint32_t>(picture.frame.data.size()));
        const enc::EncoderStats& e = picture.frame.stats;
        ASSERT_EQ(s.status, 0);
        EXPECT_EQ(s.byType[kMacroblockIntra], e.intra);
        EXPECT_EQ(s.byType[kMacroblockIntraQ], e.intraQ);
        EXPECT_EQ(s.byType[kMacroblockInter], e.inter);
        EXPECT_EQ(s.byType[kMacroblockInterQ], e.interQ);
        EXPECT_EQ(s.byType[kMacroblockInter4V], e.inter4v);
        EXPECT_EQ(s.skipped(), e.skipped);
        EXPECT_EQ(s.total(), 28u);
        EXPECT_LE(s.meanVectorLength(), 16 * 1.415);
        vectors += s.vectors;
        coded += s.codedBlocks;
    }
    EXPECT_GT(vectors, 0u);  // the pattern moves
    EXPECT_GT(coded, 0u);
}

TEST(MacroblockStatsTest, CountBlocksAndVectorLengthsOfTheRecords) {
    std::vector<MacroblockRecord> records(3, MacroblockRecord{});
    records[0].type = kMacroblockInter4V;  // four vectors of 5, 0, 0 and 2.5 pixels
    records[0].vectors[0] = {6, 8};
    records[0].vectors[3] = {-3, 4};
    records[0].codedBlocks = 0x31;
    records[1].type = kMacroblockIntra;
    records[1].codedBlocks = 0x0F;
    records[1].vectors[0] = {10, 10};  // intra: never counted as a vector
    records[2].skipped = true;
    const MacroblockStats s = SummariseMacroblocks(records);
    EXPECT_EQ(s.byType[kMacroblockInter4V], 1u);
    EXPECT_EQ(s.byType[kMacroblockIntra], 1u);
    EXPECT_EQ(s.skipped(), 1u);
    EXPECT_EQ(s.codedBlocks, 7u);
    EXPECT_EQ(s.vectors, 4u);
    EXPECT_DOUBLE_EQ(s.meanVectorLength(), 7.5 / 4);
}

}  // namespace
}  // namespace veltrane::tools
