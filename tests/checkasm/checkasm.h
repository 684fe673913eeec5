// A harness that checks every SIMD kernel against its plain C twin on random
// and worst-case inputs, for every instruction set the processor has, and in
// its timing mode (--bench) prints the time of both per kernel.
//
// Each kernel family registers one check function. A check runs, for each
// instruction set, every kernel of that set's table that differs from the C
// table's, on inputs it builds with the harness's random source and in buffers
// whose last byte is followed by an inaccessible page, so that a read past the
// end faults instead of passing unnoticed.
#ifndef VELTRANE_TESTS_CHECKASM_CHECKASM_H
#define VELTRANE_TESTS_CHECKASM_CHECKASM_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

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
    void FillBytes(unsigned char* p, size_t n) {
        for (size_t i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(Next() >> 24);
    }

private:
    uint64_t state_;
};

// Memory whose last byte sits right before an inaccessible page.
class GuardedBuffer {
public:
    explicit GuardedBuffer(size_t size);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    unsigned char* data() const { return data_; }
    size_t size() const { return size_; }

private:
    unsigned char* mapping_ = nullptr;
    size_t mappingSize_ = 0;
    unsigned char* data_ = nullptr;
    size_t size_ = 0;
};

// The run's state: random source, failures, options.
class Checker {
public:
    Checker(uint64_t seed, bool bench, std::string filter)
        : random_(seed), seed_(seed), bench_(bench), filter_(std::move(filter)) {}

    Random& random() { return random_; }
    uint64_t seed() const { return seed_; }
    bool benchmarking() const { return bench_; }

    // Whether kernel `name` of instruction set `isa` is to be checked (the
    // --filter option matches a substring of "family.kernel").
    bool Wanted(const std::string& name) const;

    // Records a mismatch; the message names the kernel, the instruction set and
    // what differed.
    void Fail(const std::string& kernel, const char* isa, const std::string& what);
    // Records one kernel checked clean.
    void Pass(const std::string& kernel, const char* isa);

    // Times `simd` against `c` (each a call of the kernel on prepared inputs),
    // interleaved, and prints the median time of each and their ratio.
    void Bench(const std::string& kernel, const char* isa, const std::function<void()>& c,
               const std::function<void()>& simd);

    int failures() const { return failures_; }
    int passes() const { return passes_; }

private:
    Random random_;
    uint64_t seed_;
    bool bench_;
    std::string filter_;
    int failures_ = 0;
    int passes_ = 0;
};

// Compares two byte areas of `rows` rows of `width` bytes; describes the first
// difference, or returns an empty string.
std::string CompareBytes(const unsigned char* expected, const unsigned char* actual, int width,
                         int rows, ptrdiff_t stride);
std::string CompareInt16(const int16_t* expected, const int16_t* actual, int width, int rows,
                         ptrdiff_t stride);

// The family checks.
void CheckIdctKernels(Checker& checker);
void CheckMcKernels(Checker& checker);
void CheckColorRowKernels(Checker& checker);

}  // namespace veltrane::checkasm

#endif
