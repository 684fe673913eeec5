#include "core/cpu_features.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace veltrane {

#if defined(__x86_64__) || defined(__i386__)

namespace {

// The operating system saves the YMM registers on a context switch when both
// the SSE and the AVX state bits of XCR0 are set.
VELTRANE_LOAD_TIME bool OsSavesYmm() {
    unsigned low;
    unsigned high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (low & 6u) == 6u;
}

}  // namespace

VELTRANE_LOAD_TIME unsigned DetectCpuFeatures() {
    unsigned eax;
    unsigned ebx;
    unsigned ecx;
    unsigned edx;
    __cpuid(0, eax, ebx, ecx, edx);
    const unsigned maxLeaf = eax;
    if (maxLeaf < 1) {
        return 0;
    }
    unsigned features = 0;
    __cpuid(1, eax, ebx, ecx, edx);
    if (edx & bit_SSE2) {
        features |= kCpuSse2;
    }
    const bool avx = (ecx & bit_OSXSAVE) && (ecx & bit_AVX) && OsSavesYmm();
    if (avx && maxLeaf >= 7) {
        __cpuid_count(7, 0, eax, ebx, ecx, edx);
        if (ebx & bit_AVX2) {
            features |= kCpuAvx2;
        }
    }
    return features;
}

#else

// Other targets choose their kernels when the library is built.
VELTRANE_LOAD_TIME unsigned DetectCpuFeatures() {
#if defined(__ARM_NEON)
    return kCpuNeon;
#else
    return 0;
#endif
}

#endif

}  // namespace veltrane
