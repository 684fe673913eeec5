// Motion compensation kernels against their C twins: every phase, sources read
// right up to the end of the reference memory, odd strides, unaligned pointers,
// residuals over the whole 16-bit range and around the saturation limits, and
// the border fill of planes of many sizes.
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "checkasm/checkasm.h"
#include "recon/mc_kernels.h"

namespace veltrane::checkasm {
namespace {

const char* const kPhaseNames[4] = {"copy", "horiz", "vert", "diagonal"};

// The arguments of every kernel: two reference planes (the chroma kernels read
// both), two destination planes and a residual; the border fill takes the
// first destination as its plane, of width x height.
struct Args {
    const unsigned char* src[2];
    unsigned char* dst[2];
    int16_t* residual;
    ptrdiff_t residualStride;
    ptrdiff_t stride;
    int width, height;
};

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
void Invoke(ExtendPlaneKernel k, const Args& a) { k(a.dst[0], a.width, a.height, a.stride); }

// The border fill (size 0) of planes of any size up to 80 x 20 (CIF for the
// timings, n < 0), the last border row ending the memory.
Inputs<Args> PrepareExtend(Random& random, int n) {
    const int width = n < 0 ? 352 : random.Between(1, 80);
    const int height = n < 0 ? 288 : random.Between(1, 20);
    const ptrdiff_t stride = width + 32 + random.Between(0, 9);
    Inputs<Args> in{Twins(random, {size_t(stride * (height + 31) + width + 32)})};
    for (int w = 0; w < 2; ++w)
        in.args[w] = {{},    {in.twins.at(w, 0) + 16 * stride + 16}, nullptr, 0, stride, width,
                      height};
    in.about = [=] {
        return std::to_string(width) + "x" + std::to_string(height) + ", stride " +
               std::to_string(stride);
    };
    return in;
}

// Trial n of a kernel of size x size blocks: each reference plane holds size + 3
// rows, and the block's reads in it (one extra column and row at the
// half-sample phases) end at its last byte or lie anywhere in it. Residuals are
// anything, typical decoder values (always in the timings, n < 0), or sums
// near the 0/255/4095 edges.
Inputs<Args> Prepare(Random& random, int n, int size) {
    if (size == 0) return PrepareExtend(random, n);
    const ptrdiff_t stride = size + 2 + random.Between(0, 40);
    const ptrdiff_t residualStride = random.Coin() ? 8 : 16;
    const size_t plane = stride * (size + 3);
    Inputs<Args> in{Twins(random, {plane, plane, size_t(stride * size), size_t(stride * size),
                                   size_t(16 * residualStride)})};
    ptrdiff_t offset[2];
    for (int k = 0; k < 2; ++k) {
        offset[k] = n >= 0 && (n >> k) % 2
                        ? plane - 1 - size * stride - size
                        : random.Between(0, 1) * stride + random.Between(0, stride - size - 1);
    }
    auto* residual = in.twins.as<int16_t>(0, 4);
    const int kind = n < 0 ? 1 : n % 3;
    for (int i = 0; i < 8 * residualStride; ++i) {
        const int sign = random.Coin() ? 1 : -1;
        residual[i] = static_cast<int16_t>(kind == 0   ? random.Next() >> 16
                                           : kind == 1 ? random.Between(-300, 300)
                                                       : random.Between(3830, 4100) * sign +
                                                             random.Between(-2, 2));
    }
    for (int w = 0; w < 2; ++w) {
        in.args[w] = {{in.twins.at(w, 0) + offset[0], in.twins.at(w, 1) + offset[1]},
                      {in.twins.at(w, 2), in.twins.at(w, 3)},
                      in.twins.as<int16_t>(w, 4),
                      residualStride,
                      stride,
                      size,
                      size};
    }
    in.about = [=] {
        return "buffers: references, destinations, residual; stride " + std::to_string(stride);
    };
    return in;
}

}  // namespace

void CheckMcKernels(Checker& checker) {
    std::vector<Kernel<McKernels, Args>> kernels;
    auto add = [&](const std::string& name, int size, auto pick) {
        kernels.push_back(MakeKernel<McKernels, Args>("mc." + name, size, pick));
    };
    for (int p = 0; p < 4; ++p) {
        const std::string phase = kPhaseNames[p];
        add("predict8." + phase, 8, [p](const McKernels& t) { return t.predict8[p]; });
        add("predict16." + phase, 16, [p](const McKernels& t) { return t.predict16[p]; });
        add("predictChroma." + phase, 8, [p](const McKernels& t) { return t.predictChroma[p]; });
        add("predictAdd8." + phase, 8, [p](const McKernels& t) { return t.predictAdd8[p]; });
    }
    add("addResidual8", 8, [](const McKernels& t) { return t.addResidual8; });
    add("extendPlane", 0, [](const McKernels& t) { return t.extendPlane; });
    CheckKernels(checker, kMcKernelsC, SelectMcKernels, 300, Prepare, kernels);
}

}  // namespace veltrane::checkasm
