// The thirteen 8x8 prediction kernels checked sample by sample against the
// plain prediction formulas, on random references and residuals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include "veltrane/recon.h"

namespace {

enum class Kind { kCopy, kHoriz, kVert, kDiagonal };

int ReadCols(Kind kind) { return kind == Kind::kHoriz || kind == Kind::kDiagonal ? 9 : 8; }
int ReadRows(Kind kind) { return kind == Kind::kVert || kind == Kind::kDiagonal ? 9 : 8; }

int Predict(const unsigned char* src, int stride, Kind kind, int r, int c) {
    auto s = [&](int dr, int dc) { return int{src[(r + dr) * stride + c + dc]}; };
    switch (kind) {
        case Kind::kCopy:
            return s(0, 0);
        case Kind::kHoriz:
            return (s(0, 0) + s(0, 1) + 1) >> 1;
        case Kind::kVert:
            return (s(0, 0) + s(1, 0) + 1) >> 1;
        default:
            return (s(0, 0) + s(0, 1) + s(1, 0) + s(1, 1) + 2) >> 2;
    }
}

// A 16-bit sum as a sample: clamped for -32768..4095, 0 from 4096 up.
int Saturate(int sum) {
    const auto wrapped = static_cast<int16_t>(static_cast<uint16_t>(sum));
    return wrapped < 0 || wrapped >= 4096 ? 0 : std::min<int>(wrapped, 255);
}

using ResidualFn = void (*)(unsigned char*, int16_t*, unsigned char*, int, int);
using ZbFn = void (*)(unsigned char*, unsigned char*, int);

// A kernel with a residual (`add`) or without one (`zb`).
struct Kernel {
    const char* name;
    Kind kind;
    bool aligned;  // only ever handed a 4-byte aligned source
    ResidualFn add;
    ZbFn zb;
    void operator()(unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                    int residualStride) const {
        if (add != nullptr) return add(src, residual, dst, stride, residualStride);
        zb(src, dst, stride);
    }
};

const Kernel kKernels[] = {
    {"PlainCopyAligned", Kind::kCopy, true, AddIn8x8PlainCopyAligned, nullptr},
    {"PlainCopyUnAligned", Kind::kCopy, false, AddIn8x8PlainCopyUnAligned, nullptr},
    {"HorizInterpolate", Kind::kHoriz, false, AddIn8x8HorizInterpolate, nullptr},
    {"VertInterpolateAligned", Kind::kVert, true, AddIn8x8VertInterpolateAligned, nullptr},
    {"VertInterpolateUnaligned", Kind::kVert, false, AddIn8x8VertInterpolateUnaligned, nullptr},
    {"DiagonalInterpolate", Kind::kDiagonal, false, AddIn8x8DiagonalInterpolate, nullptr},
    {"PlainCopyAlignedZb", Kind::kCopy, true, nullptr, AddIn8x8PlainCopyAlignedZb},
    {"PlainCopyUnAlignedZb", Kind::kCopy, false, nullptr, AddIn8x8PlainCopyUnAlignedZb},
    {"HorizInterpolateAlignedZb", Kind::kHoriz, true, nullptr, AddIn8x8HorizInterpolateAlignedZb},
    {"HorizInterpolateUnalignedZb", Kind::kHoriz, false, nullptr,
     AddIn8x8HorizInterpolateUnalignedZb},
    {"VertInterpolateAlignedZb", Kind::kVert, true, nullptr, AddIn8x8VertInterpolateAlignedZb},
    {"VertInterpolateUnAlignedZb", Kind::kVert, false, nullptr, AddIn8x8VertInterpolateUnAlignedZb},
    {"DiagonalInterpolateZb", Kind::kDiagonal, false, nullptr, AddIn8x8DiagonalInterpolateZb},
};

constexpr int kStride = 24;

// One random kernel input: reference, destination and residual, each larger
// than the block so that stray writes show.
struct Trial {
    std::vector<unsigned char> ref = std::vector<unsigned char>(12 * kStride);
    std::vector<unsigned char> dst = std::vector<unsigned char>(8 * kStride);
    std::vector<int16_t> residual;
    int offset;  // of the source within ref
    int residualStride;

