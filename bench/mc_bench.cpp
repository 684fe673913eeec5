// Motion compensation timings: each 8x8 kernel per block, and
// MotionCompensation and CopyRefMacroBlock per macroblock, over a bordered
// 176 x 144 reference of random samples. Ordinary runs use samples in 16..235
// and residuals in -16..15, so no sum needs saturating (the common case); the
// Saturating runs use samples in 0..255 and residuals in -64..63, where most
// sample pairs take the saturation path.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "veltrane/recon.h"

namespace {

constexpr int kWidth = 176, kHeight = 144, kYStride = kWidth + 32, kUvStride = kWidth / 2 + 32;
constexpr int kMbColumns = kWidth / 16, kMbCount = kMbColumns * kHeight / 16;

struct Plane {
    std::vector<unsigned char> bytes;
    int stride;
    Plane(int width, int height, std::mt19937& rng, bool fullRange)
        : bytes((width + 32) * (height + 32)), stride(width + 32) {
        for (auto& b : bytes) b = fullRange ? rng() % 256 : 16 + rng() % 220;
    }
    unsigned char* At(int x, int y) { return bytes.data() + (y + 16) * stride + x + 16; }
};

struct Frame {
    explicit Frame(bool fullRange = false)
        : y(kWidth, kHeight, rng, fullRange),
          u(kWidth / 2, kHeight / 2, rng, fullRange),
          v(kWidth / 2, kHeight / 2, rng, fullRange) {}
    std::mt19937 rng{11};
    Plane y, u, v;
};

// Kernels overwrite the residual, so each iteration starts from a fresh copy
// of this one (the copy alone is timed by ResidualRefill).
std::vector<int16_t> Residual(size_t count, bool saturating) {
    std::mt19937 rng(3);
    const int half = saturating ? 64 : 16;
    std::vector<int16_t> residual(count);
    for (auto& e : residual) e = static_cast<int16_t>(static_cast<int>(rng() % (2 * half)) - half);
    return residual;
}

// Block positions visited in turn: every 8x8 luma block of the picture.
struct BlockWalk {
    int x = 0, y = 0;
    void Next() {
        x += 8;
        if (x == kWidth) {
            x = 0;
            y = y + 8 == kHeight ? 0 : y + 8;
        }
    }
};

using ResidualFn = void (*)(unsigned char*, int16_t*, unsigned char*, int, int);
using ZbFn = void (*)(unsigned char*, unsigned char*, int);

void BM_ResidualRefill(benchmark::State& state) {
    const auto fresh = Residual(128, false);
    int16_t residual[128];
    for (auto _ : state) {
        std::memcpy(residual, fresh.data(), sizeof(residual));
        benchmark::DoNotOptimize(residual);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ResidualRefill);

void RunResidualKernel(benchmark::State& state, ResidualFn kernel, int offset, bool saturating) {
    Frame ref(saturating), cur;
    const auto fresh = Residual(128, saturating);
    int16_t residual[128];
    BlockWalk walk;
    for (auto _ : state) {
        std::memcpy(residual, fresh.data(), sizeof(residual));
        kernel(ref.y.At(walk.x + offset, walk.y), residual, cur.y.At(walk.x, walk.y), kYStride, 16);
        benchmark::ClobberMemory();
        walk.Next();
    }
}

void RunZbKernel(benchmark::State& state, ZbFn kernel, int offset) {
    Frame ref, cur;
    BlockWalk walk;
    for (auto _ : state) {
        kernel(ref.y.At(walk.x + offset, walk.y), cur.y.At(walk.x, walk.y), kYStride);
        benchmark::ClobberMemory();
        walk.Next();
    }
}

// Aligned kernels read from a word boundary, the others from one byte past it.
BENCHMARK_CAPTURE(RunResidualKernel, PlainCopyAligned, AddIn8x8PlainCopyAligned, 0, false);
BENCHMARK_CAPTURE(RunResidualKernel, PlainCopyAligned / Saturating, AddIn8x8PlainCopyAligned, 0,
                  true);
BENCHMARK_CAPTURE(RunResidualKernel, PlainCopyUnAligned, AddIn8x8PlainCopyUnAligned, 1, false);
BENCHMARK_CAPTURE(RunResidualKernel, HorizInterpolate, AddIn8x8HorizInterpolate, 1, false);
BENCHMARK_CAPTURE(RunResidualKernel, VertInterpolateAligned, AddIn8x8VertInterpolateAligned, 0,
                  false);
BENCHMARK_CAPTURE(RunResidualKernel, VertInterpolateUnaligned, AddIn8x8VertInterpolateUnaligned, 1,
                  false);
BENCHMARK_CAPTURE(RunResidualKernel, DiagonalInterpolate, AddIn8x8DiagonalInterpolate, 1, false);
BENCHMARK_CAPTURE(RunZbKernel, PlainCopyAlignedZb, AddIn8x8PlainCopyAlignedZb, 0);
BENCHMARK_CAPTURE(RunZbKernel, PlainCopyUnAlignedZb, AddIn8x8PlainCopyUnAlignedZb, 1);
BENCHMARK_CAPTURE(RunZbKernel, HorizInterpolateAlignedZb, AddIn8x8HorizInterpolateAlignedZb, 0);
BENCHMARK_CAPTURE(RunZbKernel, HorizInterpolateUnalignedZb, AddIn8x8HorizInterpolateUnalignedZb, 1);
BENCHMARK_CAPTURE(RunZbKernel, VertInterpolateAlignedZb, AddIn8x8VertInterpolateAlignedZb, 0);
BENCHMARK_CAPTURE(RunZbKernel, VertInterpolateUnAlignedZb, AddIn8x8VertInterpolateUnAlignedZb, 1);
BENCHMARK_CAPTURE(RunZbKernel, DiagonalInterpolateZb, AddIn8x8DiagonalInterpolateZb, 1);

// One macroblock per iteration, walking the picture, with random vectors of
// every phase. Arguments: macroblock type, coded-block mask.
void BM_MotionCompensation(benchmark::State& state) {
    Frame ref, cur;
    std::mt19937 rng(5);
    std::vector<int16_t> types(kMbCount, static_cast<int16_t>(state.range(0)));
    std::vector<macroblockvec_t> vectors(kMbCount);
    for (auto& mb : vectors) {
        for (auto& v : mb.vectors) {
            v = {static_cast<int32_t>(rng() % 64) - 32, static_cast<int32_t>(rng() % 64) - 32};
        }
    }
    const auto fresh = Residual(384, false);
    int16_t coefficients[384];
    const auto mask = static_cast<unsigned>(state.range(1));
    unsigned char* planes[3] = {ref.y.At(0, 0), ref.u.At(0, 0), ref.v.At(0, 0)};
    int mb = 0;
    for (auto _ : state) {
        if (mask != 0) {
            std::memcpy(coefficients, fresh.data(), sizeof(coefficients));
        }
        const int x = mb % kMbColumns * 16, y = mb / kMbColumns * 16;
        MotionCompensation(mb, x, y, types.data(), vectors.data(), planes, cur.y.At(x, y),
                           cur.u.At(x / 2, y / 2), cur.v.At(x / 2, y / 2), coefficients, kYStride,
                           kUvStride, mask);
        benchmark::ClobberMemory();
        mb = mb + 1 == kMbCount ? 0 : mb + 1;
    }
}
BENCHMARK(BM_MotionCompensation)->ArgNames({"type", "mask"})->ArgsProduct({{0, 2}, {0, 0x3F}});

void BM_CopyRefMacroBlock(benchmark::State& state) {
    Frame ref, cur;
    unsigned char* planes[3] = {ref.y.At(0, 0), ref.u.At(0, 0), ref.v.At(0, 0)};
    int mb = 0;
    for (auto _ : state) {
        const int x = mb % kMbColumns * 16, y = mb / kMbColumns * 16;
        CopyRefMacroBlock(planes, x, y, cur.y.At(x, y), cur.u.At(x / 2, y / 2),
                          cur.v.At(x / 2, y / 2), kYStride, kUvStride);
        benchmark::ClobberMemory();
        mb = mb + 1 == kMbCount ? 0 : mb + 1;
    }
}
BENCHMARK(BM_CopyRefMacroBlock);

}  // namespace
