// Transform coefficient events (LAST, RUN, LEVEL) and their dequantisation.
#ifndef VELTRANE_ENTROPY_COEFFICIENTS_H
#define VELTRANE_ENTROPY_COEFFICIENTS_H

#include <cstdint>

#include "veltrane/bitreader.h"
#include "veltrane/support.h"

namespace veltrane {

// The H.263 zigzag order: entry i is the position (8 x row + column) of the i-th
// coefficient in scan order.
extern const uint8_t ZigzagScan[64];

// Reads one TCOEF event. The escape layout depends on the format version: 0 has
// an 8-bit level, 1 a format bit choosing a 7-bit or an 11-bit level. A failed
// code lookup gives LAST 1, RUN 0, LEVEL 0, so a block always ends.
void DecodeBlockCoefficients(CVeltraneSupport* support, fifo_t* fifo, int version, int* last,
                             int* run, int* level);

// Dequantises one level with quantiser `quant`, limited to -2048..2047.
inline int32_t DequantiseLevel(int level, int quant) {
    if (level == 0) {
        return 0;
    }
    const int32_t offset = (quant & 1) ? quant : quant - 1;
    if (level > 0) {
        const int32_t value = 2 * quant * level + offset;
        return value > 2047 ? 2047 : value;
    }
    const int32_t value = 2 * quant * level - offset;
    return value < -2048 ? -2048 : value;
}

}  // namespace veltrane

#endif
