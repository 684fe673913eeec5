// MotionCompensation, ClipMacroBlock and the exported 8x8 routines on a small bordered picture,
// checked against a plain per-sample reconstruction.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "recon/macroblock_prediction.h"
#include "veltrane/decoder.h"
#include "veltrane/recon.h"

namespace {

// One frame store of a 48 x 32 picture; each plane is a heap block of exactly
// the bordered size, so AddressSanitizer catches any access beyond a border.
struct Store {
    static constexpr int kWidth = 48, kHeight = 32, kBorder = 16;
    static constexpr int kYStride = kWidth + 32, kUvStride = kWidth / 2 + 32;
    std::vector<unsigned char> y = std::vector<unsigned char>(kYStride * (kHeight + 32));
    std::vector<unsigned char> u = std::vector<unsigned char>(kUvStride * (kHeight / 2 + 32));
    std::vector<unsigned char> v = u;

    void Fill(std::mt19937& rng) {
        for (auto* plane : {&y, &u, &v})
            for (auto& s : *plane) s = rng() % 256;
    }
    static unsigned char* At(std::vector<unsigned char>& p, int stride, int x, int y0) {
        return p.data() + (y0 + kBorder) * stride + x + kBorder;
    }
    unsigned char* Y(int x, int y0) { return At(y, kYStride, x, y0); }
    unsigned char* U(int x, int y0) { return At(u, kUvStride, x, y0); }
    unsigned char* V(int x, int y0) { return At(v, kUvStride, x, y0); }
    bool operator==(const Store&) const = default;
};

// The chroma vector rules are the library's own, held to the format's rounding
// points by ChromaVectorRules below.
using veltrane::ChromaComponentFourVectors;
using veltrane::ChromaComponentOneVector;
int FloorHalf(int v) { return v >= 0 ? v / 2 : -((1 - v) / 2); }

// The prediction of one 8x8 block from the p(r, c) formulas, plus the residual
// when there is one; the residual receives the samples written.
void ReferenceBlock(const unsigned char* ref, unsigned char* dst, int stride, int mvx, int mvy,
                    int16_t* residual, int residualStride) {
    const int ix = FloorHalf(mvx), iy = FloorHalf(mvy);
    const int hx = mvx - 2 * ix, hy = mvy - 2 * iy;
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            auto s = [&](int dr, int dc) { return int{ref[(r + iy + dr) * stride + c + ix + dc]}; };
            const int sum = s(0, 0) + s(0, hx) + s(hy, 0) + s(hy, hx);
            int sample = (sum + 2) >> 2;
            if (residual != nullptr) {
                int16_t& e = residual[r * residualStride + c];
                const auto wrapped = static_cast<int16_t>(static_cast<uint16_t>(e + sample));
                sample = wrapped < 0 || wrapped >= 4096 ? 0 : std::min<int>(wrapped, 255);
                e = static_cast<int16_t>(sample);
            }
            dst[r * stride + c] = static_cast<unsigned char>(sample);
        }
    }
}

void ReferenceMacroblock(Store& ref, Store& cur, int x, int y, int type, const macroblockvec_t& mv,
                         int16_t* coefficients, unsigned mask) {
    for (int k = 0; k < 4; ++k) {
        const int bx = x + 8 * (k & 1), by = y + 8 * (k >> 1);
        const MotionVector_t& v = mv.vectors[type == 2 ? k : 0];
        int16_t* residual = mask & (8u >> k) ? coefficients + (by - y) * 16 + bx - x : nullptr;
        ReferenceBlock(ref.Y(bx, by), cur.Y(bx, by), Store::kYStride, v.x, v.y, residual, 16);
    }
    const auto& [v0, v1, v2, v3] = mv.vectors;
    const int cx = type == 2 ? ChromaComponentFourVectors(v0.x + v1.x + v2.x + v3.x)
                             : ChromaComponentOneVector(v0.x);
    const int cy = type == 2 ? ChromaComponentFourVectors(v0.y + v1.y + v2.y + v3.y)
                             : ChromaComponentOneVector(v0.y);
    for (int k = 0; k < 2; ++k) {
        auto plane = k == 0 ? &Store::U : &Store::V;
        ReferenceBlock((ref.*plane)(x / 2, y / 2), (cur.*plane)(x / 2, y / 2), Store::kUvStride, cx,
                       cy, mask & (0x20u >> k) ? coefficients + 256 + 64 * k : nullptr, 8);
    }
}

class MotionCompensationTest : public ::testing::Test {
protected:
    static constexpr int kMbColumns = Store::kWidth / 16;
    static constexpr int kMbCount = kMbColumns * Store::kHeight / 16;

    void SetUp() override {
        ref.Fill(rng);
        cur.Fill(rng);
        FillCoefficients();
    }
    // Half the residuals small, half over the whole int16 range.
    void FillCoefficients() {
        for (auto& e : coefficients)
            e = static_cast<int16_t>(rng() % 2 ? rng() % 65536 - 32768 : rng() % 601 - 300);
    }
    int Run(int mb, unsigned mask) {
        const int x = mb % kMbColumns * 16, y = mb / kMbColumns * 16;
        unsigned char* planes[3] = {ref.Y(0, 0), ref.U(0, 0), ref.V(0, 0)};
        return MotionCompensation(mb, x, y, types, vectors, planes, cur.Y(x, y),
                                  cur.U(x / 2, y / 2), cur.V(x / 2, y / 2), coefficients.data(),
                                  Store::kYStride, Store::kUvStride, mask);
    }

    std::mt19937 rng{7};
    Store ref, cur;
    int16_t types[kMbCount] = {};
    macroblockvec_t vectors[kMbCount] = {};
    std::array<int16_t, 384> coefficients;
};

