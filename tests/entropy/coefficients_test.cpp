// Coefficient decoding: TCOEF events and both escape layouts, dequantisation, and
// whole intra and inter blocks compared with the inverse transform of the
// coefficient block that the stream describes.
#include "entropy/coefficients.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "entropy/code_tables.h"
#include "support/bit_writer.h"
#include "support/test_allocator.h"
#include "veltrane/decoder.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"

namespace {

using veltrane::test::BitWriter;

struct Event {
    int last, run, level;
};
using Block = std::array<int32_t, 64>;

// LAST, RUN and |LEVEL| of each TCOEF value, from the number of levels each run has.
const std::vector<Event>& TcoefEvents() {
    static const std::vector<Event> events = [] {
        const int levels[2][41] = {
            {12, 6, 4, 3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
            {3, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
             1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}};
        std::vector<Event> e;
        for (int last = 0; last < 2; ++last)
            for (int run = 0; run < 41; ++run)
                for (int level = 1; level <= levels[last][run]; ++level)
                    e.push_back({last, run, level});
        return e;
    }();
    return events;
}

// Writes one event: its own code and sign where the table has one, else an escape
// (version 1: 7-bit level where it fits, else 11-bit).
void PutEvent(BitWriter& w, const Event& e, int version) {
    const std::vector<Event>& table = TcoefEvents();
    for (size_t i = 0; i < table.size(); ++i) {
        if (table[i].last == e.last && table[i].run == e.run &&
            table[i].level == std::abs(e.level)) {
            w.Code(veltrane::TcoefCodes, static_cast<int>(i)).Put(e.level < 0, 1);
            return;
        }
    }
    w.Code(veltrane::TcoefCodes, veltrane::kTcoefEscape);
    int bits = 8;
    if (version == 1) {
        bits = (e.level >= -64 && e.level < 64) ? 7 : 11;
        w.Put(bits == 11, 1);
    }
    w.Put(e.last, 1).Put(e.run, 6).Put(static_cast<uint32_t>(e.level) & ((1u << bits) - 1), bits);
}

// The coefficient block a list of events describes, zigzag order built by walking
// the anti-diagonals (DC of an intra block in [0]).
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
        b[zigzag[scan++]] = veltrane::DequantiseLevel(e.level, quant);
    }
    return b;
}

class Coefficients : public ::testing::Test {
protected:
    static constexpr int kStride = 16;
    static constexpr int kOffset = 2 * kStride + 4;  // block origin inside a 16 x 12 area
    static constexpr unsigned char kPixelMark = 0xEE;
    static constexpr int16_t kResidualMark = -12345;

    void SetUp() override {
        ASSERT_EQ(H263DecompressOpen(&handle_, 16, 16, &allocator_), 0);
        decoder_ = static_cast<DecodeInstance_t*>(handle_);
        fifo_ = decoder_->fifo;
    }
    void TearDown() override {
        H263DecompressClose(handle_);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
    }

    // Points the reader at a copy of the writer's bytes of exactly their size, of
    // which the first `bits` count (all by default); clears the error and the areas.
    void Feed(const BitWriter& w, long bits = -1) {
        data_.reset(new unsigned char[w.bytes().size()]);
        std::copy(w.bytes().begin(), w.bytes().end(), data_.get());
        SetFifoBuffer(fifo_, data_.get(), static_cast<int32_t>(w.bytes().size()),
                      static_cast<uint32_t>(bits < 0 ? w.bitCount() : bits), 0);
        fifo_->error = 0;
        pixels_.fill(kPixelMark);
        residuals_.fill(kResidualMark);
    }
    void Decode(bool intra, int32_t coded, int version, int quant) {
        if (intra)
            DecompressIntraBlock(decoder_, coded, fifo_, version, quant, pixels_.data() + kOffset,
                                 kStride);
        else
            DecompressInterBlock(decoder_, coded, fifo_, version, quant,
                                 residuals_.data() + kOffset, kStride);
    }
    static bool Inside(int i) {
        const int r = (i - kOffset) / kStride, c = (i - kOffset) % kStride;
        return i >= kOffset && r < 8 && c >= 0 && c < 8;
    }
    // Checks the 8x8 block against `expected` (row-major, 8 wide) and that nothing
    // outside it was written.
    template <typename T, size_t N, typename U>
    static void ExpectBlock(const std::array<T, N>& area, const U* expected, T mark) {
        for (int i = 0; i < static_cast<int>(N); ++i) {
            const int r = (i - kOffset) / kStride, c = (i - kOffset) % kStride;
            ASSERT_EQ(area[i], Inside(i) ? static_cast<T>(expected[8 * r + c]) : mark)
                << "row " << r << " column " << c;
        }
    }

