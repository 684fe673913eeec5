#include "veltrane_encoder/psnr.h"

#include <cmath>
#include <cstddef>

namespace veltrane::enc {

double PlanePsnr(const uint8_t* a, int aStride, const uint8_t* b, int bStride, int width,
                 int height) {
    uint64_t squared = 0;
    for (int r = 0; r < height; ++r) {
        const uint8_t* rowA = a + static_cast<ptrdiff_t>(r) * aStride;
        const uint8_t* rowB = b + static_cast<ptrdiff_t>(r) * bStride;
        for (int c = 0; c < width; ++c) {
            const int d = rowA[c] - rowB[c];
            squared += static_cast<uint64_t>(d * d);
        }
    }
    if (squared == 0) return kIdenticalPsnr;
    const double samples = static_cast<double>(width) * height;
    const double psnr = 10.0 * std::log10(255.0 * 255.0 * samples / static_cast<double>(squared));
    return psnr < kIdenticalPsnr ? psnr : kIdenticalPsnr;
}

}  // namespace veltrane::enc
