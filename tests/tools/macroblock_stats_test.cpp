#include "macroblock_stats.h"

#include <gtest/gtest.h>

#include "core/picture_header.h"
#include "encoded_stream.h"
#include "host_allocator.h"
#include "veltrane/session.h"

namespace veltrane::tools {
namespace {

using test::Config;
using test::EncodeTestPattern;

class MacroblockStatsTest : public ::testing::Test {
protected:
    void SetUp() override {
        session_ = static_cast<DecompressSession_t*>(DecompressOpen(16, 16, allocator_.get()));
        ASSERT_NE(session_, nullptr);
    }
    void TearDown() override { DecompressClose(session_); }

    MacroblockStats Walk(const std::vector<uint8_t>& frame) {
        fifo_t* fifo = session_->decoder->fifo;
        PictureHeader_t header;
        EXPECT_EQ(CheckFrameStart(fifo, frame.data(), static_cast<int64_t>(frame.size()), &header),
                  0);
        EXPECT_EQ(GetLastFifoError(fifo), 0u);
        return MacroblockWalker(session_->decoder).Walk(fifo, header);
    }

    HostAllocator allocator_;
    DecompressSession_t* session_ = nullptr;
};

// A 16 x 16 intra picture of one macroblock: MCBPC 1, CBPY with no coded block,
// six INTRADC values; then the same after a stuffing code.
TEST_F(MacroblockStatsTest, HandMadeIntraPictures) {
    for (const std::vector<uint8_t>& frame :
         {std::vector<uint8_t>{0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0xA6, 0x64, 0x78, 0x8C,
                               0xA0, 0xC9, 0x90},
          std::vector<uint8_t>{0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0x80, 0x33, 0x32, 0x3C,
                               0x46, 0x50, 0x64, 0xC8}}) {
        const MacroblockStats s = Walk(frame);
        EXPECT_EQ(s.status, 0);
        EXPECT_EQ(s.byType[3], 1u);
        EXPECT_EQ(s.total(), 1u);
        EXPECT_EQ(s.codedBlocks, 0u);
    }
    // Cut inside the INTRADC values: the walk reports running out of data.
    EXPECT_EQ(Walk({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0xA6, 0x64}).status,
              kStatusOutOfData);
}

TEST_F(MacroblockStatsTest, SkippedMacroblockInAPPicture) {
    const MacroblockStats s = Walk({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x20, 0xA0});
    EXPECT_EQ(s.status, 0);
    EXPECT_EQ(s.skipped(), 1u);
    EXPECT_EQ(s.vectors, 0u);
}

TEST_F(MacroblockStatsTest, EncodedStreamsAddUpToTheMacroblockGrid) {
    enc::EncoderConfig config = Config(100, 60);  // 7 x 4 macroblocks
    config.version = 1;
    config.disposable = true;
    config.gopLength = 5;
    uint32_t vectors = 0, coded = 0, intraInP = 0;
    for (const auto& picture : EncodeTestPattern(config, 8)) {
        const MacroblockStats s = Walk(picture.frame.data);
        EXPECT_EQ(s.status, 0);
        EXPECT_EQ(s.total(), 28u);
        if (picture.frame.pictureType == 0) {
            EXPECT_EQ(s.byType[3] + s.byType[4], 28u);
        } else {
            intraInP += s.byType[3] + s.byType[4];
        }
        vectors += s.vectors;
        coded += s.codedBlocks;
        EXPECT_LE(s.meanVectorLength(), 16 * 1.415);
    }
    EXPECT_GT(vectors, 0u);  // the pattern moves
    EXPECT_GT(coded, 0u);
    EXPECT_LT(intraInP, 6u * 28);
}

TEST_F(MacroblockStatsTest, AStillPictureIsSkippedEntirely) {
    const auto stream = EncodeTestPattern(Config(48, 32), 3, /*still=*/true);
    const MacroblockStats s = Walk(stream[2].frame.data);
    EXPECT_EQ(s.status, 0);
    EXPECT_EQ(s.skipped(), 6u);
}

}  // namespace
}  // namespace veltrane::tools
