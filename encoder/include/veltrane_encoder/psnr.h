// Peak signal-to-noise ratio of 8-bit planes.
#ifndef VELTRANE_ENCODER_PSNR_H
#define VELTRANE_ENCODER_PSNR_H

#include <cstdint>

namespace veltrane::enc {

constexpr double kIdenticalPsnr = 100.0;  // reported when the planes are equal

// PSNR in dB over width x height samples of two planes.
double PlanePsnr(const uint8_t* a, int aStride, const uint8_t* b, int bStride, int width,
                 int height);

}  // namespace veltrane::enc

#endif