    veltrane::test::TestAllocator allocator_;
    void* handle_ = nullptr;
    DecodeInstance_t* decoder_ = nullptr;
    fifo_t* fifo_ = nullptr;
    std::unique_ptr<unsigned char[]> data_;
    std::array<unsigned char, kStride * 12> pixels_;
    std::array<int16_t, kStride * 12> residuals_;
};

TEST(DequantiseLevel, OddAndEvenQuantisersAndLimits) {
    const struct {
        int level, quant;
        int32_t expected;
    } cases[] = {{0, 31, 0},        {1, 10, 29},      {-1, 10, -29},    {1, 11, 33},
                 {-1, 11, -33},     {2, 2, 9},        {1, 1, 3},        {32, 31, 2015},
                 {33, 31, 2047},    {-32, 31, -2015}, {-33, 31, -2048}, {1023, 1, 2047},
                 {-1023, 1, -2047}, {-1024, 1, -2048}};
    for (const auto& c : cases)
        EXPECT_EQ(veltrane::DequantiseLevel(c.level, c.quant), c.expected)
            << c.level << " at " << c.quant;
}

// Every non-escape code with both signs gives its LAST, RUN and LEVEL and consumes
// the code and the sign bit; escapes of both layouts, truncation, a missing sign
// bit and failed lookups.
TEST_F(Coefficients, EventsEscapesTruncationAndFailedLookups) {
    const std::vector<Event>& table = TcoefEvents();
    ASSERT_EQ(table.size(), 102u);
    for (int i = 0; i < 102; ++i) {
        for (int sign = 0; sign < 2; ++sign) {
            BitWriter w;
            w.Code(veltrane::TcoefCodes, i).Put(sign, 1).Bits("1111");
            Feed(w);
            Event e{-1, -1, -1};
            veltrane::DecodeBlockCoefficients(decoder_->support, fifo_, 0, &e.last, &e.run,
                                              &e.level);
            EXPECT_TRUE(e.last == table[i].last && e.run == table[i].run &&
                        e.level == (sign ? -table[i].level : table[i].level))
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
        Event expected;
        uint32_t bitPos, error;
    } cases[] = {
        {"v0 escape -128", 0, v0, -1, {1, 63, -128}, 22, 0},
        {"v1 7-bit -64", 1, v1Short, -1, {1, 3, -64}, 22, 0},
        {"v1 7-bit 63", 1, "0000011 0 0 111111 0111111", -1, {0, 63, 63}, 22, 0},
        {"v1 11-bit -1", 1, v1Long, -1, {1, 3, -1}, 26, 0},
        {"v1 11-bit 1023", 1, "0000011 1 0 000001 01111111111", -1, {0, 1, 1023}, 26, 0},
        // Cut short: the ESCAPE code and a format bit stay consumed, nothing else.
        {"v0 one field bit short", 0, v0, 21, {0, 0, 0}, 7, 4},
        {"v1 cut after escape", 1, v1Long, 7, {0, 0, 0}, 7, 4},
        {"v1 7-bit one bit short", 1, v1Short, 21, {0, 0, 0}, 8, 4},
        {"v1 11-bit one bit short", 1, v1Long, 25, {0, 0, 0}, 8, 4},
        {"v1 11-bit with 14 field bits", 1, v1Long, 22, {0, 0, 0}, 8, 4},
        // Sign bit missing: the code is consumed, the level stays positive.
        {"sign missing", 0, "10 1", 2, {0, 0, 1}, 2, 4},
        // Failed lookups end the block and consume nothing.
        {"no such code", 0, "000000000 1111111", -1, {1, 0, 0}, 0, 12},
        {"code cut", 0, "00000101 1111 0", 8, {1, 0, 0}, 0, 4},
    };
    for (const auto& c : cases) {
        BitWriter w;
        w.Bits(c.bits);
        Feed(w, c.cut);
        Event e{-1, -1, -1};
        veltrane::DecodeBlockCoefficients(decoder_->support, fifo_, c.version, &e.last, &e.run,
                                          &e.level);
        EXPECT_TRUE(e.last == c.expected.last && e.run == c.expected.run &&
                    e.level == c.expected.level && fifo_->bitPos == c.bitPos &&
                    fifo_->error == c.error)
            << c.name << ": " << e.last << " " << e.run << " " << e.level << " at " << fifo_->bitPos
            << " error " << fifo_->error;
    }
}

// Coded and uncoded blocks of both kinds against the transform of the block their
// events give. The inter cases place the last coefficient on each side of the
// boundaries between the DC-only, corner and full transforms; a too small
// transform drops coefficients.
TEST_F(Coefficients, BlocksMatchTheTransformOfTheirCoefficients) {
    std::vector<Event> dense;  // a coefficient at every scan index, LAST at 63
    for (int i = 0; i < 64; ++i) dense.push_back({i == 63, 0, (i * 37 % 19) - 9 + (i == 0)});
    std::vector<Event> corner;  // scan indexes 0..8 at the dequantisation limits
    for (int i = 0; i < 9; ++i) corner.push_back({i == 8, 0, i % 2 ? -127 : 127});
    const struct {
        const char* name;
        bool intra, coded;
        int version, quant;
        uint32_t dc;
        std::vector<Event> events;
    } cases[] = {
        {"uncoded intra, INTRADC 255 is 128", true, false, 0, 10, 255, {}},
        {"intra, INTRADC 255 is 128", true, true, 0, 10, 255, {{0, 0, 2}, {1, 3, -1}}},
        {"intra, last at 63", true, true, 0, 7, 30, {{0, 5, 3}, {1, 56, -2}}},
        {"intra dense, version 1", true, true, 1, 3, 90, {dense.begin() + 1, dense.end()}},
        {"inter DC 1023 at 1", false, true, 1, 1, 0, {{1, 0, 1023}}},
        {"inter scan 1 alone", false, true, 0, 4, 0, {{1, 1, 6}}},
        {"inter scan 0..8 at limits", false, true, 0, 31, 0, corner},
        {"inter scan 9", false, true, 0, 5, 0, {{0, 0, 2}, {1, 8, -7}}},
        {"inter scan 10", false, true, 0, 5, 0, {{1, 10, 9}}},
        {"inter dense", false, true, 0, 9, 0, dense},
        {"inter escaped level 0", false, true, 1, 12, 0, {{0, 0, 3}, {1, 20, 0}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        BitWriter w;
        if (c.intra) w.Put(c.dc, 8);
        for (const Event& e : c.events) PutEvent(w, e, c.version);
        const size_t end = w.bitCount();
        w.Bits("10 0 10 1");  // trailing events that must not be read
        Feed(w);
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

// Data that ends early: an intra block without its INTRADC is filled with 0; an
// inter block cut before its sign bit keeps its positive level and ends.
TEST_F(Coefficients, TruncatedBlocks) {
    BitWriter w;
    Feed(w.Put(100, 8), 7);
    Decode(true, 0, 0, 10);
    const std::array<unsigned char, 64> zeros{};
    ExpectBlock(pixels_, zeros.data(), kPixelMark);
    EXPECT_EQ(fifo_->bitPos, 0u);
    EXPECT_EQ(fifo_->error, 4u);

    BitWriter v;
    Feed(v.Bits("10"));
    Decode(false, 1, 0, 10);
    Block block{29};
    std::array<int16_t, 64> expected;
    InvDctFixedPoint(block.data(), expected.data(), 8);
    ExpectBlock(residuals_, expected.data(), kResidualMark);
    EXPECT_EQ(fifo_->bitPos, 2u);
    EXPECT_NE(fifo_->error, 0u);
}

// A run that carries the scan index past 63 abandons the block: the destination
// keeps its content and reading stops behind that event. An uncoded inter block
// reads and writes nothing.
TEST_F(Coefficients, RunPast63AndUncodedInterLeaveTheDestination) {
    const struct {
        const char* name;
        bool intra, coded;
        std::vector<Event> events;
    } cases[] = {
        {"intra, after a coefficient", true, true, {{0, 40, 1}, {1, 30, 1}}},
        {"inter, after a coefficient at 63", false, true, {{0, 63, 1}, {0, 0, 1}}},
        {"inter, runs add up", false, true, {{0, 10, 1}, {1, 53, 2}}},
        {"uncoded inter", false, false, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        BitWriter w;
        if (c.intra) w.Put(77, 8);
        for (const Event& e : c.events) PutEvent(w, e, 0);
        const size_t end = w.bitCount();
        w.Bits("0111 0");
        Feed(w);
        Decode(c.intra, c.coded, 0, 5);
        for (unsigned char p : pixels_) ASSERT_EQ(p, kPixelMark);
        for (int16_t r : residuals_) ASSERT_EQ(r, kResidualMark);
        EXPECT_EQ(fifo_->bitPos, end);
    }
}

// Random data, intra and inter, never makes a block write outside its 8x8 area or
// read past the frame (the buffer is exactly as large as the frame).
TEST_F(Coefficients, RandomDataStaysInBounds) {
    uint32_t seed = 12345;
    auto next = [&seed] { return (seed = seed * 1103515245u + 12345u) >> 16; };
    for (int round = 0; round < 400; ++round) {
        BitWriter w;
        for (int i = 1 + next() % 24; i > 0; --i) w.Put(next() & 0xFF, 8);
        Feed(w, static_cast<long>(w.bitCount() - next() % 8));
        Decode(round & 1, 1, next() & 1, 1 + next() % 31);
        ASSERT_LE(fifo_->bitPos, fifo_->bitCount);
        for (int i = 0; i < static_cast<int>(pixels_.size()); ++i)
            ASSERT_TRUE(Inside(i) || (pixels_[i] == kPixelMark && residuals_[i] == kResidualMark));
    }
}

TEST(BlockFills, FillTheBlockOnly) {
    auto inside = [](int i) { return i / 12 >= 1 && i / 12 < 9 && i % 12 >= 2 && i % 12 < 10; };
    std::array<unsigned char, 120> pixels;
    pixels.fill(1);
    SetCurrfrmMean(pixels.data() + 14, 12, 200);
    for (int i = 0; i < 120; ++i) ASSERT_EQ(pixels[i], inside(i) ? 200 : 1) << i;
    for (const auto& [value, stored] :
         {std::pair{300, 300}, {65535, -1}, {32768, -32768}, {0, 0}}) {
        std::array<int16_t, 120> residuals;
        residuals.fill(7);
        value == 0 ? SetBlockZero(residuals.data() + 14, 12)
                   : SetBlockMean(residuals.data() + 14, 12, value);
        for (int i = 0; i < 120; ++i)
            ASSERT_EQ(residuals[i], inside(i) ? stored : 7) << value << " at " << i;
    }
}

}  // namespace
