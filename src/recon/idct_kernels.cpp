// The plain inverse transform table and the choice among the tables.
#include "recon/idct_kernels.h"

namespace veltrane {

const IdctKernels kIdctKernelsC = {IdctToPixelsC, IdctToResidualC, IdctCornerToResidualC,
                                   IdctAddC,      IdctCornerAddC,  IdctDcAddC};

VELTRANE_LOAD_TIME KernelTableGetter<IdctKernels> SelectIdctKernels(unsigned cpuFeatures) {
#if VELTRANE_X86_KERNELS
    if (cpuFeatures & kCpuAvx2) {
        return ReturnKernelTable<&kIdctKernelsAvx2>;
    }
    if (cpuFeatures & kCpuSse2) {
        return ReturnKernelTable<&kIdctKernelsSse2>;
    }
#endif
#if VELTRANE_NEON_KERNELS
    if (cpuFeatures & kCpuNeon) {
        return ReturnKernelTable<&kIdctKernelsNeon>;
    }
#endif
    static_cast<void>(cpuFeatures);
    return ReturnKernelTable<&kIdctKernelsC>;
}

VELTRANE_BIND_KERNELS(IdctKernels, ActiveIdctKernels, SelectIdctKernels);

}  // namespace veltrane
