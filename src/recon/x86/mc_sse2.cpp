// The SSE2 motion compensation table: the 128-bit kernels compiled for SSE2.
// glibc's memcpy moves the border rows faster than 16-byte stores, so the plain
// border fill, which uses it, stays.
#include "recon/x86/mc_kernels_128.h"

namespace veltrane {

constinit const McKernels kMcKernelsSse2 = Kernels128(ExtendPlaneC);

}  // namespace veltrane
