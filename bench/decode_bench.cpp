// Whole-picture decoding at 352x288: an intra picture, a P picture of a moving
// pattern, and a P picture whose macroblocks are nearly all skipped. The streams
// come from the reference encoder.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/decoder.h"
#include "veltrane_encoder/encoder.h"

namespace {

constexpr int kWidth = 352;
constexpr int kHeight = 288;

// A textured pattern that moves by (dx, dy) samples per frame.
struct Pattern {
    std::vector<uint8_t> y, u, v;
    explicit Pattern(int frame)
        : y(kWidth * kHeight), u(kWidth * kHeight / 4), v(kWidth * kHeight / 4) {
        for (int r = 0; r < kHeight; ++r)
            for (int c = 0; c < kWidth; ++c) {
                const int x = c + 3 * frame;
                const int yy = r + frame;
                y[r * kWidth + c] =
                    static_cast<uint8_t>((x * 7 + yy * 3 + ((x / 8 + yy / 8) % 2) * 60) & 0xFF);
            }
        for (int r = 0; r < kHeight / 2; ++r)
            for (int c = 0; c < kWidth / 2; ++c) {
                u[r * kWidth / 2 + c] = static_cast<uint8_t>(128 + ((c + frame) % 32) - 16);
                v[r * kWidth / 2 + c] = static_cast<uint8_t>(128 + ((r + frame) % 32) - 16);
            }
    }
    veltrane::enc::PlaneView View() const {
        return {y.data(), u.data(), v.data(), kWidth, kWidth / 2};
    }
};

struct Streams {
    std::vector<uint8_t> intra, moving, still;
    Streams() {
        veltrane::enc::EncoderConfig config;
        config.width = kWidth;
        config.height = kHeight;
        config.gopLength = 0;
        config.quantiser = 8;
        veltrane::enc::Encoder encoder(config);
        veltrane::enc::EncodedFrame frame;
        Pattern first(0);
        encoder.EncodeFrame(first.View(), &frame);
        intra = frame.data;
        Pattern second(1);
        encoder.EncodeFrame(second.View(), &frame);
        moving = frame.data;
        encoder.EncodeFrame(second.View(), &frame);
        still = frame.data;
    }
};

const Streams& TheStreams() {
    static const Streams streams;
    return streams;
}

void Decode(benchmark::State& state, const std::vector<uint8_t>& prefix,
            const std::vector<uint8_t>& frame) {
    veltrane::test::TestAllocator allocator;
    void* decoder = nullptr;
    if (H263DecompressOpen(&decoder, kWidth, kHeight, &allocator) != 0) {
        state.SkipWithError("open failed");
        return;
    }
    unsigned char** planes;
    int32_t ys, uvs;
    if (!prefix.empty()) {
        H263DecompressFrame(decoder, prefix.data(), static_cast<int32_t>(prefix.size()), &planes,
                            &ys, &uvs);
    }
    for (auto _ : state) {
        // Type 1 pictures flip the reference each time; content stays comparable.
        const int32_t status = H263DecompressFrame(
            decoder, frame.data(), static_cast<int32_t>(frame.size()), &planes, &ys, &uvs);
        benchmark::DoNotOptimize(status);
    }
    state.counters["bytes"] = static_cast<double>(frame.size());
    state.SetItemsProcessed(state.iterations());
    H263DecompressClose(decoder);
}

void BM_DecodeIntra352x288(benchmark::State& state) { Decode(state, {}, TheStreams().intra); }
void BM_DecodeInterMoving352x288(benchmark::State& state) {
    Decode(state, TheStreams().intra, TheStreams().moving);
}
void BM_DecodeInterMostlySkipped352x288(benchmark::State& state) {
    Decode(state, TheStreams().intra, TheStreams().still);
}

BENCHMARK(BM_DecodeIntra352x288);
BENCHMARK(BM_DecodeInterMoving352x288);
BENCHMARK(BM_DecodeInterMostlySkipped352x288);

}  // namespace
