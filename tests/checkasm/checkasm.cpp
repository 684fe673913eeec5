// The harness's driver: options, instruction sets, guarded memory, reporting and
// timing. Usage: veltrane_checkasm [--bench] [--seed=N] [--filter=TEXT]
#include "checkasm/checkasm.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

#include "core/cpu_features.h"

namespace veltrane::checkasm {

const std::vector<InstructionSet>& SupportedInstructionSets() {
    static const std::vector<InstructionSet> sets = [] {
        std::vector<InstructionSet> all;
#if VELTRANE_X86_KERNELS
        all = {{"sse2", kCpuSse2}, {"avx2", kCpuSse2 | kCpuAvx2}};
#endif
#if VELTRANE_NEON_KERNELS
        all = {{"neon", kCpuNeon}};
#endif
        std::erase_if(all, [](const InstructionSet& set) {
            return (DetectCpuFeatures() & set.features) != set.features;
        });
        return all;
    }();
    return sets;
}

namespace {

// The mappings of buffers gone, by size, for the next buffers of that size: the
// memory of a trial comes back without system calls or page faults.
std::multimap<size_t, unsigned char*>& SpareMappings() {
    static std::multimap<size_t, unsigned char*> spare;
    return spare;
}

// A mapping of `bytes` whose last page is inaccessible.
unsigned char* MapGuarded(size_t bytes, size_t page) {
    const auto spare = SpareMappings().find(bytes);
    if (spare != SpareMappings().end()) {
        unsigned char* mapping = spare->second;
        SpareMappings().erase(spare);
        return mapping;
    }
    void* mapping =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED ||
        mprotect(static_cast<unsigned char*>(mapping) + bytes - page, page, PROT_NONE) != 0) {
        throw std::bad_alloc();
    }
    return static_cast<unsigned char*>(mapping);
}

}  // namespace

bool Check(Checker& checker, const std::string& name, const char* isa, int trials,
           const std::function<std::string(int n)>& trial) {
    if (name.find(checker.filter) == std::string::npos) return false;
    std::string diff;
    for (int n = 0; n < trials && diff.empty(); ++n) diff = trial(n);
    if (!diff.empty()) {
        ++checker.failures;
        std::printf("FAIL %s (%s): %s [--seed=%llu]\n", name.c_str(), isa, diff.c_str(),
                    static_cast<unsigned long long>(checker.seed));
        return false;
    }
    ++checker.passes;
    if (!checker.bench) std::printf("ok   %s (%s)\n", name.c_str(), isa);
    return true;
}

void Time(const std::string& name, const char* isa, const std::function<void()>& c,
          const std::function<void()>& simd) {
    using Clock = std::chrono::steady_clock;
    // Enough calls per sample to lift the clock's resolution out of the figure.
    auto timeCalls = [](const std::function<void()>& f, int calls) {
        const auto start = Clock::now();
        for (int i = 0; i < calls; ++i) f();
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls;
    };
    int calls = 1;
    while (timeCalls(c, calls) * calls < 20000.0 && calls < (1 << 20)) calls *= 2;
    std::vector<double> cTimes;
    std::vector<double> simdTimes;
    for (int round = 0; round < 31; ++round) {
        cTimes.push_back(timeCalls(c, calls));
        simdTimes.push_back(timeCalls(simd, calls));
    }
    auto median = [](std::vector<double> v) {
        std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
        return v[v.size() / 2];
    };
    const double tc = median(cTimes);
    const double ts = median(simdTimes);
    std::printf("%-36s %-5s  C %9.1f ns  SIMD %9.1f ns  C/SIMD %6.2fx\n", name.c_str(), isa, tc, ts,
                tc / ts);
}

Twins::Twins(Random& random, std::initializer_list<size_t> sizes) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    for (size_t size : sizes) {
        Buffer buffer{size, ((size + page - 1) / page + 1) * page, {}, {}};
        for (int twin = 0; twin < 2; ++twin) {
            buffer.mapping[twin] = MapGuarded(buffer.mappingSize, page);
            buffer.data[twin] = buffer.mapping[twin] + buffer.mappingSize - page - size;
        }
        random.FillBytes(buffer.data[0], size);
        buffers_.push_back(buffer);
    }
}

Twins::~Twins() {
    for (const Buffer& buffer : buffers_) {
        for (unsigned char* mapping : buffer.mapping)
            SpareMappings().emplace(buffer.mappingSize, mapping);
    }
}

std::string Twins::Run(const std::function<void(int twin)>& run) const {
    for (const Buffer& buffer : buffers_) std::memcpy(buffer.data[1], buffer.data[0], buffer.size);
    run(0);
    run(1);
    for (size_t i = 0; i < buffers_.size(); ++i) {
        const unsigned char* e = buffers_[i].data[0];
        const unsigned char* a = buffers_[i].data[1];
        const size_t at = std::mismatch(e, e + buffers_[i].size, a).first - e;
        if (at != buffers_[i].size) {
            return "buffer " + std::to_string(i) + " byte " + std::to_string(at) + ": expected " +
                   std::to_string(e[at]) + ", got " + std::to_string(a[at]);
        }
    }
    return {};
}

}  // namespace veltrane::checkasm

int main(int argc, char** argv) {
    using namespace veltrane::checkasm;
    uint64_t seed = 0x5eed;
    bool bench = false;
    std::string filter;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--bench") == 0) {
            bench = true;
        } else if (std::strncmp(argv[i], "--seed=", 7) == 0) {
            seed = std::strtoull(argv[i] + 7, nullptr, 0);
        } else if (std::strncmp(argv[i], "--filter=", 9) == 0) {
            filter = argv[i] + 9;
        } else {
            std::fprintf(stderr, "usage: %s [--bench] [--seed=N] [--filter=TEXT]\n", argv[0]);
            return 2;
        }
    }
    // A kernel that faults on a guard page ends the run; the lines before it
    // must already be out.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("instruction sets:");
    for (const InstructionSet& set : SupportedInstructionSets()) std::printf(" %s", set.name);
    std::printf("%s\n", SupportedInstructionSets().empty() ? " none (C only)" : "");

    Checker checker{seed, bench, filter};
    CheckIdctKernels(checker);
    CheckMcKernels(checker);
    CheckColorRowKernels(checker);
    std::printf("%d kernels checked, %d failed\n", checker.passes + checker.failures,
                checker.failures);
    return checker.failures == 0 ? 0 : 1;
}
