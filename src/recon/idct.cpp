// Full 8x8 inverse DCT to 16-bit residuals and to saturated pixels, and the
// DC-only shortcut. Columns are transformed in place in the coefficient array,
// then rows go to the destination.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "recon/idct_1d.h"
#include "recon/saturate.h"
#include "veltrane/recon.h"

namespace veltrane::idct {
namespace {

// First pass over all eight columns, in place. A column without AC terms
// becomes 4 times its DC in every row.
void InverseColumns(int32_t* block) {
    for (int c = 0; c < 8; ++c) {
        int32_t* col = block + c;
        if ((col[8] | col[16] | col[24] | col[32] | col[40] | col[48] | col[56]) == 0) {
            const int32_t dc = ColumnDcOutput(col[0]);
            for (int r = 0; r < 8; ++r) {
                col[8 * r] = dc;
            }
            continue;
        }
        uint32_t y[8];
        InverseButterflies(Wrap(col[0]), Wrap(col[8]), Wrap(col[16]), Wrap(col[24]), Wrap(col[32]),
                           Wrap(col[40]), Wrap(col[48]), Wrap(col[56]), kPass1Rounding, y);
        for (int r = 0; r < 8; ++r) {
            col[8 * r] = Descale(y[r], kPass1Shift);
        }
    }
}

inline bool RowHasNoAc(const int32_t* row) {
    return (row[1] | row[2] | row[3] | row[4] | row[5] | row[6] | row[7]) == 0;
}

inline void RowButterflies(const int32_t* row, uint32_t y[8]) {
    InverseButterflies(Wrap(row[0]), Wrap(row[1]), Wrap(row[2]), Wrap(row[3]), Wrap(row[4]),
                       Wrap(row[5]), Wrap(row[6]), Wrap(row[7]), kPass2Rounding, y);
}

// Two row outputs as int16 in one word, the left one in the low half.
inline uint32_t PackPair(uint32_t left, uint32_t right) {
    const uint32_t low = static_cast<uint16_t>(Descale(left, kPass2Shift));
    const uint32_t high = static_cast<uint16_t>(Descale(right, kPass2Shift));
    return low | (high << 16);
}

}  // namespace
}  // namespace veltrane::idct

using namespace veltrane::idct;

extern "C" void InvDctFixedPoint(int32_t* coefficients, int16_t* dst, int stride) {
    InverseColumns(coefficients);
    for (int r = 0; r < 8; ++r) {
        const int32_t* row = coefficients + 8 * r;
        int16_t* out = dst + static_cast<ptrdiff_t>(r) * stride;
        if (RowHasNoAc(row)) {
            const int16_t v = RowDcOutput(row[0]);
            for (int c = 0; c < 8; ++c) {
                out[c] = v;
            }
            continue;
        }
        uint32_t y[8];
        RowButterflies(row, y);
        for (int c = 0; c < 8; ++c) {
            out[c] = static_cast<int16_t>(Descale(y[c], kPass2Shift));
        }
    }
}

extern "C" void InvDctFixedPointIntra(int32_t* coefficients, unsigned char* dst, int stride) {
    InverseColumns(coefficients);
    for (int r = 0; r < 8; ++r) {
        const int32_t* row = coefficients + 8 * r;
        unsigned char* out = dst + static_cast<ptrdiff_t>(r) * stride;
        if (RowHasNoAc(row)) {
            const int16_t v = RowDcOutput(row[0]);
            std::memset(out, v < 0 ? 0 : (v > 255 ? 255 : v), 8);
            continue;
        }
        uint32_t y[8];
        RowButterflies(row, y);
        for (int c = 0; c < 8; c += 2) {
            const uint32_t pair = veltrane::SaturatePixelPair(PackPair(y[c], y[c + 1]));
            out[c] = static_cast<unsigned char>(pair);
            out[c + 1] = static_cast<unsigned char>(pair >> 16);
        }
    }
}

extern "C" void InvDct1FixedPoint(int32_t* coefficients, int16_t* dst, int stride) {
    const int16_t v = RowDcOutput(ColumnDcOutput(coefficients[0]));
    for (int r = 0; r < 8; ++r) {
        int16_t* out = dst + static_cast<ptrdiff_t>(r) * stride;
        for (int c = 0; c < 8; ++c) {
            out[c] = v;
        }
    }
}
