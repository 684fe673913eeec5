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

// Residuals at the int16 extremes and sums near the saturation thresholds come up
// as often as plain small and full-range values.
int16_t RandomResidual(std::mt19937& rng) {
    static const int kSpecial[] = {-32768, -32767, -256, -1,   0,    1,     254,  255,
                                   256,    3840,   3841, 4095, 4096, 32512, 32767};
    const int pick = rng() % 3;
    return static_cast<int16_t>(pick == 0   ? int(rng() % 65536) - 32768
                                : pick == 1 ? int(rng() % 601) - 300
                                            : kSpecial[rng() % std::size(kSpecial)]);
}

// Each kernel, on random sources at every phase, writes its 8x8 block only and,
// with a residual, replaces the residual by the samples written. The buffers are
// larger than the block so that stray writes show.
TEST(McKernels, MatchPlainFormulas) {
    std::mt19937 rng(1);
    for (const auto& k : kKernels) {
        SCOPED_TRACE(k.name);
        for (int n = 0; n < 400; ++n) {
            const int offset = kStride + (k.aligned ? 4 * (rng() % 2) : rng() % 4);
            const int residualStride = rng() % 2 ? 16 : 8;
            const bool extremes = rng() % 4 == 0;  // samples of 0 and 255 only
            std::vector<unsigned char> ref(12 * kStride), dst(8 * kStride);
            for (auto& s : ref) s = extremes ? (rng() % 2) * 255 : rng() % 256;
            for (auto& d : dst) d = rng() % 256;
            std::vector<int16_t> residual(8 * residualStride);
            for (auto& e : residual) e = RandomResidual(rng);
            auto wantDst = dst;
            auto wantResidual = residual;
            for (int r = 0; r < 8; ++r) {
                for (int c = 0; c < 8; ++c) {
                    int16_t& e = wantResidual[r * residualStride + c];
                    const int p = Predict(ref.data() + offset, kStride, k.kind, r, c);
                    wantDst[r * kStride + c] = k.add != nullptr ? (e = Saturate(p + e)) : p;
                }
            }
            k(ref.data() + offset, residual.data(), dst.data(), kStride, residualStride);
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
        const bool h = k.kind == Kind::kHoriz || k.kind == Kind::kDiagonal;
        const bool v = k.kind == Kind::kVert || k.kind == Kind::kDiagonal;
        for (int residualStride : {8, 16}) {
            std::vector<unsigned char> ref((7 + v) * kWide + 8 + h, 7);
            std::vector<int16_t> residual(7 * residualStride + 8, 1);
            k(ref.data(), residual.data(), dst.data(), kWide, residualStride);
            EXPECT_EQ(dst[7 * kWide + 7], k.add != nullptr ? 8 : 7) << k.name;
        }
    }
}

// Sums of 4095 and 4096, the int16 extremes, and a wrapped sum that must not
// reach the neighbouring sample of its pair.
TEST(McKernels, SaturationAndPairIndependence) {
    std::vector<unsigned char> src(8 * kStride, 200);
    std::fill(src.begin() + 6 * kStride, src.end(), 0);
    src[6 * kStride] = src[6 * kStride + 1] = 1;
    std::vector<int16_t> residual(64, 0);
    const int16_t row0[8] = {55, 56, -201, 3895, 3896, -32768, 32767, 0};
    std::copy(row0, row0 + 8, residual.begin());
    residual[48] = -1, residual[49] = 5;
    std::vector<unsigned char> dst(8 * kStride);
    AddIn8x8PlainCopyAligned(src.data(), residual.data(), dst.data(), kStride, 8);
    const int want[10] = {255, 255, 0, 255, 0, 0, 0, 200, 0, 6};
    for (int c = 0; c < 10; ++c) {
        EXPECT_EQ(dst[c < 8 ? c : 6 * kStride + c - 8], want[c]) << c;
        EXPECT_EQ(residual[c < 8 ? c : 40 + c], want[c]) << c;
    }
}

}  // namespace
