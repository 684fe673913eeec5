// What the processor offers the kernel layer, and the attribute that code run
// by the dynamic loader at load time needs.
#ifndef VELTRANE_CORE_CPU_FEATURES_H
#define VELTRANE_CORE_CPU_FEATURES_H

namespace veltrane {

enum CpuFeature : unsigned {
    kCpuSse2 = 1u << 0,
    kCpuAvx2 = 1u << 1,
    kCpuNeon = 1u << 2,
};

// Code that runs while the loader binds the kernel tables (before sanitizer
// runtimes, thread pointers or coverage counters exist) must carry no such
// instrumentation.
#if defined(__clang__)
#define VELTRANE_LOAD_TIME \
    __attribute__((no_sanitize("address", "undefined", "coverage"), no_stack_protector))
#else
#define VELTRANE_LOAD_TIME __attribute__((no_sanitize("address", "undefined"), no_stack_protector))
#endif

// The instruction sets this processor and its operating system support, among
// those the build carries kernels for. A pure function: it asks the processor
// each time and keeps nothing.
VELTRANE_LOAD_TIME unsigned DetectCpuFeatures();

// The instruction sets the compiler was told every processor of the target has.
constexpr unsigned BuildCpuFeatures() {
    unsigned features = 0;
#if defined(__SSE2__)
    features |= kCpuSse2;
#endif
#if defined(__AVX2__)
    features |= kCpuAvx2;
#endif
#if defined(__ARM_NEON)
    features |= kCpuNeon;
#endif
    return features;
}

}  // namespace veltrane

#endif
