// Forward 8x8 DCT of the same fixed-point family as the inverse transforms:
// rows into a local workspace, then columns into the coefficients. The
// arithmetic is done in uint32_t so that extreme inputs wrap like 32-bit
// two's complement instead of overflowing.
#include <cstdint>

#include "recon/idct_1d.h"
#include "veltrane/recon.h"

using namespace veltrane::idct;

namespace {

// Raw outputs of one line d[0], d[step], ..., d[7 * step]: sums[0] and sums[1]
// are t10 + t11 and t10 - t11 (for outputs 0 and 4, unscaled), out[k] the
// other outputs before rounding and shift (out[0] and out[4] unused).
template <typename T>
inline void ForwardButterflies(const T* d, int step, uint32_t sums[2], uint32_t out[8]) {
    const uint32_t d0 = static_cast<uint32_t>(d[0]);
    const uint32_t d1 = static_cast<uint32_t>(d[step]);
    const uint32_t d2 = static_cast<uint32_t>(d[2 * step]);
    const uint32_t d3 = static_cast<uint32_t>(d[3 * step]);
    const uint32_t d4 = static_cast<uint32_t>(d[4 * step]);
    const uint32_t d5 = static_cast<uint32_t>(d[5 * step]);
    const uint32_t d6 = static_cast<uint32_t>(d[6 * step]);
    const uint32_t d7 = static_cast<uint32_t>(d[7 * step]);

    const uint32_t t0 = d0 + d7, t7 = d0 - d7;
    const uint32_t t1 = d1 + d6, t6 = d1 - d6;
    const uint32_t t2 = d2 + d5, t5 = d2 - d5;
    const uint32_t t3 = d3 + d4, t4 = d3 - d4;

    // Even part.
    const uint32_t t10 = t0 + t3, t13 = t0 - t3;
    const uint32_t t11 = t1 + t2, t12 = t1 - t2;
    sums[0] = t10 + t11;
    sums[1] = t10 - t11;
    const uint32_t z = kFix0_541196100 * (t12 + t13);
    out[2] = z + kFix0_765366865 * t13;
    out[6] = z - kFix1_847759065 * t12;

    // Odd part.
    const uint32_t z1 = t4 + t7;
    const uint32_t z2 = t5 + t6;
    uint32_t z3 = t4 + t6;
    uint32_t z4 = t5 + t7;
    const uint32_t z5 = kFix1_175875602 * (z3 + z4);
    z3 = z5 - kFix1_961570560 * z3;
    z4 = z5 - kFix0_390180644 * z4;
    out[7] = kFix0_298631336 * t4 - kFix0_899976223 * z1 + z3;
    out[5] = kFix2_053119869 * t5 - kFix2_562915447 * z2 + z4;
    out[3] = kFix3_072711026 * t6 - kFix2_562915447 * z2 + z3;
    out[1] = kFix1_501321110 * t7 - kFix0_899976223 * z1 + z4;
}

// Outputs that come from the rotations and get the rounding shift; 0 and 4
// are plain sums scaled separately.
constexpr int kRotatedOutputs[6] = {1, 2, 3, 5, 6, 7};

}  // namespace

extern "C" void DctFixedPoint(const int16_t* samples, int32_t* coefficients) {
    int32_t workspace[64];
    uint32_t sums[2];
    uint32_t out[8];

    for (int r = 0; r < 8; ++r) {
        int32_t* row = workspace + 8 * r;
        ForwardButterflies(samples + 8 * r, 1, sums, out);
        row[0] = static_cast<int32_t>(sums[0] << 2);
        row[4] = static_cast<int32_t>(sums[1] << 2);
        for (int k : kRotatedOutputs) {
            row[k] = Descale(out[k] + kPass1Rounding, kPass1Shift);
        }
    }
    for (int c = 0; c < 8; ++c) {
        int32_t* col = coefficients + c;
        ForwardButterflies(workspace + c, 8, sums, out);
        col[0] = Descale(sums[0] + 16u, 5);
        col[32] = Descale(sums[1] + 16u, 5);
        for (int k : kRotatedOutputs) {
            col[8 * k] = Descale(out[k] + kPass2Rounding, kPass2Shift);
        }
    }
}
