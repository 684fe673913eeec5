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
    switch (range) {
        case kSmall:
            return static_cast<int16_t>(random.Between(-2, 2));
        case kTypical:
            return static_cast<int16_t>(random.Between(-300, 300));
        case kDecoder:
            if (random.Between(0, 7) == 0) return random.Next() & 1 ? 2047 : -2048;
            return static_cast<int16_t>(random.Between(-2048, 2047));
        default:
            return static_cast<int16_t>(random.Next() >> 16);
    }
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
    kShapes
};
const char* const kShapeNames[kShapes] = {"dc only",  "corner",       "sparse",      "dense",
                                          "at bound", "beyond bound", "large row 0", "column sums"};

// One column set up so that its column output n is as large as 2 a0 + 13 a1 =
// limit allows, a0 = |x0| and a1 = |x1..x7|: at the bound (16383) the output
// comes within 3 of 32767, beyond it the column goes to the plain kernel.
void ExtremeColumn(Random& random, Block& b, int limit) {
    const int column = random.Between(0, 7);
    const int n = random.Between(0, 7);
    const int sign = random.Next() & 1 ? 1 : -1;
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
    if (random.Next() & 1) {
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
        if (random.Next() & 1) b[8 * r + column] = static_cast<int16_t>(-b[8 * r + column]);
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
            ExtremeColumn(random, b, random.Next() & 1 ? 16384 : random.Between(16385, 3 * 32767));
            if (random.Between(0, 3) == 0) b[random.Between(0, 63)] = -32768;
            break;
        case kColumnSums:
            for (int c = 0; c < 8; ++c)
                FillColumnWithSum(random, b, c, 5905 + random.Between(-3, 1));
            break;
        case kLargeRow:  // row pass outputs up to about 7650: saturation of every kind
            for (int k = 0; k < 8; ++k) b[k] = static_cast<int16_t>(random.Between(-8185, 8185));
            if (random.Next() & 1) b[random.Between(8, 63)] = random.Next() & 1 ? 1 : -1;
            break;
        default:
            break;
    }
    return b;
}

// A block whose output 0 (mostly row 0 times 0.934) sweeps across 4096 minus
// the prediction: sums land on 4095 and 4096; without prediction, the output
// itself is 4095 for m = 4384 and 4096 for m = 4385. A term in rows 1-7 takes
// it through the full transforms rather than the row 0 shortcut.
Block SumEdgeBlock(Random& random) {
    Block b{};
    const int m = random.Next() & 1 ? random.Between(4100, 4400) : random.Between(4380, 4390);
    for (int k = 0; k < 8; ++k) b[k] = static_cast<int16_t>(m);
    if (random.Next() & 1) b[random.Between(8, 63)] = random.Next() & 1 ? 1 : -1;
    return b;
}

// A plane of 8 rows of `stride` elements with the block in the last 8 of each
// row: its last element is the last of the memory, and odd strides leave it
// at every alignment.
template <typename T>
struct Plane {
    GuardedBuffer memory;
    ptrdiff_t stride;
    Plane(Random& random, ptrdiff_t stride_) : memory(8 * stride_ * sizeof(T)), stride(stride_) {
        random.FillBytes(memory.data(), memory.size());
    }
    T* base() const { return reinterpret_cast<T*>(memory.data()); }
    T* block() const { return base() + stride - 8; }
};

// Predictions: random, or all at 0 or 255.
void FillPrediction(Random& random, Plane<unsigned char>& plane) {
    const int mode = random.Between(0, 3);
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c)
            plane.block()[r * plane.stride + c] =
                mode == 0   ? 0
                : mode == 1 ? 255
                            : static_cast<unsigned char>(random.Next() >> 24);
}

// The kernels of a table, wrapped to a common form: the coefficients, then a
// byte plane and an int16 plane (whichever the kernel writes).
using Pix = Plane<unsigned char>;
using Res = Plane<int16_t>;
struct Kernel {
    const char* name;
    const void* (*entry)(const IdctKernels&);  // to tell the tables' entries apart
    void (*call)(const IdctKernels&, const int16_t*, Pix&, Res&);
    bool pixels;   // writes the byte plane
    bool samples;  // writes the int16 plane
};

template <typename Function>
const void* Address(Function f) {
    return reinterpret_cast<const void*>(f);
}

const Kernel kKernels[] = {
    {"toPixels", [](const IdctKernels& t) { return Address(t.toPixels); },
     [](const IdctKernels& t, const int16_t* c, Pix& p, Res&) {
         t.toPixels(c, p.block(), p.stride);
     },
     true, false},
    {"toResidual", [](const IdctKernels& t) { return Address(t.toResidual); },
     [](const IdctKernels& t, const int16_t* c, Pix&, Res& r) {
         t.toResidual(c, r.block(), r.stride);
     },
     false, true},
    {"cornerToResidual", [](const IdctKernels& t) { return Address(t.cornerToResidual); },
     [](const IdctKernels& t, const int16_t* c, Pix&, Res& r) {
         t.cornerToResidual(c, r.block(), r.stride);
     },
     false, true},
    {"add", [](const IdctKernels& t) { return Address(t.add); },
     [](const IdctKernels& t, const int16_t* c, Pix& p, Res& r) {
         t.add(c, p.block(), p.stride, r.block(), r.stride);
     },
     true, true},
    {"cornerAdd", [](const IdctKernels& t) { return Address(t.cornerAdd); },
     [](const IdctKernels& t, const int16_t* c, Pix& p, Res& r) {
         t.cornerAdd(c, p.block(), p.stride, r.block(), r.stride);
     },
     true, true},
    {"dcAdd", [](const IdctKernels& t) { return Address(t.dcAdd); },
     [](const IdctKernels& t, const int16_t* c, Pix& p, Res& r) {
         t.dcAdd(c, p.block(), p.stride, r.block(), r.stride);
     },
     true, true},
};

