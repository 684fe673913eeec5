// Saturation of two 16-bit sums held in one 32-bit word (left value in the low
// half) to bytes, shared by the intra inverse transform and motion compensation.
#ifndef VELTRANE_RECON_SATURATE_H
#define VELTRANE_RECON_SATURATE_H

#include <cstddef>
#include <cstdint>

namespace veltrane {

// A half whose high byte is not zero becomes 0 if any of its top four bits is
// set and 255 otherwise: a clamp to 0..255 for -32768..4095, while 4096..32767
// become 0. One test decides for both halves whether anything needs doing.
inline uint32_t SaturatePixelPair(uint32_t pair) {
    if ((pair & 0xFF00FF00u) == 0) {
        return pair;
    }
    uint32_t low = pair & 0xFFFFu;
    uint32_t high = pair >> 16;
    if (low & 0xFF00u) {
        low = (low & 0xF000u) ? 0u : 255u;
    }
    if (high & 0xFF00u) {
        high = (high & 0xF000u) ? 0u : 255u;
    }
    return low | (high << 16);
}

// Adds an 8x8 residual to the prediction that dst holds: each sum wraps to 16
// bits, pairs of sums are saturated, and the samples go both to dst and to
// `samples` as int16.
inline void AddResidualBlock(const int16_t* residual, ptrdiff_t residualStride, unsigned char* dst,
                             ptrdiff_t stride, int16_t* samples, ptrdiff_t samplesStride) {
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; c += 2) {
            const uint32_t low = static_cast<uint16_t>(residual[c] + dst[c]);
            const uint32_t high = static_cast<uint16_t>(residual[c + 1] + dst[c + 1]);
            const uint32_t pair = SaturatePixelPair(low | (high << 16));
            dst[c] = static_cast<unsigned char>(pair);
            dst[c + 1] = static_cast<unsigned char>(pair >> 16);
            samples[c] = static_cast<int16_t>(pair & 0xFFFFu);
            samples[c + 1] = static_cast<int16_t>(pair >> 16);
        }
        residual += residualStride;
        dst += stride;
        samples += samplesStride;
    }
}

}  // namespace veltrane

#endif
