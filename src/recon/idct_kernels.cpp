// The plain inverse transform table and the choice among the tables.
#include "recon/idct_kernels.h"

#include "recon/idct_1d.h"

namespace veltrane {
namespace {

// The butterflies are linear modulo 2^32, so their responses to the unit
// inputs are the factors of the multiplied-out transform.
constexpr bool OutputFactorsMatchButterflies() {
    for (int j = 0; j < 8; ++j) {
        uint32_t x[8] = {};
        x[j] = 1;
        uint32_t y[8] = {};
        idct::InverseButterflies(x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], 0, y);
        for (int k = 0; k < 8; ++k) {
            if (static_cast<int32_t>(y[k]) != kIdctOutputFactors[k][j]) {
                return false;
            }
        }
    }
    return true;
}
static_assert(OutputFactorsMatchButterflies());

}  // namespace

const IdctKernels kIdctKernelsC = {IdctToPixelsC, IdctToResidualC, IdctCornerToResidualC,
                                   IdctAddC,      IdctCornerAddC,  IdctDcAddC};

// The family's one selection point, in the order every family uses: AVX2,
// SSE2, NEON, then the plain table.
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
