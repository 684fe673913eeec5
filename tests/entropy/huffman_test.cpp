// Decode trees, as a decoder builds them when it opens: every code of every
// table, the format's example codes and bit patterns that begin no code. A build
// that runs out of memory is among the failing allocations of the plug-in host test.
#include "entropy/huffman.h"

#include <gtest/gtest.h>

#include "entropy/flat_code_tables.h"
#include "support/test_decoder.h"
#include "veltrane/support.h"

namespace veltrane::test {
namespace {

// The code tables in the order of the decoder's trees (CodeTableIndex).
const int16_t* const kTables[kCodeTableCount] = {McbpcIntraCodes, McbpcInterCodes, CbpyCodes,
                                                 MvdCodes, TcoefCodes};

struct Lookup {
    bool ok;
    int32_t value;
    uint32_t bitPos;
    uint32_t error;
};

// Looks up a code in tree `table` of `dec` at bit `start` of the writer's bytes,
// of which the first `bitCount` count.
Lookup Decode(const TestDecoder& dec, int table, const BitWriter& w, uint32_t bitCount,
              uint32_t start = 0) {
    const ExactFrame frame(w.bytes());
    fifo_t fifo{};
    SetFifoBuffer(&fifo, frame.data(), static_cast<int32_t>(frame.size()), bitCount, start);
    Lookup l{};
    l.ok = HuffDecodeSymbol(
        &fifo, static_cast<const HuffDecodeEntry_t*>(dec->support->codeTables[table]), &l.value);
    l.bitPos = fifo.bitPos;
    l.error = fifo.error;
    return l;
}

// Every code of every table, at every bit offset and as the very last bits of a
// frame, decodes back to its value and consumes exactly its length.
TEST(DecodeTree, EveryCodeDecodesToItsValue) {
    TestDecoder dec(16, 16);
    for (int t = 0; t < kCodeTableCount; ++t) {
        const int16_t* table = kTables[t];
        for (int i = 0; i < table[0]; ++i) {
            const int value = table[1] + i;
            const int length = table[2 + 2 * i];
            for (int offset = 0; offset < 8; ++offset) {
                BitWriter w;
                w.Put(0x5A, offset).Code(table, value);
                const uint32_t end = static_cast<uint32_t>(w.bitCount());
                Lookup l = Decode(dec, t, w, end, static_cast<uint32_t>(offset));
                ASSERT_TRUE(l.ok) << value;
                EXPECT_EQ(l.value, value);
                EXPECT_EQ(l.bitPos, static_cast<uint32_t>(offset + length));
                // One bit short: out of data, nothing consumed.
                Lookup cut = Decode(dec, t, w, end - 1, static_cast<uint32_t>(offset));
                EXPECT_FALSE(cut.ok);
                EXPECT_EQ(cut.error, uint32_t{kFifoErrorOutOfData});
                EXPECT_EQ(cut.bitPos, static_cast<uint32_t>(offset));
            }
        }
    }
}

// The format's example codes; bit patterns that begin no code are reported as
// such (kNoCode), even where the frame ends, and consume nothing.
TEST(DecodeTree, ExampleCodesAndBitsThatBeginNoCode) {
    constexpr int32_t kNoCode = 999;
    TestDecoder dec(16, 16);
    const struct {
        int tree;
        const char* bits;
        int32_t value;
    } cases[] = {{kMvdTable, "1", 0},
                 {kMvdTable, "011", -1},
                 {kMvdTable, "0000000000101", -32},
                 {kTcoefTable, "0000011", 102},
                 {kTcoefTable, "0111", 58},
                 {kMcbpcIntraTable, "000000001", 8},
                 {kMcbpcInterTable, "000000001", 20},
                 {kCbpyTable, "00000000 11111111", kNoCode},
                 {kMcbpcIntraTable, "00000000 00000000", kNoCode},
                 {kMcbpcIntraTable, "00000000", kNoCode}};
    for (const auto& c : cases) {
        const BitWriter w = BitWriter().Bits(c.bits);
        Lookup l = Decode(dec, c.tree, w, static_cast<uint32_t>(w.bitCount()));
        const bool ok = c.value != kNoCode;
        EXPECT_EQ(l.ok, ok) << c.bits;
        EXPECT_EQ(ok ? l.value : kNoCode, c.value) << c.bits;
        EXPECT_EQ(l.bitPos, ok ? w.bitCount() : 0u) << c.bits;
        EXPECT_EQ(l.error, ok ? 0u : uint32_t{kFifoErrorBadCode}) << c.bits;
    }
}

// The picture loop's tables of whole macroblock headers and of vector difference
// pairs agree with the trees code by code, and leave out only what does not fit.
TEST(DecodeTree, CombinedLookupsAgreeWithTheTrees) {
    TestDecoder dec(16, 16);
    for (uint32_t i = 0; i < (1u << kInterHeaderBits); ++i) {
        const uint32_t n = kInterHeaderBits;
        BitWriter w;
        w.Put(i, static_cast<int>(n));
        uint32_t expected = 1;  // COD 1: skipped
        if ((i >> (n - 1)) == 0) {
            const Lookup mcbpc = Decode(dec, kMcbpcInterTable, w, n, 1);
            const Lookup cbpy = Decode(dec, kCbpyTable, w, n, mcbpc.bitPos);
            const bool fits = mcbpc.ok && mcbpc.value != kMcbpcInterStuffing && cbpy.ok;
            expected = fits ? cbpy.bitPos | static_cast<uint32_t>(mcbpc.value) << 4 |
                                  static_cast<uint32_t>(cbpy.value) << 9
                            : 0;
        }
        EXPECT_EQ(kInterHeaders.headers[i], expected) << i;
    }
    for (uint32_t i = 0; i < (1u << kMvdPairBits); ++i) {
        const uint32_t n = kMvdPairBits;
        BitWriter w;
        w.Put(i, static_cast<int>(n));
        const Lookup x = Decode(dec, kMvdTable, w, n);
        const Lookup y = Decode(dec, kMvdTable, w, n, x.bitPos);
        const uint32_t expected = x.ok && y.ok
                                      ? y.bitPos | static_cast<uint32_t>(x.value + 32) << 4 |
                                            static_cast<uint32_t>(y.value + 32) << 10
                                      : 0;
        EXPECT_EQ(kMvdPairs.pairs[i], expected) << i;
    }
}

}  // namespace
}  // namespace veltrane::test