std::string Describe(const Block& b) {
    std::string s;
    for (int i = 0; i < 64; ++i) s += (i ? (i % 8 ? " " : " / ") : "") + std::to_string(b[i]);
    return s;
}

// Runs both twins on one block and compares everything they may touch; returns
// what differed, or an empty string.
std::string Compare(const Kernel& kernel, const IdctKernels& simd, const Block& block,
                    Random& random, bool sumEdge) {
    // The coefficients end the memory, or sit at a 2-byte offset.
    const size_t offset = random.Next() & 1 ? 0 : 2 * random.Between(1, 15);
    GuardedBuffer coefficients(sizeof(Block) + offset);
    auto* c = reinterpret_cast<int16_t*>(coefficients.data());
    std::memcpy(c, block.data(), sizeof(Block));
    const ptrdiff_t stride = random.Between(8, 48);
    const ptrdiff_t samplesStride = random.Between(8, 24);
    Plane<unsigned char> expectedPixels(random, stride), actualPixels(random, stride);
    Plane<int16_t> expectedSamples(random, samplesStride), actualSamples(random, samplesStride);
    if (sumEdge) {
        for (int r = 0; r < 8; ++r)
            std::memset(expectedPixels.block() + r * stride, random.Between(0, 255), 8);
    } else {
        FillPrediction(random, expectedPixels);
    }
    std::memcpy(actualPixels.memory.data(), expectedPixels.memory.data(),
                expectedPixels.memory.size());
    std::memcpy(actualSamples.memory.data(), expectedSamples.memory.data(),
                expectedSamples.memory.size());
    kernel.call(kIdctKernelsC, c, expectedPixels, expectedSamples);
    kernel.call(simd, c, actualPixels, actualSamples);
    std::string diff;
    if (kernel.pixels)
        diff = CompareBytes(expectedPixels.base(), actualPixels.base(), static_cast<int>(stride), 8,
                            stride);
    if (diff.empty() && kernel.samples) {
        diff = CompareInt16(expectedSamples.base(), actualSamples.base(),
                            static_cast<int>(samplesStride), 8, samplesStride);
        if (!diff.empty()) diff = "int16 output " + diff;
    }
    if (diff.empty() && std::memcmp(c, block.data(), sizeof(Block)) != 0)
        diff = "coefficients written";
    return diff.empty()
               ? diff
               : diff + " (stride " + std::to_string(stride) + ", block " + Describe(block) + ")";
}

// Realistic blocks for the timings: mostly a DC and a few low-frequency terms.
std::vector<Block> BenchBlocks(Random& random, bool dense) {
    constexpr int kLowFrequencies[] = {1, 8, 16, 9, 2, 3, 10, 17, 24, 32, 25, 18, 11, 4};
    std::vector<Block> blocks(256);
    for (Block& b : blocks) {
        b.fill(0);
        b[0] = static_cast<int16_t>(random.Between(-400, 1600));
        if (dense) {
            for (int i = 1; i < 64; ++i) b[i] = static_cast<int16_t>(random.Between(-200, 200));
        } else {
            for (int n = random.Between(0, 5); n > 0; --n)
                b[kLowFrequencies[random.Between(0, 13)]] =
                    static_cast<int16_t>(random.Between(-80, 80));
        }
    }
    return blocks;
}

void CheckKernel(Checker& checker, const InstructionSet& set, const IdctKernels& simd,
                 const Kernel& kernel) {
    const std::string name = std::string("idct.") + kernel.name;
    if (!checker.Wanted(name)) return;
    Random& random = checker.random();
    for (int shape = 0; shape <= kShapes; ++shape) {
        for (int trial = 0; trial < 400; ++trial) {
            const bool sumEdge = shape == kShapes;
            const Block block = sumEdge ? SumEdgeBlock(random)
                                        : MakeBlock(random, static_cast<Shape>(shape),
                                                    static_cast<Range>(trial % kRanges));
            const std::string diff = Compare(kernel, simd, block, random, sumEdge);
            if (!diff.empty()) {
                checker.Fail(
                    name, set.name,
                    std::string(sumEdge ? "sums at 4096" : kShapeNames[shape]) + ": " + diff);
                return;
            }
        }
    }
    checker.Pass(name, set.name);
    if (!checker.benchmarking()) return;
    for (const bool dense : {false, true}) {
        const std::vector<Block> blocks = BenchBlocks(random, dense);
        Plane<unsigned char> pixels(random, 64);
        Plane<int16_t> samples(random, 64);
        size_t next = 0;
        auto run = [&](const IdctKernels& table) {
            return [&, table] {
                kernel.call(table, blocks[next].data(), pixels, samples);
                next = (next + 1) % blocks.size();
            };
        };
        checker.Bench(name + (dense ? " dense" : " sparse"), set.name, run(kIdctKernelsC),
                      run(simd));
    }
}

}  // namespace

void CheckIdctKernels(Checker& checker) {
    std::vector<const IdctKernels*> checked{&kIdctKernelsC};
    for (const InstructionSet& set : SupportedInstructionSets()) {
        const IdctKernels& simd = *SelectIdctKernels(set.features)();
        if (std::find(checked.begin(), checked.end(), &simd) != checked.end()) continue;
        checked.push_back(&simd);
        for (const Kernel& kernel : kKernels) {
            if (kernel.entry(simd) != kernel.entry(kIdctKernelsC))
                CheckKernel(checker, set, simd, kernel);
        }
    }
}

}  // namespace veltrane::checkasm
