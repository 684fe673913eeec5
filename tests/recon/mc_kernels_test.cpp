// The thirteen exported 8x8 prediction routines each reach the kernel of their
// phase (with or without residual). What the kernels compute is checked against
// the prediction formulas by the motion compensation tests, and every SIMD
// kernel against its C twin by checkasm.
#include "recon/mc_kernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "veltrane/recon.h"

namespace veltrane::test {
namespace {

using ResidualFn = void (*)(unsigned char*, int16_t*, unsigned char*, int, int);
using ZbFn = void (*)(unsigned char*, unsigned char*, int);

TEST(McKernels, ExportedRoutinesReachTheKernelOfTheirPhase) {
    const struct {
        int phase;
        ResidualFn add;
        ZbFn zb;
    } routines[] = {
        {kPhaseCopy, AddIn8x8PlainCopyAligned, nullptr},
        {kPhaseCopy, AddIn8x8PlainCopyUnAligned, nullptr},
        {kPhaseHoriz, AddIn8x8HorizInterpolate, nullptr},
        {kPhaseVert, AddIn8x8VertInterpolateAligned, nullptr},
        {kPhaseVert, AddIn8x8VertInterpolateUnaligned, nullptr},
        {kPhaseDiagonal, AddIn8x8DiagonalInterpolate, nullptr},
        {kPhaseCopy, nullptr, AddIn8x8PlainCopyAlignedZb},
        {kPhaseCopy, nullptr, AddIn8x8PlainCopyUnAlignedZb},
        {kPhaseHoriz, nullptr, AddIn8x8HorizInterpolateAlignedZb},
        {kPhaseHoriz, nullptr, AddIn8x8HorizInterpolateUnalignedZb},
        {kPhaseVert, nullptr, AddIn8x8VertInterpolateAlignedZb},
        {kPhaseVert, nullptr, AddIn8x8VertInterpolateUnAlignedZb},
        {kPhaseDiagonal, nullptr, AddIn8x8DiagonalInterpolateZb},
    };
    constexpr int kStride = 24;
    std::mt19937 rng(1);
    std::vector<unsigned char> ref(10 * kStride);
    for (auto& s : ref) s = static_cast<unsigned char>(rng());
    const McKernels& kernels = *ActiveMcKernels();
    for (const auto& r : routines) {
        std::vector<unsigned char> got(8 * kStride, 7), want(8 * kStride, 7);
        std::vector<int16_t> residual(64), wantResidual(64);
        for (auto& e : residual) e = static_cast<int16_t>(int(rng() % 600) - 300);
        wantResidual = residual;
        if (r.add != nullptr) {
            r.add(ref.data() + 1, residual.data(), got.data(), kStride, 8);
            kernels.predictAdd8[r.phase](ref.data() + 1, wantResidual.data(), 8, want.data(),
                                         kStride);
        } else {
            r.zb(ref.data() + 1, got.data(), kStride);
            kernels.predict8[r.phase](ref.data() + 1, want.data(), kStride);
        }
        EXPECT_EQ(got, want) << "phase " << r.phase;
        EXPECT_EQ(residual, wantResidual) << "phase " << r.phase;
    }
}

}  // namespace
}  // namespace veltrane::test
