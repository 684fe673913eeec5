// Quantisation of transform coefficients into levels in zigzag order, and the
// reconstruction of a coefficient block from levels the way the decoder does it.
#ifndef VELTRANE_ENCODER_QUANTISER_H
#define VELTRANE_ENCODER_QUANTISER_H

#include <cstdint>

namespace veltrane::enc {

// Levels of one 8x8 block in scan order; entry 0 is unused for intra blocks.
struct BlockLevels {
    int16_t level[64];
    int lastScan;  // scan index of the last non-zero level, -1 when none
    int clamped;   // levels cut to the largest magnitude allowed
};

// Largest |LEVEL| worth sending: what the version's escape can carry, and no more
// than the first level whose dequantised value reaches the decoder's limit.
int MaxLevel(int version, int quant);

// Intra AC levels (scan 1..63) by truncation, |LEVEL| = |C| / 2Q.
void QuantiseIntra(const int32_t* coefficients, int quant, int maxLevel, BlockLevels* out);
// Inter levels (scan 0..63) with a dead zone, |LEVEL| = (|C| - Q/2) / 2Q.
void QuantiseInter(const int32_t* coefficients, int quant, int maxLevel, BlockLevels* out);

// INTRADC value for the DC coefficient (eight times the block mean): 1..254.
int IntraDcValue(int32_t dcCoefficient);
// The 8-bit INTRADC field for a value: 128 is sent as 255.
inline uint32_t IntraDcField(int value) {
    return value == 128 ? 255u : static_cast<uint32_t>(value);
}

// Writes the dequantised levels from scan index `first` on into a zeroed block,
// exactly as the decoder places them.
void DequantiseBlock(const BlockLevels& levels, int first, int quant, int32_t* coefficients);

}  // namespace veltrane::enc

#endif
