// A harness that checks every SIMD kernel against its plain C twin on random
// and worst-case inputs, for every instruction set the processor has, and in
// its timing mode (--bench) prints the time of both per kernel.
//
// Each kernel family lists its kernels with a function that prepares the inputs
// of a trial and hands them to CheckKernels. The inputs come from the harness's
// random source, in buffers whose last byte is followed by an inaccessible page,
// so that a read past the end faults instead of passing unnoticed; both twins
// run on copies of them and everything is compared afterwards.
#ifndef VELTRANE_TESTS_CHECKASM_CHECKASM_H
#define VELTRANE_TESTS_CHECKASM_CHECKASM_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/kernel_binding.h"

namespace veltrane::checkasm {

// An instruction set the build has kernels for, and the CPU features that select
// its tables.
struct InstructionSet {
    const char* name;
    unsigned features;
};

// The instruction sets of this build that the processor supports, without C.
const std::vector<InstructionSet>& SupportedInstructionSets();

// Deterministic random source (xorshift); the seed comes from --seed.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed ? seed : 1) {}
    uint32_t Next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<uint32_t>(state_ >> 32);
    }
    // Uniform in [low, high].
    int Between(int low, int high) {
        return low + static_cast<int>(Next() % static_cast<uint32_t>(high - low + 1));
    }
    bool Coin() { return Next() & 1; }
    void FillBytes(unsigned char* p, size_t n) {
        for (size_t i = 0; i < n; i += 4) {
            const uint32_t word = Next();
            std::memcpy(p + i, &word, std::min<size_t>(4, n - i));
        }
    }

private:
    uint64_t state_;
};

// The memory of one trial, inputs and outputs alike: each buffer twice, once
// for the C twin (0) and once for the SIMD twin (1), with the same contents.
class Twins {
public:
    // Buffers of the given sizes, the C twin's filled with random bytes; the
    // trial then writes its inputs into them. Each buffer's last byte sits right
    // before an inaccessible page.
    Twins(Random& random, std::initializer_list<size_t> sizes);
    ~Twins();
    Twins(Twins&&) = default;
    unsigned char* at(int twin, size_t buffer) const { return buffers_[buffer].data[twin]; }
    template <typename T>
    T* as(int twin, size_t buffer) const {
        return reinterpret_cast<T*>(at(twin, buffer));
    }
    // Copies the C twin's buffers to the SIMD twin's, calls run(0) and run(1),
    // and describes the first byte in which the buffers then differ, or returns
    // an empty string.
    std::string Run(const std::function<void(int twin)>& run) const;

private:
    struct Buffer {
        size_t size;
        size_t mappingSize;
        unsigned char* mapping[2];
        unsigned char* data[2];
    };
    std::vector<Buffer> buffers_;
};

// The inputs of one trial: its memory, the arguments of each twin's call and
// what to say about them when the twins differ.
template <typename Args>
struct Inputs {
    Twins twins;
    std::array<Args, 2> args{};
    std::function<std::string()> about{};
};

// The run's options, random source and counts.
struct Checker {
    uint64_t seed;
    bool bench;
    std::string filter;
    Random random{seed};
    int failures = 0;
    int passes = 0;
};

// Checks kernel `name` of instruction set `isa` unless --filter leaves it out:
// runs trials 0 to trials - 1 (trial(n) describes what differed, if anything)
// and reports the first difference. True when the kernel passed them.
bool Check(Checker& checker, const std::string& name, const char* isa, int trials,
           const std::function<std::string(int n)>& trial);

// Times `simd` against `c` (each a call of the kernel on prepared inputs) and
// prints the median time of each.
void Time(const std::string& name, const char* isa, const std::function<void()>& c,
          const std::function<void()>& simd);

// The address of a table entry, to tell the tables that share a function.
template <typename Function>
const void* Address(Function f) {
    return reinterpret_cast<const void*>(f);
}

// One kernel of a family: `entry` is its function in a table, `call` calls it
// with the family's arguments, and `parameter` goes to the family's Prepare.
template <typename Table, typename Args>
struct Kernel {
    std::string name;
    int parameter;
    std::function<const void*(const Table&)> entry;
    std::function<void(const Table&, const Args&)> call;
};

// The kernel that `pick` takes from a table, called through the family's
// Invoke(kernel, const Args&) overloads.
template <typename Table, typename Args, typename Pick>
Kernel<Table, Args> MakeKernel(std::string name, int parameter, Pick pick) {
    return {std::move(name), parameter, [pick](const Table& t) { return Address(pick(t)); },
            [pick](const Table& t, const Args& a) { Invoke(pick(t), a); }};
}

// Checks every kernel of every supported instruction set's table whose function
// differs from the C table's on the inputs prepare(random, n, kernel.parameter)
// of trials 0 to trials - 1, and under --bench times both twins on those of
// trials -1 to -16.
template <typename Table, typename Args>
void CheckKernels(Checker& checker, const Table& c, KernelTableGetter<Table> (*select)(unsigned),
                  int trials, Inputs<Args> (*prepare)(Random&, int n, int parameter),
                  const std::vector<Kernel<Table, Args>>& kernels) {
    std::vector<const Table*> checked{&c};
    for (const InstructionSet& set : SupportedInstructionSets()) {
        const Table* simd = select(set.features)();
        if (std::find(checked.begin(), checked.end(), simd) != checked.end()) continue;
        checked.push_back(simd);
        const Table* tables[2] = {&c, simd};
        for (const Kernel<Table, Args>& kernel : kernels) {
            if (kernel.entry(*simd) == kernel.entry(c)) continue;
            const bool passed = Check(checker, kernel.name, set.name, trials, [&](int n) {
                const Inputs<Args> in = prepare(checker.random, n, kernel.parameter);
                const std::string diff =
                    in.twins.Run([&](int w) { kernel.call(*tables[w], in.args[w]); });
                return diff.empty() ? diff : in.about() + ": " + diff;
            });
            if (!passed || !checker.bench) continue;
            std::vector<Inputs<Args>> bench;
            for (int n = -1; n >= -16; --n)
                bench.push_back(prepare(checker.random, n, kernel.parameter));
            size_t next = 0;
            auto call = [&](int w) {
                return [&, w] {
                    next = (next + 1) % bench.size();
                    kernel.call(*tables[w], bench[next].args[0]);
                };
            };
            Time(kernel.name, set.name, call(0), call(1));
        }
    }
}

// The family checks.
void CheckIdctKernels(Checker& checker);
void CheckMcKernels(Checker& checker);
void CheckColorRowKernels(Checker& checker);

}  // namespace veltrane::checkasm

#endif
