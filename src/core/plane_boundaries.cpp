// Extends a plane into its 16-sample border by replicating its edge samples, so
// that motion vectors pointing outside the picture read defined samples.
#include "recon/mc_kernels.h"
#include "veltrane/decoder.h"

void FillPlaneBoundaries(unsigned char* plane, int32_t width, int32_t height, int32_t stride) {
    if (width <= 0 || height <= 0) {
        return;
    }
    veltrane::ActiveMcKernels()->extendPlane(plane, width, height, stride);
}
