// The plain motion compensation table and the choice among the tables.
#include "recon/mc_kernels.h"

namespace veltrane {

const McKernels kMcKernelsC = {
    {PredictCopy8C, PredictHoriz8C, PredictVert8C, PredictDiagonal8C},
    {PredictCopy16C, PredictHoriz16C, PredictVert16C, PredictDiagonal16C},
    {PredictChromaCopyC, PredictChromaHorizC, PredictChromaVertC, PredictChromaDiagonalC},
    {PredictAddCopy8C, PredictAddHoriz8C, PredictAddVert8C, PredictAddDiagonal8C},
    AddResidual8C,
    ExtendPlaneC,
};

// The family's one selection point, in the order every family uses: AVX2,
// SSE2, NEON, then the plain table.
VELTRANE_LOAD_TIME KernelTableGetter<McKernels> SelectMcKernels(unsigned cpuFeatures) {
#if VELTRANE_X86_KERNELS
    if (cpuFeatures & kCpuAvx2) {
        return ReturnKernelTable<&kMcKernelsAvx2>;
    }
    if (cpuFeatures & kCpuSse2) {
        return ReturnKernelTable<&kMcKernelsSse2>;
    }
#endif
#if VELTRANE_NEON_KERNELS
    if (cpuFeatures & kCpuNeon) {
        return ReturnKernelTable<&kMcKernelsNeon>;
    }
#endif
    static_cast<void>(cpuFeatures);
    return ReturnKernelTable<&kMcKernelsC>;
}

VELTRANE_BIND_KERNELS(McKernels, ActiveMcKernels, SelectMcKernels);

}  // namespace veltrane
