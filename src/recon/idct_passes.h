// The two passes of the 8x8 inverse transform in plain C, over coefficients of
// either width: columns into a 32-bit workspace, then rows out. Shared by the
// plain kernels and by the exported transforms' path for coefficients that do
// not fit 16 bits.
#ifndef VELTRANE_RECON_IDCT_PASSES_H
#define VELTRANE_RECON_IDCT_PASSES_H

#include <cstddef>
#include <cstdint>

#include "recon/idct_1d.h"
#include "recon/saturate.h"

namespace veltrane::idct {

// Column pass over all eight columns. A column without AC terms becomes 4 times
// its DC in every row. `ws` may be `in` itself.
template <typename T>
inline void InverseColumns(const T* in, int32_t* ws) {
    for (int c = 0; c < 8; ++c) {
        const T* col = in + c;
        int32_t* out = ws + c;
        if ((col[8] | col[16] | col[24] | col[32] | col[40] | col[48] | col[56]) == 0) {
            const int32_t dc = ColumnDcOutput(col[0]);
            for (int r = 0; r < 8; ++r) {
                out[8 * r] = dc;
            }
            continue;
        }
        uint32_t y[8];
        InverseButterflies(Wrap(col[0]), Wrap(col[8]), Wrap(col[16]), Wrap(col[24]), Wrap(col[32]),
                           Wrap(col[40]), Wrap(col[48]), Wrap(col[56]), kPass1Rounding, y);
        for (int r = 0; r < 8; ++r) {
            out[8 * r] = Descale(y[r], kPass1Shift);
        }
    }
}

inline void FillColumn(int32_t* col, int32_t value) {
    for (int r = 0; r < 8; ++r) {
        col[8 * r] = value;
    }
}

inline void StoreColumn(int32_t* col, const uint32_t y[8]) {
    for (int r = 0; r < 8; ++r) {
        col[8 * r] = Descale(y[r], kPass1Shift);
    }
}

// Column pass of a block whose non-zero coefficients lie in the first ten zigzag
// positions (column 0 rows 0-3, column 1 rows 0-2, column 2 rows 0-1, column 3
// row 0). Columns 4 to 7 of the workspace are left alone: the row pass of such a
// block never reads them.
template <typename T>
inline void InverseCornerColumns(const T* in, int32_t* ws) {
    uint32_t y[8];
    for (int c = 0; c < 2; ++c) {
        const T* col = in + c;
        if ((col[8] | col[16] | col[24]) == 0) {
            FillColumn(ws + c, ColumnDcOutput(col[0]));
        } else {
            InverseButterflies4(Wrap(col[0]), Wrap(col[8]), Wrap(col[16]), Wrap(col[24]),
                                kPass1Rounding, y);
            StoreColumn(ws + c, y);
        }
    }
    if (in[10] == 0) {
        FillColumn(ws + 2, ColumnDcOutput(in[2]));
    } else {
        InverseButterflies2(Wrap(in[2]), Wrap(in[10]), kPass1Rounding, y);
        StoreColumn(ws + 2, y);
    }
    FillColumn(ws + 3, ColumnDcOutput(in[3]));
}

inline bool RowHasNoAc(const int32_t* row) {
    return (row[1] | row[2] | row[3] | row[4] | row[5] | row[6] | row[7]) == 0;
}

inline void FillRow(int16_t* out, int16_t value) {
    for (int c = 0; c < 8; ++c) {
        out[c] = value;
    }
}

inline void StoreRow(int16_t* out, const uint32_t y[8]) {
    for (int c = 0; c < 8; ++c) {
        out[c] = static_cast<int16_t>(Descale(y[c], kPass2Shift));
    }
}

// Row pass to 16-bit residuals.
inline void RowsToResidual(const int32_t* ws, int16_t* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r, dst += stride) {
        const int32_t* row = ws + 8 * r;
        if (RowHasNoAc(row)) {
            FillRow(dst, RowDcOutput(row[0]));
            continue;
        }
        uint32_t y[8];
        InverseButterflies(Wrap(row[0]), Wrap(row[1]), Wrap(row[2]), Wrap(row[3]), Wrap(row[4]),
                           Wrap(row[5]), Wrap(row[6]), Wrap(row[7]), kPass2Rounding, y);
        StoreRow(dst, y);
    }
}

// Row pass of a corner block: columns 4 to 7 are zero and never read.
inline void CornerRowsToResidual(const int32_t* ws, int16_t* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r, dst += stride) {
        const int32_t* row = ws + 8 * r;
        if ((row[1] | row[2] | row[3]) == 0) {
            FillRow(dst, RowDcOutput(row[0]));
            continue;
        }
        uint32_t y[8];
        InverseButterflies4(Wrap(row[0]), Wrap(row[1]), Wrap(row[2]), Wrap(row[3]), kPass2Rounding,
                            y);
        StoreRow(dst, y);
    }
}

// Two row outputs as int16 in one word, the left one in the low half.
inline uint32_t PackOutputPair(uint32_t left, uint32_t right) {
    const uint32_t low = static_cast<uint16_t>(Descale(left, kPass2Shift));
    const uint32_t high = static_cast<uint16_t>(Descale(right, kPass2Shift));
    return low | (high << 16);
}

// Row pass to pixels. A row without AC terms is clamped by plain comparison;
// transformed rows are saturated in pairs.
inline void RowsToPixels(const int32_t* ws, unsigned char* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r, dst += stride) {
        const int32_t* row = ws + 8 * r;
        if (RowHasNoAc(row)) {
            const int16_t v = RowDcOutput(row[0]);
            const auto pixel = static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
            for (int c = 0; c < 8; ++c) {
                dst[c] = pixel;
            }
            continue;
        }
        uint32_t y[8];
        InverseButterflies(Wrap(row[0]), Wrap(row[1]), Wrap(row[2]), Wrap(row[3]), Wrap(row[4]),
                           Wrap(row[5]), Wrap(row[6]), Wrap(row[7]), kPass2Rounding, y);
        for (int c = 0; c < 8; c += 2) {
            const uint32_t pair = SaturatePixelPair(PackOutputPair(y[c], y[c + 1]));
            dst[c] = static_cast<unsigned char>(pair);
            dst[c + 1] = static_cast<unsigned char>(pair >> 16);
        }
    }
}

template <typename T>
inline void TransformToResidual(const T* coefficients, int16_t* dst, ptrdiff_t stride) {
    int32_t ws[64];
    InverseColumns(coefficients, ws);
    RowsToResidual(ws, dst, stride);
}

template <typename T>
inline void TransformCornerToResidual(const T* coefficients, int16_t* dst, ptrdiff_t stride) {
    int32_t ws[64] = {};  // columns 4 to 7 stay zero: no compiler can doubt they are set
    InverseCornerColumns(coefficients, ws);
    CornerRowsToResidual(ws, dst, stride);
}

template <typename T>
inline void TransformToPixels(const T* coefficients, unsigned char* dst, ptrdiff_t stride) {
    int32_t ws[64];
    InverseColumns(coefficients, ws);
    RowsToPixels(ws, dst, stride);
}

// What a DC-only block transforms to, in every position.
inline int16_t DcOnlyOutput(int32_t dc) { return RowDcOutput(ColumnDcOutput(dc)); }

}  // namespace veltrane::idct

#endif