    Trial(std::mt19937& rng, bool aligned) {
        offset = kStride + (aligned ? 4 * (rng() % 2) : rng() % 4);
        residualStride = rng() % 2 ? 16 : 8;
        const bool extremes = rng() % 4 == 0;  // samples of 0 and 255 only
        for (auto& s : ref) s = extremes ? (rng() % 2) * 255 : rng() % 256;
        for (auto& d : dst) d = rng() % 256;
        residual.resize(8 * residualStride);
        for (auto& e : residual) e = RandomResidual(rng);
    }
    unsigned char* src() { return ref.data() + offset; }

    // Sums near the saturation thresholds and residuals at the int16 extremes
    // are drawn as often as plain small and full-range values.
    static int16_t RandomResidual(std::mt19937& rng) {
        static const int kSpecial[] = {-32768, -32767, -256, -1,   0,    1,     254,  255,
                                       256,    3840,   3841, 4095, 4096, 32512, 32767};
        switch (rng() % 3) {
            case 0:
                return static_cast<int16_t>(rng() % 65536 - 32768);
            case 1:
                return static_cast<int16_t>(static_cast<int>(rng() % 601) - 300);
            default:
                return static_cast<int16_t>(kSpecial[rng() % std::size(kSpecial)]);
        }
    }
};

// Each kernel writes its 8x8 block only and, with a residual, replaces the residual
// by the samples written.
TEST(McKernels, MatchPlainFormulas) {
    std::mt19937 rng(1);
    for (const auto& k : kKernels) {
        SCOPED_TRACE(k.name);
        for (int n = 0; n < 400; ++n) {
            Trial t(rng, k.aligned);
            auto dst = t.dst, wantDst = t.dst;
            auto residual = t.residual, wantResidual = t.residual;
            for (int r = 0; r < 8; ++r) {
                for (int c = 0; c < 8; ++c) {
                    int16_t& e = wantResidual[r * t.residualStride + c];
                    const int p = Predict(t.src(), kStride, k.kind, r, c);
                    wantDst[r * kStride + c] = k.add != nullptr ? (e = Saturate(p + e)) : p;
                }
            }
            k(t.src(), residual.data(), dst.data(), kStride, t.residualStride);
            ASSERT_EQ(dst, wantDst) << "trial " << n;
            ASSERT_EQ(residual, wantResidual) << "trial " << n;
        }
    }
}

// Every buffer is a heap block of exactly the extent the kernel may touch, so
// AddressSanitizer reports a read of one sample too many.
TEST(McKernels, TouchOnlyTheirWindow) {
    constexpr int kWide = 40;
    std::vector<unsigned char> dst(7 * kWide + 8);
    for (const auto& k : kKernels) {
        for (int residualStride : {8, 16}) {
            std::vector<unsigned char> ref((ReadRows(k.kind) - 1) * kWide + ReadCols(k.kind), 7);
            std::vector<int16_t> residual(7 * residualStride + 8, 1);
            k(ref.data(), residual.data(), dst.data(), kWide, residualStride);
            EXPECT_EQ(dst[7 * kWide + 7], k.add != nullptr ? 8 : 7) << k.name;
        }
    }
}

TEST(McKernels, SaturationAndPairIndependence) {
    std::vector<unsigned char> src(8 * kStride, 200);
    std::fill(src.begin() + 6 * kStride, src.begin() + 7 * kStride, 1);
    std::fill(src.begin() + 7 * kStride, src.end(), 0);
    std::vector<int16_t> residual(64, 0);
    const int16_t row0[8] = {55, 56, -201, 3895, 3896, -32768, 32767, 0};
    std::copy(row0, row0 + 8, residual.begin());
    residual[48] = -1;  // 1 - 1: the wrap of the left sum must not reach its neighbour
    residual[49] = 5;
    residual[56] = -1;  // 0 - 1
    std::vector<unsigned char> dst(8 * kStride);
    AddIn8x8PlainCopyAligned(src.data(), residual.data(), dst.data(), kStride, 8);
    const int want0[8] = {255, 255, 0, 255, 0, 0, 0, 200};
    for (int c = 0; c < 8; ++c) {
        EXPECT_EQ(dst[c], want0[c]) << c;
        EXPECT_EQ(residual[c], want0[c]) << c;
    }
    EXPECT_EQ(dst[6 * kStride], 0);
    EXPECT_EQ(dst[6 * kStride + 1], 6);
    EXPECT_EQ(dst[7 * kStride], 0);
}

}  // namespace
