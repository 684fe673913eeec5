// Inverse DCT of a block whose non-zero coefficients lie in the first ten
// zigzag positions: column 0 rows 0-3, column 1 rows 0-2, column 2 rows 0-1 and
// column 3 row 0. Terms known to be zero are left out; the output equals the
// full transform's bit for bit.
#include <cstddef>
#include <cstdint>

#include "recon/idct_1d.h"
#include "veltrane/recon.h"

using namespace veltrane::idct;

namespace {

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

}  // namespace

extern "C" void InvDct10FixedPoint(int32_t* coefficients, int16_t* dst, int stride) {
    uint32_t y[8];

    // Columns 0 and 1: rows 0 to 3.
    for (int c = 0; c < 2; ++c) {
        int32_t* col = coefficients + c;
        if ((col[8] | col[16] | col[24]) == 0) {
            FillColumn(col, ColumnDcOutput(col[0]));
        } else {
            InverseButterflies4(Wrap(col[0]), Wrap(col[8]), Wrap(col[16]), Wrap(col[24]),
                                kPass1Rounding, y);
            StoreColumn(col, y);
        }
    }
    // Column 2: rows 0 and 1.
    int32_t* col2 = coefficients + 2;
    if (col2[8] == 0) {
        FillColumn(col2, ColumnDcOutput(col2[0]));
    } else {
        InverseButterflies2(Wrap(col2[0]), Wrap(col2[8]), kPass1Rounding, y);
        StoreColumn(col2, y);
    }
    // Column 3: row 0 only.
    FillColumn(coefficients + 3, ColumnDcOutput(coefficients[3]));

    // Rows: columns 0 to 3; columns 4 to 7 are zero and never read.
    for (int r = 0; r < 8; ++r) {
        const int32_t* row = coefficients + 8 * r;
        int16_t* out = dst + static_cast<ptrdiff_t>(r) * stride;
        if ((row[1] | row[2] | row[3]) == 0) {
            const int16_t v = RowDcOutput(row[0]);
            for (int c = 0; c < 8; ++c) {
                out[c] = v;
            }
            continue;
        }
        InverseButterflies4(Wrap(row[0]), Wrap(row[1]), Wrap(row[2]), Wrap(row[3]), kPass2Rounding,
                            y);
        for (int c = 0; c < 8; ++c) {
            out[c] = static_cast<int16_t>(Descale(y[c], kPass2Shift));
        }
    }
}
