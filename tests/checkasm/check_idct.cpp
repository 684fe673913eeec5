// Inverse transform kernels against their C twins: blocks of every density over
// the decoder's range and the whole 16-bit range, blocks right at the bound up
// to which the SIMD kernels keep the column pass in 16 bits and blocks beyond it
// (which must still match, through the plain kernels), row pass outputs over
// their whole range for the saturation, predictions and sums at 0, 255, 4095 and
// 4096, odd strides and destinations whose last byte ends the memory.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "checkasm/checkasm.h"
#include "recon/idct_kernels.h"

namespace veltrane::checkasm {
namespace {

using Block = std::array<int16_t, 64>;

// What the plain corner kernels read.
constexpr int kCornerPositions[] = {0, 1, 2, 3, 8, 9, 10, 16, 17, 24, 25};

// Sign of the DCT basis function k at output n (k > 0): the signs of the
// transform's factors, which a block needs to drive output n to its extreme.
int BasisSign(int n, int k) {
    return std::cos((2 * n + 1) * k * 3.14159265358979 / 16) > 0 ? 1 : -1;
}

// Coefficient ranges: the smallest levels, typical of real blocks, the
// decoder's whole range (its limits often), any 16-bit value.
enum Range { kSmall, kTypical, kDecoder, kWide, kRanges };

int16_t Coefficient(Random& random, Range range) {
    constexpr int kLimits[] = {2, 300, 2048};
    if (range == kWide) return static_cast<int16_t>(random.Next() >> 16);
    if (range == kDecoder && random.Between(0, 7) == 0) return random.Coin() ? 2047 : -2048;
    return static_cast<int16_t>(
        random.Between(-kLimits[range], kLimits[range] - (range == kDecoder)));
}

enum Shape {
    kDcOnly,
    kCorner,
    kSparse,
    kDense,
    kAtBound,
    kBeyondBound,
    kLargeRow,
    kColumnSums,
    kSumEdge,
    kShapes
};
const char* const kShapeNames[kShapes] = {"dc only",     "corner",      "sparse",
                                          "dense",       "at bound",    "beyond bound",
                                          "large row 0", "column sums", "sums at 4096"};
constexpr int kTrialsPerShape = 400;

// One column set up so that its column output n is as large as 2 a0 + 13 a1 =
// limit allows, a0 = |x0| and a1 = |x1..x7|: at the bound (16383) the output
// comes within 3 of 32767, beyond it the column goes to the plain kernel.
void ExtremeColumn(Random& random, Block& b, int limit) {
    const int column = random.Between(0, 7);
    const int n = random.Between(0, 7);
    const int sign = random.Coin() ? 1 : -1;
    int a1 =
        random.Between(0, 3) == 0 ? random.Between(0, 1) * 1260 : random.Between(0, limit / 13);
    a1 = std::min(a1, 32767);
    const int a0 = std::min((limit - 13 * a1 + (limit > 16383)) / 2, 32767);
    b[column] = static_cast<int16_t>(sign * a0);
    for (int k = 1; k < 8; ++k)
        b[8 * k + column] = static_cast<int16_t>(sign * BasisSign(n, k) * a1);
}

// A column whose magnitudes add up to `sum`, half of the time all of it in one
// row, where the largest factor makes the largest output: the bound of a column
// pass that tests the sum of a column's magnitudes (NEON: 5905) lies in between.
void FillColumnWithSum(Random& random, Block& b, int column, int sum) {
    for (int r = 0; r < 8; ++r) b[8 * r + column] = 0;
    int left = sum;
    if (random.Coin()) {
        b[8 * random.Between(0, 7) + column] = static_cast<int16_t>(sum);
        left = 0;
    }
    while (left > 0) {
        const int r = random.Between(0, 7);
        const int step = std::min(left, random.Between(1, 2048));
        b[8 * r + column] = static_cast<int16_t>(std::abs(b[8 * r + column]) + step);
        left -= step;
    }
    for (int r = 0; r < 8; ++r) {
        if (random.Coin()) b[8 * r + column] = static_cast<int16_t>(-b[8 * r + column]);
    }
}

Block MakeBlock(Random& random, Shape shape, Range range) {
    Block b{};
    switch (shape) {
        case kDcOnly:
            b[0] = Coefficient(random, range);
            break;
        case kCorner:
            for (int pos : kCornerPositions)
                if (random.Between(0, 2)) b[pos] = Coefficient(random, range);
            break;
        case kSparse:
            for (int n = random.Between(1, 6); n > 0; --n)
                b[random.Between(0, 63)] = Coefficient(random, range);
            break;
        case kDense:
            for (int16_t& c : b) c = Coefficient(random, range);
            break;
        case kAtBound:
            for (int16_t& c : b) c = static_cast<int16_t>(random.Between(-40, 40));
            ExtremeColumn(random, b, 16383);
            break;
        case kBeyondBound:
            ExtremeColumn(random, b, random.Coin() ? 16384 : random.Between(16385, 3 * 32767));
            if (random.Between(0, 3) == 0) b[random.Between(0, 63)] = -32768;
            break;
        case kColumnSums:
            for (int c = 0; c < 8; ++c)
                FillColumnWithSum(random, b, c, 5905 + random.Between(-3, 1));
            break;
        case kLargeRow:  // row pass outputs up to about 7650: saturation of every kind
            for (int k = 0; k < 8; ++k) b[k] = static_cast<int16_t>(random.Between(-8185, 8185));
            if (random.Coin()) b[random.Between(8, 63)] = random.Coin() ? 1 : -1;
            break;
        case kSumEdge: {
            // Output 0 (mostly row 0 times 0.934) sweeps across 4096 minus the
            // prediction: sums land on 4095 and 4096; without prediction, the
            // output itself is 4095 for m = 4384 and 4096 for m = 4385. A term in
            // rows 1-7 takes it through the full transforms rather than the row
            // 0 shortcut.
            const int m = random.Coin() ? random.Between(4100, 4400) : random.Between(4380, 4390);
            for (int k = 0; k < 8; ++k) b[k] = static_cast<int16_t>(m);
            if (random.Coin()) b[random.Between(8, 63)] = random.Coin() ? 1 : -1;
            break;
        }
        default:
            break;
    }
    return b;
}

// The arguments of every kernel: the coefficients, a byte plane and an int16
// plane.
struct Args {
    const int16_t* coefficients;
    unsigned char* pixels;
    ptrdiff_t stride;
    int16_t* samples;
    ptrdiff_t samplesStride;
};

// Calls a kernel of any form with the arguments it takes.
void Invoke(IdctToPixelsKernel k, const Args& a) { k(a.coefficients, a.pixels, a.stride); }
void Invoke(IdctToResidualKernel k, const Args& a) {
    k(a.coefficients, a.samples, a.samplesStride);
}
void Invoke(IdctAddKernel k, const Args& a) {
    k(a.coefficients, a.pixels, a.stride, a.samples, a.samplesStride);
}

std::string Describe(const Block& b) {
    std::string s;
    for (int i = 0; i < 64; ++i) s += (i ? (i % 8 ? " " : " / ") : "") + std::to_string(b[i]);
    return s;
}

// Trial n: a block of shape n / kTrialsPerShape over range n % kRanges (the
// timings' trials, n < 0: typical levels in sparse blocks, every fourth
// dense), the coefficients ending the memory or at a 2-byte offset before its
// end, and two planes of 8 rows of odd strides with the block in the last 8
// samples of each row, so that the block's last sample is the last of the
// memory. The prediction is random, or all 0 or 255, or a random level a row.
Inputs<Args> Prepare(Random& random, int n, int) {
    const Shape shape = n < 0 ? (n % 4 ? kSparse : kDense) : Shape(n / kTrialsPerShape);
    const Block block = MakeBlock(random, shape, n < 0 ? kTypical : Range(n % kRanges));
    const size_t offset = random.Coin() ? 0 : 2 * random.Between(1, 15);
    const ptrdiff_t stride = random.Between(8, 48);
    const ptrdiff_t samplesStride = random.Between(8, 24);
    Inputs<Args> in{
        Twins(random, {sizeof(Block) + offset, size_t(8 * stride), size_t(16 * samplesStride)})};
    std::memcpy(in.twins.at(0, 0), block.data(), sizeof(Block));
    const int prediction = shape == kSumEdge ? 2 : random.Between(0, 3);
    for (int r = 0; prediction < 3 && r < 8; ++r) {
        const int level = prediction == 2 ? random.Between(0, 255) : 255 * prediction;
        std::memset(in.twins.at(0, 1) + r * stride + stride - 8, level, 8);
    }
    for (int w = 0; w < 2; ++w) {
        in.args[w] = {in.twins.as<int16_t>(w, 0), in.twins.at(w, 1) + stride - 8, stride,
                      in.twins.as<int16_t>(w, 2) + samplesStride - 8, samplesStride};
    }
    in.about = [=] {
        return std::string(kShapeNames[shape]) + " (buffers: coefficients, pixels, samples; " +
               "strides " + std::to_string(stride) + ", " + std::to_string(samplesStride) +
               "; block " + Describe(block) + ")";
    };
    return in;
}

}  // namespace

void CheckIdctKernels(Checker& checker) {
    std::vector<Kernel<IdctKernels, Args>> kernels;
    auto add = [&](const char* name, auto member) {
        kernels.push_back(MakeKernel<IdctKernels, Args>(
            std::string("idct.") + name, 0, [member](const IdctKernels& t) { return t.*member; }));
    };
    add("toPixels", &IdctKernels::toPixels);
    add("toResidual", &IdctKernels::toResidual);
    add("cornerToResidual", &IdctKernels::cornerToResidual);
    add("add", &IdctKernels::add);
    add("cornerAdd", &IdctKernels::cornerAdd);
    add("dcAdd", &IdctKernels::dcAdd);
    CheckKernels(checker, kIdctKernelsC, SelectIdctKernels, kShapes * kTrialsPerShape, Prepare,
                 kernels);
}

}  // namespace veltrane::checkasm
