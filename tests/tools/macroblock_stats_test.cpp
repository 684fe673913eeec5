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

// Hand-made 16 x 16 pictures of one macroblock. Intra: MCBPC 1, CBPY with no
// coded block, six INTRADC values (then the same after a stuffing code, and cut
// inside the INTRADC values). P: one skipped macroblock.
TEST_F(MacroblockStatsTest, HandMadePictures) {
    const struct {
        std::vector<uint8_t> frame;
        int32_t status;
        uint32_t intra, skipped;
    } cases[] = {
        {{0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0xA6, 0x64, 0x78, 0x8C, 0xA0, 0xC9, 0x90}, 0, 1,
         0},
        {{0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0x80, 0x33, 0x32, 0x3C, 0x46, 0x50, 0x64, 0xC8},
         0, 1, 0},
        {{0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0xA6, 0x64}, kStatusOutOfData, 0, 0},
        {{0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x20, 0xA0}, 0, 0, 1},
    };
    for (const auto& c : cases) {
        const MacroblockStats s = Walk(c.frame);
        EXPECT_EQ(s.status, c.status);
        if (c.status != 0) continue;
        EXPECT_EQ(s.byType[3], c.intra);
        EXPECT_EQ(s.skipped(), c.skipped);
        EXPECT_EQ(s.total(), 1u);
        EXPECT_EQ(s.codedBlocks + s.vectors, 0u);
    }
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
    // A picture that does not change is skipped entirely.
    EXPECT_EQ(Walk(EncodeTestPattern(Config(48, 32), 2, /*still=*/true)[1].frame.data).skipped(),
              6u);
}

}  // namespace
}  // namespace veltrane::tools
