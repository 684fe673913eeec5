// Time per 8x8 block of each transform. The inverse transforms use their input
// as workspace, so every iteration first copies a block (BM_CopyBlock times the
// copy alone). Blocks cycle through 256 random ones of each kind.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "veltrane/recon.h"

namespace {

using Block = std::array<int32_t, 64>;
constexpr int kBlocks = 256;

enum class Kind { kDense, kSparse, kIntra, kFirstTen, kDcOnly, kCorner };

int32_t Random(std::mt19937& rng, int32_t limit) {
    return int32_t(rng() % uint32_t(2 * limit)) - limit;
}

std::vector<Block> MakeBlocks(Kind kind) {
    constexpr int kZigzag[] = {0,  1,  8,  16, 9, 2, 3,  10, 17, 24,
                               32, 25, 18, 11, 4, 5, 12, 19, 26, 33};
    constexpr int kFirstTen[] = {0, 1, 2, 3, 8, 9, 10, 16, 17, 24};
    std::mt19937 rng(1);
    std::vector<Block> blocks(kBlocks);
    for (Block& b : blocks) {
        b.fill(0);
        switch (kind) {
            case Kind::kDense:
                for (int32_t& c : b) c = Random(rng, 256);
                break;
            case Kind::kSparse:  // a handful of low-frequency coefficients
                for (int k = 0; k < 5; ++k) b[kZigzag[rng() % 20]] = Random(rng, 64);
                break;
            case Kind::kIntra:
                b[0] = 8 * 128;
                for (int pos : kZigzag) {
                    if (pos != 0 && rng() % 2) b[pos] = Random(rng, 100);
                }
                break;
            case Kind::kFirstTen:
                for (int pos : kFirstTen) b[pos] = Random(rng, 128);
                break;
            case Kind::kDcOnly:
                b[0] = Random(rng, 512);
                break;
            case Kind::kCorner:
                for (int i = 0; i < 16; ++i) b[8 * (i / 4) + i % 4] = Random(rng, 128);
                break;
        }
    }
    return blocks;
}

template <typename Out, typename Transform>
void RunInverse(benchmark::State& state, Kind kind, Transform transform) {
    const std::vector<Block> blocks = MakeBlocks(kind);
    Block work;
    std::array<Out, 64> out;
    size_t i = 0;
    for (auto _ : state) {
        std::memcpy(work.data(), blocks[i].data(), sizeof(Block));
        transform(work.data(), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
        i = (i + 1) % kBlocks;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_CopyBlock(benchmark::State& state) {
    RunInverse<int16_t>(state, Kind::kDense, [](int32_t* b, int16_t* out) {
        benchmark::DoNotOptimize(b);
        out[0] = int16_t(b[0]);
    });
}

void BM_InvDctFullDense(benchmark::State& state) {
    RunInverse<int16_t>(state, Kind::kDense,
                        [](int32_t* b, int16_t* out) { InvDctFixedPoint(b, out, 8); });
}

void BM_InvDctFullSparse(benchmark::State& state) {
    RunInverse<int16_t>(state, Kind::kSparse,
                        [](int32_t* b, int16_t* out) { InvDctFixedPoint(b, out, 8); });
}

void BM_InvDctIntra(benchmark::State& state) {
    RunInverse<unsigned char>(state, Kind::kIntra, [](int32_t* b, unsigned char* out) {
        InvDctFixedPointIntra(b, out, 8);
    });
}

void BM_InvDct10(benchmark::State& state) {
    RunInverse<int16_t>(state, Kind::kFirstTen,
                        [](int32_t* b, int16_t* out) { InvDct10FixedPoint(b, out, 8); });
}

void BM_InvDct1(benchmark::State& state) {
    RunInverse<int16_t>(state, Kind::kDcOnly,
                        [](int32_t* b, int16_t* out) { InvDct1FixedPoint(b, out, 8); });
}

void BM_InvDctHH(benchmark::State& state) {
    int32_t workspace[64];
    RunInverse<int16_t>(state, Kind::kCorner, [&workspace](int32_t* b, int16_t* out) {
        InvDctFixedPointHH(b, out, 8, workspace);
    });
}

void BM_DctForward(benchmark::State& state) {
    std::mt19937 rng(2);
    std::vector<std::array<int16_t, 64>> blocks(kBlocks);
    for (auto& b : blocks) {
        for (int16_t& s : b) s = int16_t(Random(rng, 256));
    }
    Block out;
    size_t i = 0;
    for (auto _ : state) {
        DctFixedPoint(blocks[i].data(), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
        i = (i + 1) % kBlocks;
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_CopyBlock);
BENCHMARK(BM_InvDctFullDense);
BENCHMARK(BM_InvDctFullSparse);
BENCHMARK(BM_InvDctIntra);
BENCHMARK(BM_InvDct10);
BENCHMARK(BM_InvDct1);
BENCHMARK(BM_InvDctHH);
BENCHMARK(BM_DctForward);
