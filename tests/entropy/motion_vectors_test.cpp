// Motion vectors: the choice of prediction candidates for every vector position
// and neighbourhood, and failed lookups. The 64-wrap of prediction plus
// difference and the order in which a four-vector macroblock predicts its
// vectors are checked by the encoder's round trip.
#include "entropy/motion_vectors.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "support/test_decoder.h"
#include "veltrane/entropy.h"

namespace veltrane::test {
namespace {

// A picture 64 pixels wide: four macroblocks per row, three rows.
constexpr int kWidth = 64;
constexpr int kMacroblocks = 3 * kWidth / 16;

class MotionVectors : public ::testing::Test {
protected:
    // Clears the neighbourhood, points the reader at a copy of the writer's bytes of
    // exactly their size, of which the first `bits` count (all by default), and
    // decodes macroblock `mb`.
    void Decode(int mb, int firstRow, const BitWriter& w, long bits = -1) {
        data_ = std::make_unique<ExactFrame>(w.bytes());
        SetFifoBuffer(fifo_, data_->data(), static_cast<int32_t>(data_->size()),
                      static_cast<uint32_t>(bits < 0 ? w.bitCount() : bits), 0);
        fifo_->error = 0;
        GetMotionVectors(dec_.get(), mb, types_.data(), vectors_.data(), fifo_, kWidth, firstRow);
    }
    void Clear() {
        types_.fill(0);
        vectors_.fill(macroblockvec_t{});
    }
    MotionVector_t& V(int mb, int k) { return vectors_[mb].vectors[k]; }
    void ExpectVector(int mb, int k, int x, int y, const char* what) {
        EXPECT_TRUE(V(mb, k).x == x && V(mb, k).y == y)
            << what << ", vector " << k << ": " << V(mb, k).x << ", " << V(mb, k).y;
    }

    TestDecoder dec_{16, 16};
    fifo_t* fifo_ = dec_->fifo;
    std::unique_ptr<ExactFrame> data_;
    std::array<int16_t, kMacroblocks> types_{};
    std::array<macroblockvec_t, kMacroblocks> vectors_{};
};

struct Source {
    int mb, vector;  // mb -1: the candidate is unavailable
};
constexpr Source kNone{-1, 0};

// Each case names the vectors that must serve as candidates L, A and R. They get
// the values (5, 5), (-30, 30) and (30, -30) and every other vector (20, 20), so
// that taking any other vector, or a wrong availability, changes the prediction:
// all three give (5, 5), R missing (0, 5), L missing (0, 0); with A and R missing,
// positions 0 to 2 take L itself.
TEST_F(MotionVectors, PredictionCandidates) {
    const struct {
        int mb, position, firstRow;
        bool fourVectorNeighbours;
        Source l, a, r;
        MotionVector_t expected;
    } cases[] = {
        // Inside the picture.
        {5, 2, 0, false, {5, 0}, {1, 0}, {2, 0}, {5, 5}},
        {5, 1, 0, true, {4, 1}, {1, 2}, {2, 2}, {5, 5}},
        {5, 2, 0, true, {5, 0}, {1, 3}, {2, 2}, {5, 5}},
        {5, 3, 0, true, {4, 3}, {5, 0}, {5, 1}, {5, 5}},
        {5, 4, 0, true, {5, 2}, {5, 0}, {5, 1}, {5, 5}},
        // Column 0 below the first row.
        {4, 0, 0, true, kNone, {0, 2}, {1, 2}, {0, 0}},
        {4, 2, 0, true, {4, 0}, {0, 3}, {1, 2}, {5, 5}},
        {4, 3, 0, true, kNone, {4, 0}, {4, 1}, {0, 0}},
        // Last column below the first row.
        {7, 1, 0, true, {6, 1}, {3, 2}, kNone, {0, 5}},
        {7, 2, 0, true, {7, 0}, {3, 3}, kNone, {0, 5}},
        // First row: only the left candidate for positions 0 to 2.
        {2, 0, 1, true, {1, 1}, kNone, kNone, {5, 5}},
        {3, 1, 1, true, {2, 1}, kNone, kNone, {5, 5}},
        {2, 2, 1, true, {2, 0}, kNone, kNone, {5, 5}},
        {0, 0, 1, false, kNone, kNone, kNone, {0, 0}},
        {0, 3, 1, true, kNone, {0, 0}, {0, 1}, {0, 0}},
        // The flag alone decides: set below the first row, the row above is not used.
        {9, 0, 1, false, {8, 0}, kNone, kNone, {5, 5}},
    };
    for (const auto& c : cases) {
        for (int mb = 0; mb < kMacroblocks; ++mb) {
            types_[mb] = mb == c.mb || c.fourVectorNeighbours ? 2 : 0;
            for (auto& v : vectors_[mb].vectors) v = {20, 20};
        }
        const std::pair<Source, MotionVector_t> marks[] = {
            {c.l, {5, 5}}, {c.a, {-30, 30}}, {c.r, {30, -30}}};
        for (const auto& [source, value] : marks)
            if (source.mb >= 0) V(source.mb, source.vector) = value;
        int x = 99, y = 99;
        GetMotionVectorPredictor(c.mb, c.position, kWidth, c.firstRow, types_.data(),
                                 vectors_.data(), &x, &y);
        EXPECT_TRUE(x == c.expected.x && y == c.expected.y)
            << "macroblock " << c.mb << " position " << c.position << ": " << x << ", " << y;
    }
}

// A failed lookup leaves the field as it was (0), so the difference counts as 0;
// the next lookup is tried at the same place.
TEST_F(MotionVectors, FailedLookupsCountAsZero) {
    const struct {
        const char* name;
        const char* bits;
        long cut;
        MotionVector_t expected;
        uint32_t bitPos, error;
    } cases[] = {
        {"no such code", "0000000000000 1", -1, {7, -3}, 0, kBad},
        {"y cut", "010 0000010110", 11, {8, -3}, 3, kOut},
    };
    for (const auto& c : cases) {
        Clear();
        V(0, 0) = {7, -3};
        Decode(1, 1, BitWriter().Bits(c.bits), c.cut);
        ExpectVector(1, 0, c.expected.x, c.expected.y, c.name);
        EXPECT_EQ(fifo_->bitPos, c.bitPos) << c.name;
        EXPECT_EQ(fifo_->error, c.error) << c.name;
    }
    // Four vectors, data ending after the first: the rest take their predictions.
    Clear();
    types_[0] = 2;
    Decode(0, 1, BitWriter().Code(MvdCodes, 2).Code(MvdCodes, -2));
    for (int k = 0; k < 4; ++k) ExpectVector(0, k, 2, -2, "after the end");
    EXPECT_EQ(fifo_->error, uint32_t{kFifoErrorBadCode});  // zeros past the end begin no code
}

}  // namespace
}  // namespace veltrane::test
