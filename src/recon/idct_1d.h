// One-dimensional 8-point inverse DCT in fixed point with 13 fraction bits
// (Loeffler-Ligtenberg-Moschytz factorisation), shared by the inverse transforms.
//
// The butterflies run in uint32_t: for extreme blocks the second pass exceeds 32
// bits, and the result must be the two's-complement wrap-around of the signed
// computation. Callers convert the raw outputs back with Descale, which shifts
// arithmetically.
#ifndef VELTRANE_RECON_IDCT_1D_H
#define VELTRANE_RECON_IDCT_1D_H

#include <cstdint>

namespace veltrane::idct {

// Rotation factors times 8192, rounded.
inline constexpr uint32_t kFix0_298631336 = 2446;
inline constexpr uint32_t kFix0_390180644 = 3196;
inline constexpr uint32_t kFix0_541196100 = 4433;
inline constexpr uint32_t kFix0_765366865 = 6270;
inline constexpr uint32_t kFix0_899976223 = 7373;
inline constexpr uint32_t kFix1_175875602 = 9633;
inline constexpr uint32_t kFix1_501321110 = 12299;
inline constexpr uint32_t kFix1_847759065 = 15137;
inline constexpr uint32_t kFix1_961570560 = 16069;
inline constexpr uint32_t kFix2_053119869 = 16819;
inline constexpr uint32_t kFix2_562915447 = 20995;
inline constexpr uint32_t kFix3_072711026 = 25172;
inline constexpr uint32_t kFixOne = 8192;

// Rounding terms and shifts of the two passes.
inline constexpr uint32_t kPass1Rounding = 1024;
inline constexpr int kPass1Shift = 11;
inline constexpr uint32_t kPass2Rounding = 131072;
inline constexpr int kPass2Shift = 18;

// A wrapped 32-bit value read back as signed and shifted arithmetically.
inline int32_t Descale(uint32_t value, int shift) { return static_cast<int32_t>(value) >> shift; }

inline uint32_t Wrap(int32_t value) { return static_cast<uint32_t>(value); }

// What the column pass and the row pass give for a line whose AC inputs are all
// zero: 4 times the DC, and the rounded DC / 32 as int16.
inline int32_t ColumnDcOutput(int32_t dc) { return static_cast<int32_t>(Wrap(dc) << 2); }
inline int16_t RowDcOutput(int32_t dc) { return static_cast<int16_t>(Descale(Wrap(dc) + 16u, 5)); }

// The last butterfly stage: y[k] = even[k] + odd[k] and y[7 - k] = even[k] - odd[k].
constexpr void CombineHalves(uint32_t e0, uint32_t e1, uint32_t e2, uint32_t e3, uint32_t o0,
                             uint32_t o1, uint32_t o2, uint32_t o3, uint32_t y[8]) {
    y[0] = e0 + o0;
    y[7] = e0 - o0;
    y[1] = e1 + o1;
    y[6] = e1 - o1;
    y[2] = e2 + o2;
    y[5] = e2 - o2;
    y[3] = e3 + o3;
    y[4] = e3 - o3;
}

// Raw outputs y[0..7] (before the shift) of the transform of x0..x7; `rounding`
// is added to every output.
constexpr void InverseButterflies(uint32_t x0, uint32_t x1, uint32_t x2, uint32_t x3, uint32_t x4,
                                  uint32_t x5, uint32_t x6, uint32_t x7, uint32_t rounding,
                                  uint32_t y[8]) {
    // Even part.
    uint32_t z = kFix0_541196100 * (x2 + x6);
    const uint32_t t2 = z - kFix1_847759065 * x6;
    const uint32_t t3 = z + kFix0_765366865 * x2;
    const uint32_t t0 = kFixOne * (x0 + x4) + rounding;
    const uint32_t t1 = kFixOne * (x0 - x4) + rounding;
    const uint32_t a10 = t0 + t3;
    const uint32_t a13 = t0 - t3;
    const uint32_t a11 = t1 + t2;
    const uint32_t a12 = t1 - t2;

    // Odd part.
    uint32_t z1 = x7 + x1;
    uint32_t z2 = x5 + x3;
    uint32_t z3 = x7 + x3;
    uint32_t z4 = x5 + x1;
    const uint32_t z5 = kFix1_175875602 * (z3 + z4);
    uint32_t b0 = kFix0_298631336 * x7;
    uint32_t b1 = kFix2_053119869 * x5;
    uint32_t b2 = kFix3_072711026 * x3;
    uint32_t b3 = kFix1_501321110 * x1;
    z1 = 0u - kFix0_899976223 * z1;
    z2 = 0u - kFix2_562915447 * z2;
    z3 = z5 - kFix1_961570560 * z3;
    z4 = z5 - kFix0_390180644 * z4;
    b0 += z1 + z3;
    b1 += z2 + z4;
    b2 += z2 + z3;
    b3 += z1 + z4;

    CombineHalves(a10, a11, a12, a13, b3, b2, b1, b0, y);
}

// InverseButterflies with x4..x7 known to be 0. The combined factors are sums
// of the ones above, so the results are identical.
inline void InverseButterflies4(uint32_t x0, uint32_t x1, uint32_t x2, uint32_t x3,
                                uint32_t rounding, uint32_t y[8]) {
    const uint32_t t0 = kFixOne * x0 + rounding;
    const uint32_t t3 = 10703u * x2;  // 4433 + 6270
    const uint32_t t2 = kFix0_541196100 * x2;
    const uint32_t a10 = t0 + t3;
    const uint32_t a13 = t0 - t3;
    const uint32_t a11 = t0 + t2;
    const uint32_t a12 = t0 - t2;

    const uint32_t z5 = kFix1_175875602 * (x1 + x3);
    const uint32_t b3 = 4926u * x1 + z5 - kFix0_390180644 * x1;  // 12299 - 7373
    const uint32_t b2 = 4177u * x3 + z5 - kFix1_961570560 * x3;  // 25172 - 20995
    const uint32_t b1 = z5 - kFix2_562915447 * x3 - kFix0_390180644 * x1;
    const uint32_t b0 = z5 - kFix0_899976223 * x1 - kFix1_961570560 * x3;

    CombineHalves(a10, a11, a12, a13, b3, b2, b1, b0, y);
}

// InverseButterflies with only x0 and x1 possibly non-zero.
inline void InverseButterflies2(uint32_t x0, uint32_t x1, uint32_t rounding, uint32_t y[8]) {
    const uint32_t t0 = kFixOne * x0 + rounding;
    const uint32_t b3 = 11363u * x1;  // 12299 - 7373 - 3196 + 9633
    const uint32_t b2 = 9633u * x1;   // z5 alone
    const uint32_t b1 = 6437u * x1;   // 9633 - 3196
    const uint32_t b0 = 2260u * x1;   // 9633 - 7373

    CombineHalves(t0, t0, t0, t0, b3, b2, b1, b0, y);
}

}  // namespace veltrane::idct

#endif
