// Motion compensation kernels against their C twins: every phase, sources read
// right up to the end of the reference memory, odd strides, unaligned pointers,
// residuals over the whole 16-bit range and around the saturation limits.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "checkasm/checkasm.h"
#include "recon/mc_kernels.h"

namespace veltrane::checkasm {
namespace {

const char* const kPhaseNames[4] = {"copy", "horiz", "vert", "diagonal"};

// A reference plane with a block of size x size whose reads (one extra column and
// row at the half-sample phases) end exactly at the last byte of the memory, or
// at a random place inside it.
struct Reference {
    GuardedBuffer memory;
    ptrdiff_t stride;
    Reference(ptrdiff_t stride_, int rows) : memory(stride_ * rows), stride(stride_) {}
    const unsigned char* BlockAtEnd(int size) const {
        return memory.data() + memory.size() - 1 - size * stride - size;
    }
    const unsigned char* BlockAt(Random& random, int size) const {
        const int rows = static_cast<int>(memory.size() / stride);
        return memory.data() + random.Between(0, rows - size - 2) * stride +
               random.Between(0, static_cast<int>(stride) - size - 1);
    }
};

// A destination plane whose bytes outside the block must survive.
struct Destination {
    GuardedBuffer memory;
    explicit Destination(size_t size) : memory(size) {}
};

// Residuals: anything, or typical decoder values, or sums near the 0/255/4095 edges.
void FillResidual(Random& random, int16_t* residual, int count, int mode) {
    for (int i = 0; i < count; ++i) {
        switch (mode) {
            case 0:
                residual[i] = static_cast<int16_t>(random.Next() >> 16);
                break;
            case 1:
                residual[i] = static_cast<int16_t>(random.Between(-300, 300));
                break;
            default:
                residual[i] =
                    static_cast<int16_t>(random.Between(3830, 4100) * (random.Next() & 1 ? 1 : -1) +
                                         random.Between(-2, 2));
                break;
        }
    }
}

template <typename Kernel>
bool Differs(const Kernel& a, const Kernel& b) {
    return a != b;
}

void CheckPredict(Checker& checker, const InstructionSet& set, const std::string& name, int size,
                  PredictKernel c, PredictKernel simd) {
    if (!checker.Wanted(name)) return;
    Random& random = checker.random();
    for (int trial = 0; trial < 200; ++trial) {
        const ptrdiff_t stride = size + 2 + random.Between(0, 40);
        Reference ref(stride, size + 3);
        random.FillBytes(ref.memory.data(), ref.memory.size());
        const unsigned char* src = trial % 2 ? ref.BlockAtEnd(size) : ref.BlockAt(random, size);
        Destination expected(stride * size);
        Destination actual(stride * size);
        random.FillBytes(expected.memory.data(), expected.memory.size());
        std::memcpy(actual.memory.data(), expected.memory.data(), expected.memory.size());
        c(src, expected.memory.data(), stride);
        simd(src, actual.memory.data(), stride);
        const std::string diff = CompareBytes(expected.memory.data(), actual.memory.data(),
                                              static_cast<int>(stride), size, stride);
        if (!diff.empty()) {
            checker.Fail(name, set.name, "stride " + std::to_string(stride) + ": " + diff);
            return;
        }
    }
    checker.Pass(name, set.name);
    Reference ref(size + 32, size + 3);
    random.FillBytes(ref.memory.data(), ref.memory.size());
    Destination dst((size + 32) * size);
    const unsigned char* src = ref.BlockAt(random, size);
    checker.Bench(
        name, set.name, [&] { c(src, dst.memory.data(), size + 32); },
        [&] { simd(src, dst.memory.data(), size + 32); });
}

// Both chroma blocks with one vector: each plane read up to its end or at random.
void CheckPredictChroma(Checker& checker, const InstructionSet& set, const std::string& name,
                        PredictChromaKernel c, PredictChromaKernel simd) {
    if (!checker.Wanted(name)) return;
    Random& random = checker.random();
    for (int trial = 0; trial < 200; ++trial) {
        const ptrdiff_t stride = 10 + random.Between(0, 40);
        Reference u(stride, 11);
        Reference v(stride, 11);
        random.FillBytes(u.memory.data(), u.memory.size());
        random.FillBytes(v.memory.data(), v.memory.size());
        const unsigned char* srcU = trial % 2 ? u.BlockAtEnd(8) : u.BlockAt(random, 8);
        const unsigned char* srcV = trial % 3 ? v.BlockAtEnd(8) : v.BlockAt(random, 8);
        Destination expected[2] = {Destination(stride * 8), Destination(stride * 8)};
        Destination actual[2] = {Destination(stride * 8), Destination(stride * 8)};
        for (int k = 0; k < 2; ++k) {
            random.FillBytes(expected[k].memory.data(), expected[k].memory.size());
            std::memcpy(actual[k].memory.data(), expected[k].memory.data(),
                        expected[k].memory.size());
        }
        c(srcU, srcV, expected[0].memory.data(), expected[1].memory.data(), stride);
        simd(srcU, srcV, actual[0].memory.data(), actual[1].memory.data(), stride);
        for (int k = 0; k < 2; ++k) {
            const std::string diff =
                CompareBytes(expected[k].memory.data(), actual[k].memory.data(),
                             static_cast<int>(stride), 8, stride);
            if (!diff.empty()) {
                checker.Fail(name, set.name, std::string(k ? "V: " : "U: ") + diff);
                return;
            }
        }
    }
    checker.Pass(name, set.name);
    Reference u(40, 11);
    Reference v(40, 11);
    random.FillBytes(u.memory.data(), u.memory.size());
    random.FillBytes(v.memory.data(), v.memory.size());
    Destination dstU(40 * 8);
    Destination dstV(40 * 8);
    const unsigned char* srcU = u.BlockAt(random, 8);
    const unsigned char* srcV = v.BlockAt(random, 8);
    checker.Bench(
        name, set.name, [&] { c(srcU, srcV, dstU.memory.data(), dstV.memory.data(), 40); },
        [&] { simd(srcU, srcV, dstU.memory.data(), dstV.memory.data(), 40); });
}

// Kernels that add a residual: `prediction` null means the prediction is what
// the destination holds (the residual add).
template <typename Call>
void CheckAdd(Checker& checker, const InstructionSet& set, const std::string& name, Call cCall,
              Call simdCall) {
    if (!checker.Wanted(name)) return;
    Random& random = checker.random();
    for (int trial = 0; trial < 300; ++trial) {
        const ptrdiff_t stride = 10 + random.Between(0, 40);
        const ptrdiff_t residualStride = trial % 3 == 0 ? 8 : 16;
        Reference ref(stride, 11);
        random.FillBytes(ref.memory.data(), ref.memory.size());
        const unsigned char* src = trial % 2 ? ref.BlockAtEnd(8) : ref.BlockAt(random, 8);
        Destination expected(stride * 8);
        Destination actual(stride * 8);
        random.FillBytes(expected.memory.data(), expected.memory.size());
        std::memcpy(actual.memory.data(), expected.memory.data(), expected.memory.size());
        GuardedBuffer expectedResidual(residualStride * 8 * sizeof(int16_t));
        GuardedBuffer actualResidual(residualStride * 8 * sizeof(int16_t));
        auto* er = reinterpret_cast<int16_t*>(expectedResidual.data());
        auto* ar = reinterpret_cast<int16_t*>(actualResidual.data());
        FillResidual(random, er, static_cast<int>(residualStride * 8), trial % 3);
        std::memcpy(ar, er, expectedResidual.size());
        cCall(src, er, residualStride, expected.memory.data(), stride);
        simdCall(src, ar, residualStride, actual.memory.data(), stride);
        std::string diff = CompareBytes(expected.memory.data(), actual.memory.data(),
                                        static_cast<int>(stride), 8, stride);
        if (diff.empty()) {
            diff = CompareInt16(er, ar, static_cast<int>(residualStride), 8, residualStride);
            if (!diff.empty()) diff = "residual " + diff;
        }
        if (!diff.empty()) {
            checker.Fail(name, set.name, diff);
            return;
        }
    }
    checker.Pass(name, set.name);
    Reference ref(48, 11);
    random.FillBytes(ref.memory.data(), ref.memory.size());
    Destination dst(48 * 8);
    std::vector<int16_t> residual(16 * 8);
    FillResidual(random, residual.data(), 16 * 8, 1);
    const unsigned char* src = ref.BlockAt(random, 8);
    checker.Bench(
        name, set.name, [&] { cCall(src, residual.data(), 16, dst.memory.data(), 48); },
        [&] { simdCall(src, residual.data(), 16, dst.memory.data(), 48); });
}

void CheckCopy(Checker& checker, const InstructionSet& set, const std::string& name, int size,
               CopyKernel c, CopyKernel simd) {
    CheckPredict(checker, set, name, size, c, simd);
}

void CheckExtendPlane(Checker& checker, const InstructionSet& set, ExtendPlaneKernel c,
                      ExtendPlaneKernel simd) {
    const std::string name = "mc.extendPlane";
    if (!checker.Wanted(name)) return;
    Random& random = checker.random();
    for (int trial = 0; trial < 100; ++trial) {
        const int width = random.Between(1, 80);
        const int height = random.Between(1, 20);
        const ptrdiff_t stride = width + 32 + random.Between(0, 9);
        const size_t bytes = static_cast<size_t>(stride) * (height + 31) + width + 32;
        GuardedBuffer expected(bytes);
        GuardedBuffer actual(bytes);
        random.FillBytes(expected.data(), expected.size());
        std::memcpy(actual.data(), expected.data(), expected.size());
        // The last border row ends at the end of the memory.
        const ptrdiff_t origin = 16 * stride + 16;
        c(expected.data() + origin, width, height, stride);
        simd(actual.data() + origin, width, height, stride);
        const std::string diff =
            CompareBytes(expected.data(), actual.data(), static_cast<int>(bytes), 1, 0);
        if (!diff.empty()) {
            checker.Fail(name, set.name, "width " + std::to_string(width) + ": " + diff);
            return;
        }
    }
    checker.Pass(name, set.name);
    GuardedBuffer plane((352 + 32) * (288 + 32));
    checker.Bench(
        name + " 352x288", set.name,
        [&] { c(plane.data() + 16 * (352 + 32) + 16, 352, 288, 352 + 32); },
        [&] { simd(plane.data() + 16 * (352 + 32) + 16, 352, 288, 352 + 32); });
}

}  // namespace

void CheckMcKernels(Checker& checker) {
    const McKernels& c = kMcKernelsC;
    std::vector<const McKernels*> checked{&c};
    for (const InstructionSet& set : SupportedInstructionSets()) {
        const McKernels& simd = *SelectMcKernels(set.features)();
        if (std::find(checked.begin(), checked.end(), &simd) != checked.end()) continue;
        checked.push_back(&simd);
        for (int p = 0; p < 4; ++p) {
            if (Differs(c.predict8[p], simd.predict8[p]))
                CheckPredict(checker, set, std::string("mc.predict8.") + kPhaseNames[p], 8,
                             c.predict8[p], simd.predict8[p]);
            if (Differs(c.predict16[p], simd.predict16[p]))
                CheckPredict(checker, set, std::string("mc.predict16.") + kPhaseNames[p], 16,
                             c.predict16[p], simd.predict16[p]);
            if (Differs(c.predictChroma[p], simd.predictChroma[p]))
                CheckPredictChroma(checker, set, std::string("mc.predictChroma.") + kPhaseNames[p],
                                   c.predictChroma[p], simd.predictChroma[p]);
            if (Differs(c.predictAdd8[p], simd.predictAdd8[p]))
                CheckAdd(checker, set, std::string("mc.predictAdd8.") + kPhaseNames[p],
                         c.predictAdd8[p], simd.predictAdd8[p]);
        }
        if (Differs(c.addResidual8, simd.addResidual8)) {
            using Call = std::function<void(const unsigned char*, int16_t*, ptrdiff_t,
                                            unsigned char*, ptrdiff_t)>;
            auto wrap = [](AddResidualKernel k) -> Call {
                return [k](const unsigned char*, int16_t* r, ptrdiff_t rs, unsigned char* d,
                           ptrdiff_t s) { k(r, rs, d, s); };
            };
            CheckAdd(checker, set, "mc.addResidual8", wrap(c.addResidual8),
                     wrap(simd.addResidual8));
        }
        if (Differs(c.copy8, simd.copy8))
            CheckCopy(checker, set, "mc.copy8", 8, c.copy8, simd.copy8);
        if (Differs(c.copy16, simd.copy16))
            CheckCopy(checker, set, "mc.copy16", 16, c.copy16, simd.copy16);
        if (Differs(c.extendPlane, simd.extendPlane))
            CheckExtendPlane(checker, set, c.extendPlane, simd.extendPlane);
    }
}

}  // namespace veltrane::checkasm
