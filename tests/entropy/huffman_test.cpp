// Decode trees: every code of every table, the format's example codes and bit
// patterns that begin no code. A build that runs out of memory is among the
// failing allocations of the session tests.
#include "entropy/huffman.h"

#include <gtest/gtest.h>

#include <vector>

#include "entropy/code_tables.h"
#include "support/bit_writer.h"
#include "support/test_allocator.h"
#include "veltrane/entropy.h"
#include "veltrane/support.h"

namespace {

using veltrane::test::BitWriter;
using veltrane::test::TestAllocator;

const int16_t* const kTables[5] = {veltrane::McbpcIntraCodes, veltrane::McbpcInterCodes,
                                   veltrane::CbpyCodes, veltrane::MvdCodes, veltrane::TcoefCodes};

// A decoder record that supplies only memory services, as the builder needs.
class TreeTest : public ::testing::Test {
protected:
    TreeTest() : support_(&allocator_) { decoder_.support = &support_; }
    ~TreeTest() override { EXPECT_EQ(allocator_.liveBlocks(), 0u); }

    const HuffDecodeEntry_t* Build(const int16_t* table) {
        void* root = nullptr;
        EXPECT_EQ(BuildHuffDecodeTable(&decoder_, table, &root), 0);
        roots_.push_back(root);
        return static_cast<const HuffDecodeEntry_t*>(root);
    }
    void TearDown() override {
        for (void* root : roots_) FreeHuffDecodeTable(&decoder_, root);
    }

    TestAllocator allocator_;
    CVeltraneSupport support_;
    DecodeInstance_t decoder_{};
    std::vector<void*> roots_;
};

struct Lookup {
    bool ok;
    int32_t value;
    uint32_t bitPos;
    uint32_t error;
};

Lookup Decode(const HuffDecodeEntry_t* tree, const std::vector<unsigned char>& bytes,
              uint32_t bitCount, uint32_t start = 0) {
    std::vector<unsigned char> exact(bytes);
    exact.shrink_to_fit();
    fifo_t fifo{};
    SetFifoBuffer(&fifo, exact.data(), static_cast<int32_t>(exact.size()), bitCount, start);
    Lookup l{};
    l.ok = veltrane::HuffDecodeSymbol(&fifo, tree, &l.value);
    l.bitPos = fifo.bitPos;
    l.error = fifo.error;
    return l;
}

// Every code of every table, at every bit offset and as the very last bits of a
// frame, decodes back to its value and consumes exactly its length.
TEST_F(TreeTest, EveryCodeDecodesToItsValue) {
    for (const int16_t* table : kTables) {
        const HuffDecodeEntry_t* tree = Build(table);
        for (int i = 0; i < table[0]; ++i) {
            const int value = table[1] + i;
            const int length = table[2 + 2 * i];
            for (int offset = 0; offset < 8; ++offset) {
                BitWriter w;
                w.Put(0x5A, offset).Code(table, value);
                const uint32_t end = static_cast<uint32_t>(w.bitCount());
                Lookup l = Decode(tree, w.bytes(), end, static_cast<uint32_t>(offset));
                ASSERT_TRUE(l.ok) << value;
                EXPECT_EQ(l.value, value);
                EXPECT_EQ(l.bitPos, static_cast<uint32_t>(offset + length));
                // One bit short: out of data, nothing consumed.
                Lookup cut = Decode(tree, w.bytes(), end - 1, static_cast<uint32_t>(offset));
                EXPECT_FALSE(cut.ok);
                EXPECT_EQ(cut.error, uint32_t{kFifoErrorOutOfData});
                EXPECT_EQ(cut.bitPos, static_cast<uint32_t>(offset));
            }
        }
    }
}

// The format's example codes; bit patterns that begin no code are reported as
// such (kNoCode), even where the frame ends, and consume nothing.
TEST_F(TreeTest, ExampleCodesAndBitsThatBeginNoCode) {
    constexpr int32_t kNoCode = 999;
    const HuffDecodeEntry_t* mvd = Build(veltrane::MvdCodes);
    const HuffDecodeEntry_t* tcoef = Build(veltrane::TcoefCodes);
    const HuffDecodeEntry_t* intra = Build(veltrane::McbpcIntraCodes);
    const HuffDecodeEntry_t* inter = Build(veltrane::McbpcInterCodes);
    const HuffDecodeEntry_t* cbpy = Build(veltrane::CbpyCodes);
    const struct {
        const HuffDecodeEntry_t* tree;
        const char* bits;
        int32_t value;
    } cases[] = {{mvd, "1", 0},
                 {mvd, "010", 1},
                 {mvd, "011", -1},
                 {mvd, "0000000000101", -32},
                 {mvd, "0000000000110", 31},
                 {tcoef, "10", 0},
                 {tcoef, "0000011", 102},
                 {tcoef, "0111", 58},
                 {intra, "000000001", 8},
                 {inter, "000000001", 20},
                 {cbpy, "00000000 11111111", kNoCode},
                 {intra, "00000000 00000000", kNoCode},
                 {intra, "00000000", kNoCode}};
    for (const auto& c : cases) {
        BitWriter w;
        w.Bits(c.bits);
        Lookup l = Decode(c.tree, w.bytes(), static_cast<uint32_t>(w.bitCount()));
        const bool ok = c.value != kNoCode;
        EXPECT_EQ(l.ok, ok) << c.bits;
        EXPECT_EQ(ok ? l.value : kNoCode, c.value) << c.bits;
        EXPECT_EQ(l.bitPos, ok ? w.bitCount() : 0u) << c.bits;
        EXPECT_EQ(l.error, ok ? 0u : uint32_t{kFifoErrorBadCode}) << c.bits;
    }
}

}  // namespace
