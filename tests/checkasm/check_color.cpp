// Colour row kernels against their C twins: every combination of Y, U and V
// (which takes in the clamping ranges and every saturation), alpha 0, 255 and
// anything, every width from 0 to 80 and long and odd ones, outputs at any byte
// offset, and every row read and written right up to an inaccessible page.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "checkasm/checkasm.h"
#include "color/color_kernels.h"
#include "support/test_allocator.h"
#include "veltrane/color.h"

namespace veltrane::checkasm {
namespace {

// The arguments of every kernel; each takes the rows it converts.
struct Args {
    const ColorConverter_t* converter;
    const unsigned char* y[2];
    const unsigned char* alpha[2];
    const unsigned char* u;
    const unsigned char* v;
    unsigned char* out[2];
    int width;
};

void Invoke(BgraRowPairKernel k, const Args& a) {
    k(a.converter, a.y[0], a.y[1], a.u, a.v, a.out[0], a.out[1], a.width);
}
void Invoke(BgraAlphaRowPairKernel k, const Args& a) {
    k(a.converter, a.y[0], a.y[1], a.alpha[0], a.alpha[1], a.u, a.v, a.out[0], a.out[1], a.width);
}
void Invoke(BgraRowKernel k, const Args& a) { k(a.converter, a.y[0], a.u, a.v, a.out[0], a.width); }
void Invoke(BgraAlphaRowKernel k, const Args& a) {
    k(a.converter, a.y[0], a.alpha[0], a.u, a.v, a.out[0], a.width);
}
void Invoke(Rgb16RowKernel k, const Args& a) {
    k(a.converter, a.y[0], a.u, a.v, reinterpret_cast<uint16_t*>(a.out[0]), a.width);
}

// Trials 3w, 3w + 1 and 3w + 2 take width w (every width to 80, then the long
// ones) with random samples; the last 128 trials take every (Y, U, V) together,
// which takes in the clamping ranges' edges and every saturation.
constexpr int kLongWidths[] = {127, 128, 129, 352, 353, 1279, 1280, 4095, 4096};
constexpr int kWidthTrials = 3 * (81 + std::size(kLongWidths));
constexpr int kTrials = kWidthTrials + 128;
constexpr int kPairs = 65536;

// The converter of the run.
ColorConverter_t* converter = nullptr;

// Buffers: Y rows 0 and 1, alpha rows 0 and 1, U, V, output rows 0 and 1, the
// inputs random but for alpha: all transparent, all opaque, anything, or a mix
// of 0, 255 and anything. In the all-samples trials chroma pair k of the
// 131072-pixel rows carries U = k mod 256 and V = k / 256, and over the 128
// passes its two pixels take every luma.
void FillInputs(Random& random, const Twins& twins, int n, int width) {
    const int alphaFill = random.Between(0, 3);
    for (int row = 0; row < 2; ++row) {
        unsigned char* a = twins.at(0, 2 + row);
        for (int i = 0; n < kWidthTrials && i < width; ++i) {
            if (alphaFill == 0 || (alphaFill == 3 && a[i] < 64)) a[i] = 0;
            if (alphaFill == 1 || (alphaFill == 3 && a[i] > 192)) a[i] = 255;
        }
        const int pass = n - kWidthTrials;
        for (int k = 0; pass >= 0 && k < kPairs; ++k) {
            twins.at(0, 4)[k] = static_cast<unsigned char>(k & 0xFF);
            twins.at(0, 5)[k] = static_cast<unsigned char>(k >> 8);
            const int luma = 2 * (pass + k + 64 * row);
            twins.at(0, row)[2 * k] = static_cast<unsigned char>(luma & 0xFF);
            twins.at(0, row)[2 * k + 1] = static_cast<unsigned char>((luma + 1) & 0xFF);
            a[2 * k] = static_cast<unsigned char>((k + pass) & 0xFF);
            a[2 * k + 1] = pass % 3 == 0 ? 0 : 255;
        }
    }
}

// Trial n: the outputs at an offset into their memory, followed by a few bytes
// (or none) that must come back unchanged as well as those before. The timings
// (n < 0) take rows of 352 pixels.
Inputs<Args> Prepare(Random& random, int n, int pixelBytes) {
    const int w = n / 3;
    const int width = n < 0               ? 352
                      : n >= kWidthTrials ? 2 * kPairs
                      : w <= 80           ? w
                                          : kLongWidths[w - 81];
    // 16-bit pixels stay at even addresses, where the C rows store them.
    const int alignment = pixelBytes == 4 ? 1 : 2;
    const int offset = alignment * (n >= kWidthTrials ? n % 4 : random.Between(0, 31 / alignment));
    const int slack = n % 2 == 0 || n >= kWidthTrials ? 0 : alignment * random.Between(0, 8);
    const size_t rows = width, chroma = (width + 1) / 2;
    const size_t out = offset + size_t(width) * pixelBytes + slack;
    Inputs<Args> in{Twins(random, {rows, rows, rows, rows, chroma, chroma, out, out})};
    FillInputs(random, in.twins, n, width);
    for (int k = 0; k < 2; ++k) {
        in.args[k] = {converter,
                      {in.twins.at(k, 0), in.twins.at(k, 1)},
                      {in.twins.at(k, 2), in.twins.at(k, 3)},
                      in.twins.at(k, 4),
                      in.twins.at(k, 5),
                      {in.twins.at(k, 6) + offset, in.twins.at(k, 7) + offset},
                      width};
    }
    in.about = [=] {
        return "width " + std::to_string(width) + ", output offset " + std::to_string(offset) +
               " (buffers: Y0, Y1, A0, A1, U, V, out0, out1)";
    };
    return in;
}

}  // namespace

void CheckColorRowKernels(Checker& checker) {
    test::TestAllocator allocator;
    converter = OpenColorConverter(&allocator);
    std::vector<Kernel<ColorRowKernels, Args>> kernels;
    auto add = [&](const std::string& name, int pixelBytes, auto pick) {
        kernels.push_back(MakeKernel<ColorRowKernels, Args>("color." + name, pixelBytes, pick));
    };
    add("bgraRowPair", 4, [](const ColorRowKernels& t) { return t.bgraRowPair; });
    add("bgraAlphaRowPair", 4, [](const ColorRowKernels& t) { return t.bgraAlphaRowPair; });
    add("bgraRow", 4, [](const ColorRowKernels& t) { return t.bgraRow; });
    add("bgraAlphaRow", 4, [](const ColorRowKernels& t) { return t.bgraAlphaRow; });
    add("rgb555Row", 2, [](const ColorRowKernels& t) { return t.rgb16Row[kRgb555]; });
    add("rgb565Row", 2, [](const ColorRowKernels& t) { return t.rgb16Row[kRgb565]; });
    add("argb4444Row", 2, [](const ColorRowKernels& t) { return t.rgb16Row[kArgb4444]; });
    CheckKernels(checker, kColorRowKernelsC, SelectColorRowKernels, kTrials, Prepare, kernels);
    CloseColorConverter(converter);
}

}  // namespace veltrane::checkasm
