// Colour row kernels against their C twins: every combination of Y, U and V
// (which takes in the clamping ranges and every saturation), alpha 0, 255 and
// anything, every width from 0 to 80 and long and odd ones, outputs at any byte
// offset, and every row read and written right up to an inaccessible page.
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "checkasm/checkasm.h"
#include "color/color_kernels.h"
#include "support/test_allocator.h"
#include "veltrane/color.h"

namespace veltrane::checkasm {
namespace {

// The arguments of one call; `y[1]`, `alpha` and `out[1]` only where the kernel
// takes them.
struct Call {
    const ColorConverter_t* converter;
    const unsigned char* y[2];
    const unsigned char* alpha[2];
    const unsigned char* u;
    const unsigned char* v;
    unsigned char* out[2];
    int width;
};

using AnyKernel = void (*)();

// One entry of the table: how to find it and how to call it.
struct Entry {
    std::string name;
    int rows;
    bool alpha;
    int pixelBytes;
    std::function<AnyKernel(const ColorRowKernels&)> pick;
    std::function<void(const ColorRowKernels&, const Call&)> run;
};

std::vector<Entry> Entries() {
    std::vector<Entry> entries = {
        {"color.bgraRowPair", 2, false, 4,
         [](const ColorRowKernels& k) { return reinterpret_cast<AnyKernel>(k.bgraRowPair); },
         [](const ColorRowKernels& k, const Call& c) {
             k.bgraRowPair(c.converter, c.y[0], c.y[1], c.u, c.v, c.out[0], c.out[1], c.width);
         }},
        {"color.bgraAlphaRowPair", 2, true, 4,
         [](const ColorRowKernels& k) { return reinterpret_cast<AnyKernel>(k.bgraAlphaRowPair); },
         [](const ColorRowKernels& k, const Call& c) {
             k.bgraAlphaRowPair(c.converter, c.y[0], c.y[1], c.alpha[0], c.alpha[1], c.u, c.v,
                                c.out[0], c.out[1], c.width);
         }},
        {"color.bgraRow", 1, false, 4,
         [](const ColorRowKernels& k) { return reinterpret_cast<AnyKernel>(k.bgraRow); },
         [](const ColorRowKernels& k, const Call& c) {
             k.bgraRow(c.converter, c.y[0], c.u, c.v, c.out[0], c.width);
         }},
        {"color.bgraAlphaRow", 1, true, 4,
         [](const ColorRowKernels& k) { return reinterpret_cast<AnyKernel>(k.bgraAlphaRow); },
         [](const ColorRowKernels& k, const Call& c) {
             k.bgraAlphaRow(c.converter, c.y[0], c.alpha[0], c.u, c.v, c.out[0], c.width);
         }},
    };
    const char* const layoutNames[3] = {"rgb555", "rgb565", "argb4444"};
    for (int layout = 0; layout < 3; ++layout) {
        entries.push_back({std::string("color.") + layoutNames[layout] + "Row", 1, false, 2,
                           [layout](const ColorRowKernels& k) {
                               return reinterpret_cast<AnyKernel>(k.rgb16Row[layout]);
                           },
                           [layout](const ColorRowKernels& k, const Call& c) {
                               k.rgb16Row[layout](c.converter, c.y[0], c.u, c.v,
                                                  reinterpret_cast<uint16_t*>(c.out[0]), c.width);
                           }});
    }
    return entries;
}

// The input rows of one call, each ending at the last byte of its own memory.
struct Inputs {
    GuardedBuffer y0, y1, alpha0, alpha1, u, v;
    explicit Inputs(int width)
        : y0(width),
          y1(width),
          alpha0(width),
          alpha1(width),
          u((width + 1) / 2),
          v((width + 1) / 2) {}
    unsigned char* y(int row) const { return row == 0 ? y0.data() : y1.data(); }
    unsigned char* alpha(int row) const { return row == 0 ? alpha0.data() : alpha1.data(); }
};

// One output row at byte offset `offset` of its memory, followed by `slack`
// bytes; everything around the row is filled and must come back unchanged.
struct Output {
    GuardedBuffer memory;
    int offset;
    Output(size_t bytes, int offset_, int slack)
        : memory(offset_ + bytes + slack), offset(offset_) {}
    unsigned char* row() const { return memory.data() + offset; }
};

// Colours that leave 0..255 in every way the converter knows (one channel high,
// another low, a borrow between fields), and the edges of the clamping ranges.
constexpr unsigned char kHardSamples[][3] = {
    {81, 90, 240},   {145, 54, 34},  {41, 240, 110}, {0, 0, 0},      {255, 255, 255},
    {255, 0, 255},   {100, 16, 240}, {16, 16, 182},  {138, 16, 42},  {16, 128, 128},
    {235, 128, 128}, {15, 17, 239},  {236, 241, 15}, {234, 16, 240}, {17, 0, 255},
};
constexpr unsigned char kEdgeSamples[] = {0,   1,   15,  16,  17,  127, 128, 129,
                                          234, 235, 236, 239, 240, 241, 254, 255};

enum class Fill { kRandom, kHard, kEdges };

void FillInputs(Random& random, const Inputs& in, int width, Fill fill) {
    const int chroma = (width + 1) / 2;
    for (int row = 0; row < 2; ++row) random.FillBytes(in.y(row), width);
    random.FillBytes(in.u.data(), chroma);
    random.FillBytes(in.v.data(), chroma);
    if (fill == Fill::kHard) {
        for (int k = 0; k < chroma; ++k) {
            const auto& sample = kHardSamples[random.Between(0, std::size(kHardSamples) - 1)];
            in.u.data()[k] = sample[1];
            in.v.data()[k] = sample[2];
            for (int row = 0; row < 2; ++row) {
                for (int i = 2 * k; i < std::min(2 * k + 2, width); ++i) in.y(row)[i] = sample[0];
            }
        }
    } else if (fill == Fill::kEdges) {
        auto edge = [&] { return kEdgeSamples[random.Between(0, std::size(kEdgeSamples) - 1)]; };
        for (int row = 0; row < 2; ++row) {
            for (int i = 0; i < width; ++i) in.y(row)[i] = edge();
        }
        for (int k = 0; k < chroma; ++k) {
            in.u.data()[k] = edge();
            in.v.data()[k] = edge();
        }
    }
    // Alpha: all transparent, all opaque, anything, or a mix of 0, 255 and anything.
    const int alphaFill = random.Between(0, 3);
    for (int row = 0; row < 2; ++row) {
        unsigned char* a = in.alpha(row);
        random.FillBytes(a, width);
        for (int i = 0; i < width; ++i) {
            if (alphaFill == 0 || (alphaFill == 3 && a[i] < 64)) a[i] = 0;
            if (alphaFill == 1 || (alphaFill == 3 && a[i] > 192)) a[i] = 255;
        }
    }
}

// Describes the first difference between the expected and the actual output
// memory, with the samples of the pixel concerned.
std::string Difference(const Entry& entry, const Inputs& in, int row, const Output& expected,
                       const Output& actual) {
    const unsigned char* e = expected.memory.data();
    const unsigned char* a = actual.memory.data();
    const size_t size = expected.memory.size();
    const size_t at = std::mismatch(e, e + size, a).first - e;
    if (at == size) return {};
    const ptrdiff_t byte = static_cast<ptrdiff_t>(at) - expected.offset;
    const int rowBytes = static_cast<int>(size) - expected.offset;
    std::string what = "row " + std::to_string(row) + ": ";
    if (byte < 0 || byte >= rowBytes) {
        return what + "byte " + std::to_string(byte) + " outside the pixels changed";
    }
    const int pixel = static_cast<int>(byte) / entry.pixelBytes;
    auto hex = [&](const unsigned char* p) {
        uint32_t word = 0;
        std::memcpy(&word, p + expected.offset + pixel * entry.pixelBytes, entry.pixelBytes);
        char text[16];
        std::snprintf(text, sizeof(text), "0x%0*X", entry.pixelBytes * 2, word);
        return std::string(text);
    };
    what += "pixel " + std::to_string(pixel) + " (Y " + std::to_string(in.y(row)[pixel]) + " U " +
            std::to_string(in.u.data()[pixel / 2]) + " V " + std::to_string(in.v.data()[pixel / 2]);
    if (entry.alpha) what += " A " + std::to_string(in.alpha(row)[pixel]);
    return what + "): expected " + hex(e) + ", got " + hex(a);
}

// Calls both kernels on `in` for `width` pixels, into outputs at `offset` bytes
// into their memory with `slack` bytes after them; describes the first
// difference, or returns an empty string.
std::string Compare(const Entry& entry, const ColorRowKernels& c, const ColorRowKernels& simd,
                    const ColorConverter_t* converter, Random& random, const Inputs& in, int width,
                    int offset, int slack) {
    const size_t bytes = static_cast<size_t>(width) * entry.pixelBytes;
    std::vector<std::unique_ptr<Output>> expected;
    std::vector<std::unique_ptr<Output>> actual;
    for (int row = 0; row < entry.rows; ++row) {
        expected.push_back(std::make_unique<Output>(bytes, offset, slack));
        actual.push_back(std::make_unique<Output>(bytes, offset, slack));
        random.FillBytes(expected[row]->memory.data(), expected[row]->memory.size());
        std::memcpy(actual[row]->memory.data(), expected[row]->memory.data(),
                    expected[row]->memory.size());
    }
    auto call = [&](const std::vector<std::unique_ptr<Output>>& out) {
        Call args{converter,   {in.y(0), in.y(1)}, {in.alpha(0), in.alpha(1)},
                  in.u.data(), in.v.data(),        {out[0]->row(), nullptr},
                  width};
        if (entry.rows == 2) args.out[1] = out[1]->row();
        return args;
    };
    entry.run(c, call(expected));
    entry.run(simd, call(actual));
    for (int row = 0; row < entry.rows; ++row) {
        std::string diff = Difference(entry, in, row, *expected[row], *actual[row]);
        if (!diff.empty()) return "width " + std::to_string(width) + ", " + diff;
    }
    return {};
}

// Every (Y, U, V): chroma pair k of a 131072-pixel row carries U = k mod 256 and
// V = k / 256, and over 128 passes its two pixels take every luma value.
std::string CompareAllSamples(const Entry& entry, const ColorRowKernels& c,
                              const ColorRowKernels& simd, const ColorConverter_t* converter,
                              Random& random) {
    constexpr int kPairs = 65536;
    constexpr int kWidth = 2 * kPairs;
    const Inputs in(kWidth);
    for (int k = 0; k < kPairs; ++k) {
        in.u.data()[k] = static_cast<unsigned char>(k & 0xFF);
        in.v.data()[k] = static_cast<unsigned char>(k >> 8);
    }
    for (int pass = 0; pass < 128; ++pass) {
        for (int k = 0; k < kPairs; ++k) {
            for (int row = 0; row < 2; ++row) {
                const int luma = 2 * (pass + k + 64 * row);
                in.y(row)[2 * k] = static_cast<unsigned char>(luma & 0xFF);
                in.y(row)[2 * k + 1] = static_cast<unsigned char>((luma + 1) & 0xFF);
                in.alpha(row)[2 * k] = static_cast<unsigned char>((k + pass) & 0xFF);
                in.alpha(row)[2 * k + 1] = static_cast<unsigned char>(pass % 3 == 0 ? 0 : 255);
            }
        }
        const std::string diff =
            Compare(entry, c, simd, converter, random, in, kWidth, pass % 4, 0);
        if (!diff.empty()) return diff;
    }
    return {};
}

void CheckEntry(Checker& checker, const InstructionSet& set, const Entry& entry,
                const ColorRowKernels& c, const ColorRowKernels& simd,
                const ColorConverter_t* converter) {
    if (!checker.Wanted(entry.name)) return;
    Random& random = checker.random();
    auto fail = [&](const std::string& diff) {
        checker.Fail(entry.name, set.name, diff);
        return false;
    };
    auto run = [&] {
        // 16-bit pixels stay at even addresses, where the C rows store them.
        const int alignment = entry.pixelBytes == 4 ? 1 : 2;
        std::vector<int> widths;
        for (int width = 0; width <= 80; ++width) widths.push_back(width);
        for (int width : {127, 128, 129, 352, 353, 1279, 1280, 4095, 4096}) widths.push_back(width);
        for (int width : widths) {
            const Inputs in(width);
            for (Fill fill : {Fill::kRandom, Fill::kHard, Fill::kEdges}) {
                FillInputs(random, in, width, fill);
                const int offset = alignment * random.Between(0, 31 / alignment);
                const int slack = fill == Fill::kRandom ? 0 : alignment * random.Between(0, 8);
                const std::string diff =
                    Compare(entry, c, simd, converter, random, in, width, offset, slack);
                if (!diff.empty()) return fail(diff);
            }
        }
        const std::string diff = CompareAllSamples(entry, c, simd, converter, random);
        return diff.empty() ? true : fail(diff);
    };
    if (!run()) return;
    checker.Pass(entry.name, set.name);

    for (int width : {352, 1280}) {
        if (width == 1280 && entry.name != "color.bgraRowPair") continue;
        const Inputs in(width);
        FillInputs(random, in, width, Fill::kRandom);
        std::vector<unsigned char> out0(static_cast<size_t>(width) * 4);
        std::vector<unsigned char> out1(out0.size());
        const Call args{converter,   {in.y(0), in.y(1)}, {in.alpha(0), in.alpha(1)},
                        in.u.data(), in.v.data(),        {out0.data(), out1.data()},
                        width};
        checker.Bench(
            entry.name + " w" + std::to_string(width), set.name, [&] { entry.run(c, args); },
            [&] { entry.run(simd, args); });
    }
}

}  // namespace

void CheckColorRowKernels(Checker& checker) {
    test::TestAllocator allocator;
    ColorConverter_t* converter = OpenColorConverter(&allocator);
    const ColorRowKernels& c = kColorRowKernelsC;
    std::vector<const ColorRowKernels*> checked{&c};
    const std::vector<Entry> entries = Entries();
    for (const InstructionSet& set : SupportedInstructionSets()) {
        const ColorRowKernels& simd = *SelectColorRowKernels(set.features)();
        if (std::find(checked.begin(), checked.end(), &simd) != checked.end()) continue;
        checked.push_back(&simd);
        for (const Entry& entry : entries) {
            if (entry.pick(c) != entry.pick(simd))
                CheckEntry(checker, set, entry, c, simd, converter);
        }
    }
    CloseColorConverter(converter);
}

}  // namespace veltrane::checkasm
