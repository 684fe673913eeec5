// Saturation of two 16-bit sums held in one 32-bit word (left value in the low
// half) to bytes, shared by the intra inverse transform and motion compensation.
#ifndef VELTRANE_RECON_SATURATE_H
#define VELTRANE_RECON_SATURATE_H

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

}  // namespace veltrane

#endif