TEST_F(MotionCompensationTest, MatchesPlainReconstruction) {
    for (int n = 0; n < 2000; ++n) {
        const int mb = rng() % kMbCount;
        types[mb] = static_cast<int16_t>(rng() % 3);
        // Vectors reaching the 16-sample borders (every macroblock lies on an
        // edge) often: reads beyond them show under AddressSanitizer.
        auto component = [&] { return rng() % 4 ? int(rng() % 64) - 32 : rng() % 2 ? -32 : 31; };
        for (auto& v : vectors[mb].vectors) v = {component(), component()};
        const unsigned mask = rng() % 256;  // bits 6 and 7 mean nothing
        FillCoefficients();
        Store want = cur;
        auto wantCoefficients = coefficients;
        ReferenceMacroblock(ref, want, mb % kMbColumns * 16, mb / kMbColumns * 16, types[mb],
                            vectors[mb], wantCoefficients.data(), mask);
        ASSERT_EQ(Run(mb, mask), 0);
        ASSERT_TRUE(cur == want) << "trial " << n << " type " << types[mb] << " mask " << mask;
        ASSERT_EQ(coefficients, wantCoefficients) << n;
    }
    // A type outside 0..2 touches nothing and gives 44.
    for (int16_t type : {3, 4, -1}) {
        types[4] = type;
        const Store before = cur;
        const auto coefficientsBefore = coefficients;
        EXPECT_EQ(Run(4, 0x3F), kStatusBadMacroblockType);
        EXPECT_TRUE(cur == before);
        EXPECT_EQ(coefficients, coefficientsBefore);
    }
}

// The chroma vector rules at their rounding points.
TEST(ChromaVectorRules, RoundingPoints) {
    const int one[][2] = {{-7, -3}, {-5, -3}, {-4, -2}, {-1, -1},   {1, 1},
                          {2, 1},   {3, 1},   {6, 3},   {-32, -16}, {31, 15}};
    for (const auto& [luma, chroma] : one)
        EXPECT_EQ(ChromaComponentOneVector(luma), chroma) << luma;
    const int four[][2] = {{1, 0},  {2, 0},   {3, 1},    {13, 1},   {14, 2},
                           {17, 2}, {-3, -1}, {-19, -3}, {124, 15}, {-128, -16}};
    for (const auto& [sum, chroma] : four)
        EXPECT_EQ(ChromaComponentFourVectors(sum), chroma) << sum;
}

// The thirteen exported 8x8 routines, with and without residual, each at the
// phase it stands for (bit 0: horizontal half sample, bit 1: vertical).
TEST(AddIn8x8, ExportedRoutinesPredictAtTheirPhase) {
    using ResidualFn = void (*)(unsigned char*, int16_t*, unsigned char*, int, int);
    using ZbFn = void (*)(unsigned char*, unsigned char*, int);
    const std::pair<int, ResidualFn> adds[] = {
        {0, AddIn8x8PlainCopyAligned},         {0, AddIn8x8PlainCopyUnAligned},
        {1, AddIn8x8HorizInterpolate},         {2, AddIn8x8VertInterpolateAligned},
        {2, AddIn8x8VertInterpolateUnaligned}, {3, AddIn8x8DiagonalInterpolate}};
    const std::pair<int, ZbFn> zbs[] = {
        {0, AddIn8x8PlainCopyAlignedZb},        {0, AddIn8x8PlainCopyUnAlignedZb},
        {1, AddIn8x8HorizInterpolateAlignedZb}, {1, AddIn8x8HorizInterpolateUnalignedZb},
        {2, AddIn8x8VertInterpolateAlignedZb},  {2, AddIn8x8VertInterpolateUnAlignedZb},
        {3, AddIn8x8DiagonalInterpolateZb}};
    constexpr int kStride = 24;
    std::mt19937 rng(1);
    std::vector<unsigned char> ref(10 * kStride);
    for (auto& s : ref) s = static_cast<unsigned char>(rng());
    for (size_t k = 0; k < std::size(adds) + std::size(zbs); ++k) {
        const bool add = k < std::size(adds);
        const int phase = add ? adds[k].first : zbs[k - std::size(adds)].first;
        std::vector<unsigned char> got(8 * kStride, 7), want = got;
        std::vector<int16_t> residual(64);
        for (auto& e : residual) e = static_cast<int16_t>(int(rng() % 600) - 300);
        std::vector<int16_t> wantResidual = residual;
        if (add) adds[k].second(ref.data() + 1, residual.data(), got.data(), kStride, 8);
        if (!add) zbs[k - std::size(adds)].second(ref.data() + 1, got.data(), kStride);
        ReferenceBlock(ref.data() + 1, want.data(), kStride, phase & 1, phase >> 1,
                       add ? wantResidual.data() : nullptr, 8);
        EXPECT_EQ(got, want) << "routine " << k;
        EXPECT_EQ(residual, wantResidual) << "routine " << k;
    }
}

// ClipMacroBlock writes what a prediction of zeros plus the residual gives.
TEST_F(MotionCompensationTest, ClipMacroBlockSaturatesTheResidual) {
    coefficients[0] = 4095, coefficients[1] = 4096, coefficients[300] = -1, coefficients[383] = 256;
    Store zero, want = cur;
    auto wantCoefficients = coefficients;
    ReferenceMacroblock(zero, want, 16, 16, 0, vectors[0], wantCoefficients.data(), 0x3F);
    ClipMacroBlock(cur.Y(16, 16), cur.U(8, 8), cur.V(8, 8), coefficients.data(), Store::kYStride,
                   Store::kUvStride);
    EXPECT_TRUE(cur == want);
    EXPECT_EQ(coefficients, wantCoefficients);
}

}  // namespace
