#include "quantiser.h"

#include <cstdlib>

#include "entropy/coefficients.h"

namespace veltrane::enc {

namespace {

constexpr int kMaxLevelVersion0 = 127;   // 8-bit escape level, -128 excluded
constexpr int kMaxLevelVersion1 = 1023;  // 11-bit escape level

int16_t Limit(int magnitude, int sign, int maxLevel, int* clamped) {
    if (magnitude > maxLevel) {
        magnitude = maxLevel;
        ++*clamped;
    }
    return static_cast<int16_t>(sign < 0 ? -magnitude : magnitude);
}

}  // namespace

int MaxLevel(int version, int quant) {
    const int escapeMax = version == 0 ? kMaxLevelVersion0 : kMaxLevelVersion1;
    const int offset = (quant & 1) ? quant : quant - 1;
    // Smallest level whose dequantised magnitude reaches 2048.
    const int saturating = (2048 - offset + 2 * quant - 1) / (2 * quant);
    return saturating < escapeMax ? saturating : escapeMax;
}

void QuantiseIntra(const int32_t* coefficients, int quant, int maxLevel, BlockLevels* out) {
    out->level[0] = 0;
    out->lastScan = -1;
    out->clamped = 0;
    for (int i = 1; i < 64; ++i) {
        const int32_t c = coefficients[ZigzagScan[i]];
        const int magnitude = std::abs(c) / (2 * quant);
        out->level[i] = Limit(magnitude, c, maxLevel, &out->clamped);
        if (magnitude != 0) out->lastScan = i;
    }
}

void QuantiseInter(const int32_t* coefficients, int quant, int maxLevel, BlockLevels* out) {
    out->lastScan = -1;
    out->clamped = 0;
    for (int i = 0; i < 64; ++i) {
        const int32_t c = coefficients[ZigzagScan[i]];
        const int excess = std::abs(c) - quant / 2;
        const int magnitude = excess > 0 ? excess / (2 * quant) : 0;
        out->level[i] = Limit(magnitude, c, maxLevel, &out->clamped);
        if (magnitude != 0) out->lastScan = i;
    }
}

int IntraDcValue(int32_t dcCoefficient) {
    const int value = (dcCoefficient + 4) >> 3;
    return value < 1 ? 1 : (value > 254 ? 254 : value);
}

void DequantiseBlock(const BlockLevels& levels, int first, int quant, int32_t* coefficients) {
    for (int i = first; i <= levels.lastScan; ++i) {
        coefficients[ZigzagScan[i]] = DequantiseLevel(levels.level[i], quant);
    }
}

}  // namespace veltrane::enc
