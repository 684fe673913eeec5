// The plain colour row table and the choice among the tables.
#include "color/color_kernels.h"

namespace veltrane {

const ColorRowKernels kColorRowKernelsC = {
    BgraRowPairC,
    BgraAlphaRowPairC,
    BgraRowC,
    BgraAlphaRowC,
    {Rgb555RowC, Rgb565RowC, Argb4444RowC},
};

// The family's one selection point, in the order every family uses: AVX2,
// SSE2, NEON, then the plain table.
VELTRANE_LOAD_TIME KernelTableGetter<ColorRowKernels> SelectColorRowKernels(unsigned cpuFeatures) {
#if VELTRANE_X86_KERNELS
    if (cpuFeatures & kCpuAvx2) {
        return ReturnKernelTable<&kColorRowKernelsAvx2>;
    }
    if (cpuFeatures & kCpuSse2) {
        return ReturnKernelTable<&kColorRowKernelsSse2>;
    }
#endif
#if VELTRANE_NEON_KERNELS
    if (cpuFeatures & kCpuNeon) {
        return ReturnKernelTable<&kColorRowKernelsNeon>;
    }
#endif
    static_cast<void>(cpuFeatures);
    return ReturnKernelTable<&kColorRowKernelsC>;
}

VELTRANE_BIND_KERNELS(ColorRowKernels, ActiveColorRowKernels, SelectColorRowKernels);

}  // namespace veltrane
