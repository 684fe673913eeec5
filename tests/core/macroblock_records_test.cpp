// The records of DecompressFrameRecordingMacroblocks against what the stream
// writer put into random pictures. Its pictures are the exported path's: both
// run the same picture loop, the exported one with an observer that records nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/macroblock_type.h"
#include "support/test_decoder.h"

namespace veltrane::test {
namespace {

constexpr int kWidth = 64, kHeight = 48, kMbCount = 12;

struct Written {
    Macroblock mb;
    uint32_t firstBit, bitCount;
};

// A random picture, with each macroblock's kind and bit range as written.
std::vector<uint8_t> RandomPicture(RandomStream& random, uint32_t type, uint32_t quant,
                                   std::vector<Written>* written) {
    FrameWriter frame(FieldsForSize(kWidth, kHeight, type, quant));
    written->clear();
    for (int i = 0; i < kMbCount; ++i) {
        const auto first = static_cast<uint32_t>(frame.bits().bitCount());
        const Macroblock mb = random.RandomMacroblock(type != 0);
        frame.Add(mb);
        written->push_back({mb, first, static_cast<uint32_t>(frame.bits().bitCount()) - first});
    }
    return frame.Bytes();
}

TEST(MacroblockRecords, DescribeWhatWasWritten) {
    RandomStream random(2024);
    TestDecoder recording(kWidth, kHeight);
    std::vector<Written> written;
    std::vector<MacroblockRecord> records;
    for (int picture = 0; picture < 12; ++picture) {
        const uint32_t type = picture % 6 == 0 ? 0 : 1 + picture % 2, quant = 2 + picture;
        const std::vector<uint8_t> frame = RandomPicture(random, type, quant, &written);
        // Every fourth picture is cut inside its fifth macroblock.
        const bool cut = picture % 4 == 3;
        const size_t size = cut ? (written[4].firstBit + written[4].bitCount / 2) / 8 : SIZE_MAX;
        SCOPED_TRACE(testing::Message() << "picture " << picture << (cut ? " (cut)" : ""));
        ASSERT_EQ(recording.Decode(frame, size, &records) != 0, cut);
        ASSERT_EQ(records.size(), size_t{kMbCount});

        int runningQuant = static_cast<int>(quant);
        for (int i = 0; i < kMbCount && !cut; ++i) {
            const Macroblock& mb = written[static_cast<size_t>(i)].mb;
            const MacroblockRecord& r = records[static_cast<size_t>(i)];
            SCOPED_TRACE(testing::Message() << "macroblock " << i);
            static const int kDquant[4] = {-1, -2, 1, 2};
            if (mb.HasDquant()) runningQuant = std::clamp(runningQuant + kDquant[mb.dquant], 1, 31);
            EXPECT_FALSE(r.damaged);
            EXPECT_EQ(r.skipped, mb.kind == Macroblock::kSkip);
            EXPECT_EQ(r.type, mb.Type());
            EXPECT_EQ(r.quantiser, runningQuant);
            EXPECT_EQ(r.firstBit, written[static_cast<size_t>(i)].firstBit);
            EXPECT_EQ(r.bitCount, written[static_cast<size_t>(i)].bitCount);
            EXPECT_EQ(r.codedBlocks,
                      mb.kind == Macroblock::kSkip ? 0 : mb.LumaBits() | mb.Cbpc() << 4);
            const macroblockvec_t& v = recording->mbVectors[i];
            for (int k = 0; k < 4; ++k) {
                const int from = r.type == kMacroblockInter4V ? k : 0;
                const bool moves = type != 0 && !IsIntraMacroblock(r.type);
                EXPECT_EQ(r.vectors[k].x, moves ? v.vectors[from].x : 0);
                EXPECT_EQ(r.vectors[k].y, moves ? v.vectors[from].y : 0);
            }
        }
        // In a cut picture the macroblocks that end before the cut are intact, the rest damaged.
        for (size_t i = 0; i < kMbCount && cut; ++i) {
            const bool beyond = written[i].firstBit + written[i].bitCount > size * 8;
            EXPECT_EQ(records[i].damaged, beyond) << "macroblock " << i;
        }
    }
}

}  // namespace
}  // namespace veltrane::test
