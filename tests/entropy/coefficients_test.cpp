// Coefficient decoding: every TCOEF code, both escape layouts, dequantisation,
// and whole intra and inter blocks against the inverse transform of the
// coefficient block that the stream describes.
#include "entropy/coefficients.h"

#include <gtest/gtest.h>

#include <array>

#include "support/test_decoder.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"

namespace veltrane::test {
namespace {

struct Triple {
    int last, run, level;
};
using Block = std::array<int32_t, 64>;

// LAST, RUN and |LEVEL| of each TCOEF value, from the number of levels each run has.
const std::vector<Triple> kTcoefEvents = [] {
    const int levels[2][41] = {
        {12, 6, 4, 3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
        {3, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
         1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}};
    std::vector<Triple> events;
    for (int last = 0; last < 2; ++last)
        for (int run = 0; run < 41; ++run)
            for (int level = 1; level <= levels[last][run]; ++level)
                events.push_back({last, run, level});
    return events;
}();

// The coefficient block a list of events describes, in the zigzag order built by
// walking the anti-diagonals (an intra block's DC in [0]).
Block Dequantised(const std::vector<Event>& events, int quant, int scan, int32_t dc) {
    static const std::array<int, 64> zigzag = [] {
        std::array<int, 64> order{};
        int i = 0;
        for (int d = 0; d < 15; ++d)
            for (int k = 0; k <= d; ++k) {
                const int row = (d & 1) ? k : d - k;
                if (row < 8 && d - row < 8) order[i++] = 8 * row + d - row;
            }
        return order;
    }();
    Block b{};
    b[0] = dc;
    for (const Event& e : events) {
        scan += e.run;
        b[zigzag[scan++]] = DequantiseLevel(e.level, quant);
    }
    return b;
}

class Coefficients : public ::testing::Test {
protected:
    static constexpr int kStride = 16, kOffset = 2 * kStride + 4;  // an 8x8 block in 16 x 12
    static constexpr unsigned char kPixelMark = 0xEE;
    static constexpr int16_t kResidualMark = -12345;

    // Points the reader at the writer's bytes in a block of exactly their size, of
    // which the first `bits` count (all by default); clears the error and the areas.
    void Feed(const BitWriter& w, long bits = -1) {
        data_ = std::make_unique<ExactFrame>(w.bytes());
        SetFifoBuffer(fifo_, data_->data(), static_cast<int32_t>(data_->size()),
                      static_cast<uint32_t>(bits < 0 ? w.bitCount() : bits), 0);
        fifo_->error = 0;
        pixels_.fill(kPixelMark);
        residuals_.fill(kResidualMark);
    }
    void Decode(bool intra, int32_t coded, int version, int quant) {
        if (intra) {
            DecompressIntraBlock(dec_.get(), coded, fifo_, version, quant, pixels_.data() + kOffset,
                                 kStride);
        } else {
            DecompressInterBlock(dec_.get(), coded, fifo_, version, quant,
                                 residuals_.data() + kOffset, kStride);
        }
    }
    Triple ReadEvent(int version) {
        Triple e{-1, -1, -1};
        DecodeBlockCoefficients(dec_->support, fifo_, version, &e.last, &e.run, &e.level);
        return e;
    }
    // The 8x8 block equals `expected` (row-major) and nothing outside it changed.
    template <typename T, size_t N, typename U>
    static void ExpectBlock(const std::array<T, N>& area, const U* expected, T mark) {
        for (int i = 0; i < static_cast<int>(N); ++i) {
            const int r = (i - kOffset) / kStride, c = (i - kOffset) % kStride;
            const bool inside = i >= kOffset && r < 8 && c >= 0 && c < 8;
            ASSERT_EQ(area[i], inside ? static_cast<T>(expected[8 * r + c]) : mark)
                << "row " << r << " column " << c;
        }
    }

    TestDecoder dec_{16, 16};
    fifo_t* fifo_ = dec_->fifo;
    std::unique_ptr<ExactFrame> data_;
    std::array<unsigned char, kStride * 12> pixels_;
    std::array<int16_t, kStride * 12> residuals_;
};

TEST(DequantiseLevel, OddAndEvenQuantisersAndLimits) {
    const int cases[][3] = {{0, 31, 0},        {1, 10, 29},      {-1, 10, -29},    {1, 11, 33},
                            {-1, 11, -33},     {2, 2, 9},        {1, 1, 3},        {32, 31, 2015},
                            {33, 31, 2047},    {-32, 31, -2015}, {-33, 31, -2048}, {1023, 1, 2047},
                            {-1023, 1, -2047}, {-1024, 1, -2048}};
    for (const auto& c : cases)
        EXPECT_EQ(DequantiseLevel(c[0], c[1]), c[2]) << c[0] << " at " << c[1];
}

// Every code with both signs gives its LAST, RUN and LEVEL and consumes the code
// and the sign; escapes of both layouts, truncation and failed lookups.
TEST_F(Coefficients, EventsEscapesTruncationAndFailedLookups) {
    ASSERT_EQ(kTcoefEvents.size(), size_t{kTcoefEscape});
    for (int i = 0; i < kTcoefEscape; ++i) {
        for (int sign = 0; sign < 2; ++sign) {
            BitWriter w;
            w.Code(TcoefCodes, i).Put(sign, 1).Bits("1111");
            Feed(w);
            const Triple e = ReadEvent(0), t = kTcoefEvents[i];
            EXPECT_TRUE(e.last == t.last && e.run == t.run &&
                        e.level == (sign ? -t.level : t.level))
                << i;
            EXPECT_EQ(fifo_->bitPos, w.bitCount() - 4) << i;
            EXPECT_EQ(fifo_->error, 0u);
        }
    }
    const char* v0 = "0000011 1 111111 10000000";
    const char* v1Short = "0000011 0 1 000011 1000000";
    const char* v1Long = "0000011 1 1 000011 11111111111";
    const struct {
        const char* name;
        int version;
        const char* bits;
        long cut;  // bits that count, -1 for all
        Triple expected;
        uint32_t bitPos, error;
    } cases[] = {
        {"v0 escape -128", 0, v0, -1, {1, 63, -128}, 22, 0},
        {"v1 7-bit 63", 1, "0000011 0 0 111111 0111111", -1, {0, 63, 63}, 22, 0},
        {"v1 11-bit 1023", 1, "0000011 1 0 000001 01111111111", -1, {0, 1, 1023}, 26, 0},
        // Cut short: the ESCAPE code and a format bit stay consumed, nothing else.
        {"v0 one field bit short", 0, v0, 21, {0, 0, 0}, 7, kOut},
        {"v1 cut after escape", 1, v1Long, 7, {0, 0, 0}, 7, kOut},
        {"v1 7-bit one bit short", 1, v1Short, 21, {0, 0, 0}, 8, kOut},
        {"v1 11-bit with 14 field bits", 1, v1Long, 22, {0, 0, 0}, 8, kOut},
        // Sign bit missing: the code is consumed, the level stays positive.
        {"sign missing", 0, "10 1", 2, {0, 0, 1}, 2, kOut},
        // Failed lookups end the block and consume nothing.
        {"no such code", 0, "000000000 1111111", -1, {1, 0, 0}, 0, kBad},
        {"code cut", 0, "00000101 1111 0", 8, {1, 0, 0}, 0, kOut},
    };
    for (const auto& c : cases) {
        Feed(BitWriter().Bits(c.bits), c.cut);
        const Triple e = ReadEvent(c.version);
        EXPECT_TRUE(e.last == c.expected.last && e.run == c.expected.run &&
                    e.level == c.expected.level && fifo_->bitPos == c.bitPos &&
                    fifo_->error == c.error)
            << c.name << ": " << e.last << " " << e.run << " " << e.level << " at " << fifo_->bitPos
            << " error " << fifo_->error;
    }
}

// Coded and uncoded blocks against the transform of the block their events give.
// The inter cases put the last coefficient on each side of the boundaries between
// the DC-only, corner and full transforms; a too small transform drops some.
TEST_F(Coefficients, BlocksMatchTheTransformOfTheirCoefficients) {
    std::vector<Event> dense;  // a coefficient at every scan index
    for (int i = 0; i < 64; ++i) dense.push_back({0, (i * 37 % 19) - 9 + (i == 0)});
    std::vector<Event> corner;  // scan indexes 0..8 at the dequantisation limits
    for (int i = 0; i < 9; ++i) corner.push_back({0, i % 2 ? -127 : 127});
    const struct {
        const char* name;
        bool intra, coded;
        int version, quant;
        uint32_t dc;
        std::vector<Event> events;
    } cases[] = {
        {"uncoded intra, INTRADC 255 is 128", true, false, 0, 10, 255, {}},
        {"intra, last at 63", true, true, 0, 7, 30, {{5, 3}, {56, -2}}},
        {"intra dense, version 1", true, true, 1, 3, 90, {dense.begin() + 1, dense.end()}},
        {"inter DC 1023 at 1", false, true, 1, 1, 0, {{0, 1023}}},
        {"inter scan 0..8 at limits", false, true, 0, 31, 0, corner},
        {"inter scan 9", false, true, 0, 5, 0, {{0, 2}, {8, -7}}},
        {"inter dense", false, true, 0, 9, 0, dense},
        {"inter escaped level 0", false, true, 1, 12, 0, {{0, 3}, {20, 0, Event::kEscapeShort}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        BitWriter w;
        if (c.intra) w.Put(c.dc, 8);
        WriteEvents(w, c.version, c.events);
        const size_t end = w.bitCount();
        Feed(w.Bits("10 0 10 1"));  // trailing events that must not be read
        Block block = Dequantised(c.events, c.quant, c.intra ? 1 : 0,
                                  c.intra ? 8 * (c.dc == 255 ? 128 : c.dc) : 0);
        Decode(c.intra, c.coded, c.version, c.quant);
        if (c.intra) {
            std::array<unsigned char, 64> expected;
            InvDctFixedPointIntra(block.data(), expected.data(), 8);
            ExpectBlock(pixels_, expected.data(), kPixelMark);
        } else {
            std::array<int16_t, 64> expected;
            InvDctFixedPoint(block.data(), expected.data(), 8);
            ExpectBlock(residuals_, expected.data(), kResidualMark);
        }
        EXPECT_EQ(fifo_->bitPos, end);
        EXPECT_EQ(fifo_->error, 0u);
    }
}

// Data that ends early: an intra block without its INTRADC is filled with 0 (an
// event cut before its sign bit is the event test's). A run that carries the
// scan index past 63 abandons the block, leaving the destination.
TEST_F(Coefficients, TruncatedBlocksAndRunsPast63) {
    Feed(BitWriter().Put(100, 8), 7);
    Decode(true, 0, 0, 10);
    const std::array<unsigned char, 64> zeros{};
    ExpectBlock(pixels_, zeros.data(), kPixelMark);
    EXPECT_EQ(fifo_->error, uint32_t{kFifoErrorOutOfData});

    const struct {
        bool intra;
        std::vector<Event> events;
    } cases[] = {
        {true, {{40, 1}, {30, 1}}}, {false, {{63, 1}, {0, 1}}}, {false, {{10, 1}, {53, 2}}}};
    for (const auto& c : cases) {
        BitWriter w;
        if (c.intra) w.Put(77, 8);
        WriteEvents(w, 0, c.events);
        const size_t end = w.bitCount();
        Feed(w.Bits("0111 0"));
        Decode(c.intra, true, 0, 5);
        for (unsigned char p : pixels_) ASSERT_EQ(p, kPixelMark);
        for (int16_t r : residuals_) ASSERT_EQ(r, kResidualMark);
        EXPECT_EQ(fifo_->bitPos, end);
    }
}

}  // namespace
}  // namespace veltrane::test
