// The thirteen 8x8 prediction kernels checked sample by sample against the
// plain prediction formulas, on random references and residuals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <utility>
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

struct ResidualKernel {
    const char* name;
    ResidualFn fn;
    Kind kind;
    bool aligned;  // only ever handed a 4-byte aligned source
};
struct ZbKernel {
    const char* name;
    ZbFn fn;
    Kind kind;
    bool aligned;
};

const ResidualKernel kResidualKernels[] = {
    {"PlainCopyAligned", AddIn8x8PlainCopyAligned, Kind::kCopy, true},
    {"PlainCopyUnAligned", AddIn8x8PlainCopyUnAligned, Kind::kCopy, false},
    {"HorizInterpolate", AddIn8x8HorizInterpolate, Kind::kHoriz, false},
    {"VertInterpolateAligned", AddIn8x8VertInterpolateAligned, Kind::kVert, true},
    {"VertInterpolateUnaligned", AddIn8x8VertInterpolateUnaligned, Kind::kVert, false},
    {"DiagonalInterpolate", AddIn8x8DiagonalInterpolate, Kind::kDiagonal, false},
};
const ZbKernel kZbKernels[] = {
    {"PlainCopyAlignedZb", AddIn8x8PlainCopyAlignedZb, Kind::kCopy, true},
    {"PlainCopyUnAlignedZb", AddIn8x8PlainCopyUnAlignedZb, Kind::kCopy, false},
    {"HorizInterpolateAlignedZb", AddIn8x8HorizInterpolateAlignedZb, Kind::kHoriz, true},
    {"HorizInterpolateUnalignedZb", AddIn8x8HorizInterpolateUnalignedZb, Kind::kHoriz, false},
    {"VertInterpolateAlignedZb", AddIn8x8VertInterpolateAlignedZb, Kind::kVert, true},
    {"VertInterpolateUnAlignedZb", AddIn8x8VertInterpolateUnAlignedZb, Kind::kVert, false},
    {"DiagonalInterpolateZb", AddIn8x8DiagonalInterpolateZb, Kind::kDiagonal, false},
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

TEST(McKernels, WithResidualMatchPlainFormulas) {
    std::mt19937 rng(1);
    for (const auto& k : kResidualKernels) {
        SCOPED_TRACE(k.name);
        for (int n = 0; n < 400; ++n) {
            Trial t(rng, k.aligned);
            auto dst = t.dst;
            auto residual = t.residual;
            k.fn(t.src(), residual.data(), dst.data(), kStride, t.residualStride);
            for (int r = 0; r < 8; ++r) {
                for (int c = 0; c < kStride; ++c) {
                    const int i = r * kStride + c;
                    const int j = r * t.residualStride + c;
                    if (c >= 8) {
                        ASSERT_EQ(dst[i], t.dst[i]);
                        if (c < t.residualStride) {
                            ASSERT_EQ(residual[j], t.residual[j]);
                        }
                        continue;
                    }
                    const int want =
                        Saturate(Predict(t.src(), kStride, k.kind, r, c) + t.residual[j]);
                    ASSERT_EQ(dst[i], want) << "r " << r << " c " << c << " e " << t.residual[j];
                    ASSERT_EQ(residual[j], want);
                }
            }
        }
    }
}

TEST(McKernels, WithoutResidualMatchPlainFormulas) {
    std::mt19937 rng(2);
    for (const auto& k : kZbKernels) {
        SCOPED_TRACE(k.name);
        for (int n = 0; n < 400; ++n) {
            Trial t(rng, k.aligned);
            auto dst = t.dst;
            k.fn(t.src(), dst.data(), kStride);
            for (int r = 0; r < 8; ++r) {
                for (int c = 0; c < kStride; ++c) {
                    const int i = r * kStride + c;
                    ASSERT_EQ(dst[i], c < 8 ? Predict(t.src(), kStride, k.kind, r, c) : t.dst[i])
                        << "r " << r << " c " << c;
                }
            }
        }
    }
}

TEST(McKernels, AlignedAndUnalignedFormsAgree) {
    const std::pair<ResidualFn, ResidualFn> residualPairs[] = {
        {AddIn8x8PlainCopyAligned, AddIn8x8PlainCopyUnAligned},
        {AddIn8x8VertInterpolateAligned, AddIn8x8VertInterpolateUnaligned}};
    const std::pair<ZbFn, ZbFn> zbPairs[] = {
        {AddIn8x8PlainCopyAlignedZb, AddIn8x8PlainCopyUnAlignedZb},
        {AddIn8x8HorizInterpolateAlignedZb, AddIn8x8HorizInterpolateUnalignedZb},
        {AddIn8x8VertInterpolateAlignedZb, AddIn8x8VertInterpolateUnAlignedZb}};
    std::mt19937 rng(3);
    for (int n = 0; n < 200; ++n) {
        Trial t(rng, true);
        for (const auto& [aligned, unaligned] : residualPairs) {
            auto dstA = t.dst, dstU = t.dst;
            auto resA = t.residual, resU = t.residual;
            aligned(t.src(), resA.data(), dstA.data(), kStride, t.residualStride);
            unaligned(t.src(), resU.data(), dstU.data(), kStride, t.residualStride);
            ASSERT_EQ(dstA, dstU);
            ASSERT_EQ(resA, resU);
        }
        for (const auto& [aligned, unaligned] : zbPairs) {
            auto dstA = t.dst, dstU = t.dst;
            aligned(t.src(), dstA.data(), kStride);
            unaligned(t.src(), dstU.data(), kStride);
            ASSERT_EQ(dstA, dstU);
        }
    }
}

// Every buffer is a heap block of exactly the extent the kernel may touch, so
// AddressSanitizer reports a read of one sample too many.
TEST(McKernels, TouchOnlyTheirWindow) {
    constexpr int kWide = 40;
    auto exactRef = [](Kind kind) {
        return std::vector<unsigned char>((ReadRows(kind) - 1) * kWide + ReadCols(kind), 7);
    };
    std::vector<unsigned char> dst(7 * kWide + 8);
    for (const auto& k : kResidualKernels) {
        for (int residualStride : {8, 16}) {
            auto ref = exactRef(k.kind);
            std::vector<int16_t> residual(7 * residualStride + 8, 1);
            k.fn(ref.data(), residual.data(), dst.data(), kWide, residualStride);
            EXPECT_EQ(dst[7 * kWide + 7], 8) << k.name;
        }
    }
    for (const auto& k : kZbKernels) {
        auto ref = exactRef(k.kind);
        k.fn(ref.data(), dst.data(), kWide);
        EXPECT_EQ(dst[7 * kWide + 7], 7) << k.name;
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
