// Colour conversion speed: a CIF picture into a BGRA image (with and without an
// alpha plane) and one 352-pixel row blitted to 32-bit and 16-bit surfaces.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace {

constexpr int kWidth = 352;
constexpr int kHeight = 288;

// A picture with smooth gradients, some noise and a share of out-of-range
// colours, so that the saturation fix-up runs as often as in real footage.
class Picture {
public:
    Picture()
        : y_(size_t{kWidth} * kHeight),
          u_(size_t{kWidth / 2} * (kHeight / 2)),
          v_(u_.size()),
          alpha_(y_.size()) {
        uint32_t seed = 12345;
        auto noise = [&seed] {
            seed = seed * 1664525u + 1013904223u;
            return static_cast<int>(seed >> 28);
        };
        for (int r = 0; r < kHeight; ++r) {
            for (int c = 0; c < kWidth; ++c) {
                y_[size_t(r) * kWidth + c] = static_cast<unsigned char>((c + r + noise()) & 0xFF);
                alpha_[size_t(r) * kWidth + c] = static_cast<unsigned char>((r * 3 + c) & 0xFF);
            }
        }
        for (int r = 0; r < kHeight / 2; ++r) {
            for (int c = 0; c < kWidth / 2; ++c) {
                u_[size_t(r) * (kWidth / 2) + c] = static_cast<unsigned char>(c + noise());
                v_[size_t(r) * (kWidth / 2) + c] = static_cast<unsigned char>(r * 2 + noise());
            }
        }
        converter_ = OpenColorConverter(&allocator_);
        planes_ = {y_.data(), u_.data(), v_.data(), nullptr};
        session_ = {nullptr, converter_, kWidth, kHeight, &planes_, kWidth, kWidth / 2, 0, 1};
    }
    ~Picture() { CloseColorConverter(converter_); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    const ColorConverter_t* converter() const { return converter_; }
    const unsigned char* y() const { return y_.data(); }
    const unsigned char* u() const { return u_.data(); }
    const unsigned char* v() const { return v_.data(); }
    const unsigned char* alpha() const { return alpha_.data(); }
    DecompressSession_t* session() { return &session_; }

private:
    std::vector<unsigned char> y_, u_, v_, alpha_;
    veltrane::test::TestAllocator allocator_;
    ColorConverter_t* converter_ = nullptr;
    DecompressPlanes_t planes_{};
    DecompressSession_t session_{};
};

// A top-down CIF image over `pixels`.
QXImage_t ImageOver(std::vector<uint32_t>& pixels) {
    QXImage_t image{};
    image.format = kQXImageFormatBGRA32;
    image.width = kWidth;
    image.height = kHeight;
    image.rowBytes = kWidth * 4;
    image.pixels = reinterpret_cast<unsigned char*>(pixels.data());
    return image;
}

void BM_ConvertToBGRA(benchmark::State& state) {
    Picture picture;
    std::vector<uint32_t> pixels(size_t{kWidth} * kHeight);
    QXImage_t image = ImageOver(pixels);
    for (auto _ : state) {
        ConvertCharYUV12ToBGRA(picture.converter(), kWidth, kHeight, kWidth, kWidth / 2,
                               picture.y(), picture.u(), picture.v(), &image, 0);
        benchmark::DoNotOptimize(pixels.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_ConvertToBGRA);

void BM_ConvertToBGRAWithAlpha(benchmark::State& state) {
    Picture picture;
    std::vector<uint32_t> pixels(size_t{kWidth} * kHeight);
    QXImage_t image = ImageOver(pixels);
    for (auto _ : state) {
        ConvertCharYUV12AToBGRA(picture.converter(), kWidth, kHeight, kWidth, kWidth / 2, kWidth,
                                picture.y(), picture.u(), picture.v(), picture.alpha(), &image, 0);
        benchmark::DoNotOptimize(pixels.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_ConvertToBGRAWithAlpha);

void BM_BlitRowTo32(benchmark::State& state) {
    Picture picture;
    std::vector<uint32_t> row(kWidth);
    int32_t line = 0;
    for (auto _ : state) {
        BlitYUVto32(picture.session(), 0, line, kWidth, row.data());
        line = (line + 1) % kHeight;
        benchmark::DoNotOptimize(row.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth);
}
BENCHMARK(BM_BlitRowTo32);

void BM_BlitRowTo16(benchmark::State& state) {
    Picture picture;
    std::vector<uint16_t> row(kWidth);
    int32_t line = 0;
    for (auto _ : state) {
        BlitYUVto16(picture.session(), 0, line, kWidth, row.data(), ePixelFormatRGB565);
        line = (line + 1) % kHeight;
        benchmark::DoNotOptimize(row.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth);
}
BENCHMARK(BM_BlitRowTo16);

}  // namespace
