// Word helpers of the plain prediction kernels: four samples in the byte lanes
// of a 32-bit word, or two 16-bit values in its halves.
#ifndef VELTRANE_RECON_MC_WORD_OPS_H
#define VELTRANE_RECON_MC_WORD_OPS_H

#include <bit>
#include <cstdint>
#include <cstring>

namespace veltrane {

namespace mc {

// Four bytes as one word, the byte at the lowest address in the low byte on
// every host.
inline uint32_t LoadBytes4(const unsigned char* p) {
    uint32_t w;
    std::memcpy(&w, p, 4);
    if constexpr (std::endian::native == std::endian::big) {
        w = (w >> 24) | ((w >> 8) & 0xFF00u) | ((w << 8) & 0xFF0000u) | (w << 24);
    }
    return w;
}

inline void StoreBytes4(unsigned char* p, uint32_t w) {
    if constexpr (std::endian::native == std::endian::big) {
        w = (w >> 24) | ((w >> 8) & 0xFF00u) | ((w << 8) & 0xFF0000u) | (w << 24);
    }
    std::memcpy(p, &w, 4);
}

// Two 16-bit values as one word, the left (lower-addressed) value in the low half.
inline uint32_t LoadPair(const int16_t* p) {
    uint32_t w;
    std::memcpy(&w, p, 4);
    if constexpr (std::endian::native == std::endian::big) {
        w = (w >> 16) | (w << 16);
    }
    return w;
}

inline void StorePair(int16_t* p, uint32_t w) {
    if constexpr (std::endian::native == std::endian::big) {
        w = (w >> 16) | (w << 16);
    }
    std::memcpy(p, &w, 4);
}

// (a + b + 1) >> 1 in each of the four byte lanes.
inline uint32_t AverageBytes(uint32_t a, uint32_t b) {
    return (a | b) - (((a ^ b) >> 1) & 0x7F7F7F7Fu);
}

// Sums of horizontally adjacent samples for the diagonal average, per byte
// lane, with the low two bits kept apart from the upper six so that adding
// two rows and the rounding term never overflows a lane.
struct AdjacentSum {
    uint32_t low;
    uint32_t high;
};

inline AdjacentSum SumAdjacent(uint32_t left, uint32_t right) {
    return {(left & 0x03030303u) + (right & 0x03030303u),
            ((left >> 2) & 0x3F3F3F3Fu) + ((right >> 2) & 0x3F3F3F3Fu)};
}

// (a + b + c + d + 2) >> 2 per byte lane, from the adjacent sums of two rows.
inline uint32_t AverageRows(AdjacentSum above, AdjacentSum below) {
    const uint32_t low = above.low + below.low + 0x02020202u;
    return above.high + below.high + ((low >> 2) & 0x03030303u);
}

}  // namespace mc
}  // namespace veltrane

#endif
