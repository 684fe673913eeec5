// Static code tables of the macroblock layer, and the tables that give meaning to
// the TCOEF values.
#ifndef VELTRANE_ENTROPY_CODE_TABLES_H
#define VELTRANE_ENTROPY_CODE_TABLES_H

#include <cstdint>

namespace veltrane {

// Layout: [0] N codes, [1] V0, then for code i: [2 + 2i] length, [3 + 2i] bits.
extern const int16_t McbpcIntraCodes[2 + 2 * 9];  // 8 is stuffing
extern const int16_t
    McbpcInterCodes[2 + 2 * 21];  // type = value / 4, CBPC = value % 4; 20 is stuffing
extern const int16_t CbpyCodes[2 + 2 * 16];
extern const int16_t MvdCodes[2 + 2 * 64];     // values -32..31
extern const int16_t TcoefCodes[2 + 2 * 103];  // 102 is ESCAPE; codes without their sign bit

// Index of each tree in CVeltraneSupport::codeTables.
enum CodeTableIndex {
    kMcbpcIntraTable = 0,
    kMcbpcInterTable = 1,
    kCbpyTable = 2,
    kMvdTable = 3,
    kTcoefTable = 4,
    kCodeTableCount = 5
};

constexpr int kMcbpcIntraStuffing = 8;
constexpr int kMcbpcInterStuffing = 20;
constexpr int kTcoefEscape = 102;
constexpr int kTcoefFirstLast = 58;  // TCOEF values 58..101 carry LAST = 1

// RUN and |LEVEL| of each TCOEF value; the ESCAPE entry holds 0 in both.
extern const uint8_t TcoefRunTable[103];
extern const uint8_t TcoefLevelTable[103];

}  // namespace veltrane

#endif
