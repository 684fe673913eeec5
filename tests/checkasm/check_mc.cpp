// Motion compensation kernels against their C twins: every phase, sources read
// right up to the end of the reference memory, odd strides, unaligned pointers,
// residuals over the whole 16-bit range and around the saturation limits.
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "checkasm/checkasm.h"
#include "recon/mc_kernels.h"

namespace veltrane::checkasm {
namespace {

const char* const kPhaseNames[4] = {"copy", "horiz", "vert", "diagonal"};

// The arguments of every kernel but the border fill: two reference planes
// (the chroma kernels read both), two destination planes and a residual.
struct Args {
    const unsigned char* src[2];
    unsigned char* dst[2];
    int16_t* residual;
    ptrdiff_t residualStride;
    ptrdiff_t stride;
};
using Call = std::function<void(const McKernels&, const Args&)>;

// Calls a kernel of any form with the arguments it takes (copies have the form
// of predictions).
void Invoke(PredictKernel k, const Args& a) { k(a.src[0], a.dst[0], a.stride); }
void Invoke(PredictChromaKernel k, const Args& a) {
    k(a.src[0], a.src[1], a.dst[0], a.dst[1], a.stride);
}
void Invoke(PredictAddKernel k, const Args& a) {
    k(a.src[0], a.residual, a.residualStride, a.dst[0], a.stride);
}
void Invoke(AddResidualKernel k, const Args& a) {
    k(a.residual, a.residualStride, a.dst[0], a.stride);
}

// Trial n of a kernel of size x size blocks: each reference plane holds size + 3
// rows, and the block's reads in it (one extra column and row at the
// half-sample phases) end at its last byte or lie anywhere in it. Residuals are
// anything, typical decoder values, or sums near the 0/255/4095 edges.
std::string Trial(Random& random, int n, int size, const Call& call,
                  const TablePair<McKernels>& t) {
    const ptrdiff_t stride = size + 2 + random.Between(0, 40);
    const ptrdiff_t residualStride = random.Coin() ? 8 : 16;
    const size_t plane = stride * (size + 3);
    const Twins twins(random, {plane, plane, size_t(stride * size), size_t(stride * size),
                               size_t(16 * residualStride)});
    ptrdiff_t offset[2];
    for (int k = 0; k < 2; ++k) {
        offset[k] = (n >> k) % 2
                        ? plane - 1 - size * stride - size
                        : random.Between(0, 1) * stride + random.Between(0, stride - size - 1);
    }
    auto* residual = twins.as<int16_t>(0, 4);
    for (int i = 0; i < 8 * residualStride; ++i) {
        const int sign = random.Coin() ? 1 : -1;
        residual[i] = static_cast<int16_t>(n % 3 == 0   ? random.Next() >> 16
                                           : n % 3 == 1 ? random.Between(-300, 300)
                                                        : random.Between(3830, 4100) * sign +
                                                              random.Between(-2, 2));
    }
    const std::string diff = twins.Run([&](int w) {
        call(*t[w], {{twins.at(w, 0) + offset[0], twins.at(w, 1) + offset[1]},
                     {twins.at(w, 2), twins.at(w, 3)},
                     twins.as<int16_t>(w, 4),
                     residualStride,
                     stride});
    });
    return diff.empty() ? diff
                        : diff + " (buffers: references, destinations, residual; stride " +
                              std::to_string(stride) + ")";
}

// The border fill of planes of any size up to 80 x 20, the last border row
// ending the memory.
std::string ExtendTrial(Random& random, const TablePair<McKernels>& t) {
    const int width = random.Between(1, 80);
    const int height = random.Between(1, 20);
    const ptrdiff_t stride = width + 32 + random.Between(0, 9);
    const Twins twins(random, {size_t(stride * (height + 31) + width + 32)});
    const std::string diff = twins.Run([&](int w) {
        t[w]->extendPlane(twins.at(w, 0) + 16 * stride + 16, width, height, stride);
    });
    return diff.empty() ? diff
                        : diff + " (" + std::to_string(width) + "x" + std::to_string(height) +
                              ", stride " + std::to_string(stride) + ")";
}

}  // namespace

void CheckMcKernels(Checker& checker) {
    // Inputs for the timings.
    std::vector<unsigned char> ref(2 * 48 * 19), dst(2 * 48 * 16), plane((352 + 32) * (288 + 32));
    std::vector<int16_t> residual(16 * 8);
    checker.random.FillBytes(ref.data(), ref.size());
    for (int16_t& r : residual) r = static_cast<int16_t>(checker.random.Between(-300, 300));
    const Args args{
        {&ref[49], &ref[48 * 19 + 49]}, {&dst[0], &dst[48 * 16]}, residual.data(), 16, 48};

    std::vector<Kernel<McKernels>> kernels;
    auto add = [&](const std::string& name, int size, auto pick) {
        kernels.push_back(MakeKernel<McKernels, Args>(
            "mc." + name, pick,
            [size](Random& r, int n, const Call& call, const TablePair<McKernels>& t) {
                return Trial(r, n, size, call, t);
            },
            [&] { return args; }));
    };
    for (int p = 0; p < 4; ++p) {
        const std::string phase = kPhaseNames[p];
        add("predict8." + phase, 8, [p](const McKernels& t) { return t.predict8[p]; });
        add("predict16." + phase, 16, [p](const McKernels& t) { return t.predict16[p]; });
        add("predictChroma." + phase, 8, [p](const McKernels& t) { return t.predictChroma[p]; });
        add("predictAdd8." + phase, 8, [p](const McKernels& t) { return t.predictAdd8[p]; });
    }
    add("addResidual8", 8, [](const McKernels& t) { return t.addResidual8; });
    add("copy8", 8, [](const McKernels& t) { return t.copy8; });
    add("copy16", 16, [](const McKernels& t) { return t.copy16; });
    kernels.push_back(
        {"mc.extendPlane", [](const McKernels& t) { return Address(t.extendPlane); },
         [](Random& r, int, const TablePair<McKernels>& t) { return ExtendTrial(r, t); },
         [&](const McKernels& t) {
             t.extendPlane(&plane[16 * (352 + 32) + 16], 352, 288, 352 + 32);
         }});
    CheckKernels(checker, kMcKernelsC, SelectMcKernels, 300, kernels);
}

}  // namespace veltrane::checkasm
