// NEON inverse transform kernels: the column pass on eight columns at once
// (one row of coefficients per register), a transpose, the row pass on eight
// rows at once, and a transpose back. Products are 16 x 16 -> 32 bits.
//
// The plain kernels compute in 32-bit wrap-around with 32-bit intermediates.
// Here the column pass keeps 16-bit results, which is exact as long as they fit:
// each column output is a sum of the column's inputs times factors of at most
// 11363, shifted right by 11, so a column whose absolute values add up to at
// most 5905 gives outputs within -32768..32767. The row pass then stays below
// 61214 * 32768 + 2^17 < 2^31, so no sum wraps, and the row shortcut of the
// plain kernels ((x0 + 16) >> 5 for a row without AC terms, clamped by plain
// comparison in the pixel form) gives what the full transform gives. Blocks
// beyond the bound, which the decoder forms only from extreme coefficients, go
// to the plain kernels.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "recon/idct_kernels.h"

namespace veltrane {
namespace {

// Largest sum of absolute coefficients in one column that keeps the column
// pass within 16 bits.
constexpr int16_t kColumnSumLimit = 5905;

// Eight registers of eight 16-bit lanes: the rows of a block, or its columns.
struct Lines8 {
    int16x8_t v[8];
};

// Raw outputs of the 1-D transform of x[0..7] (4 lanes), without rounding:
// the butterflies of the plain kernels with the odd part's products folded
// into one factor per input (sums of the rotation factors, so every sum is the
// same integer).
inline void InverseButterflies(const int16x4_t x[8], int32x4_t y[8]) {
    const int32x4_t t0 = vshlq_n_s32(vaddl_s16(x[0], x[4]), 13);
    const int32x4_t t1 = vshlq_n_s32(vsubl_s16(x[0], x[4]), 13);
    const int32x4_t t3 = vmlal_n_s16(vmull_n_s16(x[2], 10703), x[6], 4433);
    const int32x4_t t2 = vmlsl_n_s16(vmull_n_s16(x[2], 4433), x[6], 10704);
    const int32x4_t a10 = vaddq_s32(t0, t3);
    const int32x4_t a13 = vsubq_s32(t0, t3);
    const int32x4_t a11 = vaddq_s32(t1, t2);
    const int32x4_t a12 = vsubq_s32(t1, t2);

    int32x4_t b3 = vmull_n_s16(x[1], 11363);
    b3 = vmlal_n_s16(b3, x[3], 9633);
    b3 = vmlal_n_s16(b3, x[5], 6437);
    b3 = vmlal_n_s16(b3, x[7], 2260);
    int32x4_t b2 = vmull_n_s16(x[1], 9633);
    b2 = vmlsl_n_s16(b2, x[3], 2259);
    b2 = vmlsl_n_s16(b2, x[5], 11362);
    b2 = vmlsl_n_s16(b2, x[7], 6436);
    int32x4_t b1 = vmull_n_s16(x[1], 6437);
    b1 = vmlsl_n_s16(b1, x[3], 11362);
    b1 = vmlal_n_s16(b1, x[5], 2261);
    b1 = vmlal_n_s16(b1, x[7], 9633);
    int32x4_t b0 = vmull_n_s16(x[1], 2260);
    b0 = vmlsl_n_s16(b0, x[3], 6436);
    b0 = vmlal_n_s16(b0, x[5], 9633);
    b0 = vmlsl_n_s16(b0, x[7], 11363);

    y[0] = vaddq_s32(a10, b3);
    y[7] = vsubq_s32(a10, b3);
    y[1] = vaddq_s32(a11, b2);
    y[6] = vsubq_s32(a11, b2);
    y[2] = vaddq_s32(a12, b1);
    y[5] = vsubq_s32(a12, b1);
    y[3] = vaddq_s32(a13, b0);
    y[4] = vsubq_s32(a13, b0);
}

// The same with x[4..7] zero (the corner blocks).
inline void InverseButterflies4(const int16x4_t x[4], int32x4_t y[8]) {
    const int32x4_t t0 = vshll_n_s16(x[0], 13);
    const int32x4_t t3 = vmull_n_s16(x[2], 10703);
    const int32x4_t t2 = vmull_n_s16(x[2], 4433);
    const int32x4_t a10 = vaddq_s32(t0, t3);
    const int32x4_t a13 = vsubq_s32(t0, t3);
    const int32x4_t a11 = vaddq_s32(t0, t2);
    const int32x4_t a12 = vsubq_s32(t0, t2);
    const int32x4_t b3 = vmlal_n_s16(vmull_n_s16(x[1], 11363), x[3], 9633);
    const int32x4_t b2 = vmlsl_n_s16(vmull_n_s16(x[1], 9633), x[3], 2259);
    const int32x4_t b1 = vmlsl_n_s16(vmull_n_s16(x[1], 6437), x[3], 11362);
    const int32x4_t b0 = vmlsl_n_s16(vmull_n_s16(x[1], 2260), x[3], 6436);
    y[0] = vaddq_s32(a10, b3);
    y[7] = vsubq_s32(a10, b3);
    y[1] = vaddq_s32(a11, b2);
    y[6] = vsubq_s32(a11, b2);
    y[2] = vaddq_s32(a12, b1);
    y[5] = vsubq_s32(a12, b1);
    y[3] = vaddq_s32(a13, b0);
    y[4] = vsubq_s32(a13, b0);
}

// Column pass outputs: (y + 1024) >> 11. Nothing wraps within the bound.
inline int16x4_t ColumnOutput(int32x4_t y) { return vrshrn_n_s32(y, 11); }

// Row pass outputs: (y + 2^17) >> 18.
inline int16x4_t RowOutput(int32x4_t y) { return vmovn_s32(vrshrq_n_s32(y, 18)); }

inline void Transpose(Lines8& m) {
    const int16x8x2_t p01 = vtrnq_s16(m.v[0], m.v[1]);
    const int16x8x2_t p23 = vtrnq_s16(m.v[2], m.v[3]);
    const int16x8x2_t p45 = vtrnq_s16(m.v[4], m.v[5]);
    const int16x8x2_t p67 = vtrnq_s16(m.v[6], m.v[7]);
    const int32x4x2_t q02 =
        vtrnq_s32(vreinterpretq_s32_s16(p01.val[0]), vreinterpretq_s32_s16(p23.val[0]));
    const int32x4x2_t q13 =
        vtrnq_s32(vreinterpretq_s32_s16(p01.val[1]), vreinterpretq_s32_s16(p23.val[1]));
    const int32x4x2_t q46 =
        vtrnq_s32(vreinterpretq_s32_s16(p45.val[0]), vreinterpretq_s32_s16(p67.val[0]));
    const int32x4x2_t q57 =
        vtrnq_s32(vreinterpretq_s32_s16(p45.val[1]), vreinterpretq_s32_s16(p67.val[1]));
    auto lowHalves = [](int32x4_t a, int32x4_t b) {
        return vreinterpretq_s16_s32(vcombine_s32(vget_low_s32(a), vget_low_s32(b)));
    };
    auto highHalves = [](int32x4_t a, int32x4_t b) {
        return vreinterpretq_s16_s32(vcombine_s32(vget_high_s32(a), vget_high_s32(b)));
    };
    m.v[0] = lowHalves(q02.val[0], q46.val[0]);
    m.v[1] = lowHalves(q13.val[0], q57.val[0]);
    m.v[2] = lowHalves(q02.val[1], q46.val[1]);
    m.v[3] = lowHalves(q13.val[1], q57.val[1]);
    m.v[4] = highHalves(q02.val[0], q46.val[0]);
    m.v[5] = highHalves(q13.val[0], q57.val[0]);
    m.v[6] = highHalves(q02.val[1], q46.val[1]);
    m.v[7] = highHalves(q13.val[1], q57.val[1]);
}

// Whether any lane of a comparison result is set.
inline bool AnyLane(uint16x8_t mask) {
    const uint16x4_t folded = vorr_u16(vget_low_u16(mask), vget_high_u16(mask));
    return vget_lane_u64(vreinterpret_u64_u16(folded), 0) != 0;
}
inline bool AnyLane(uint16x4_t mask) { return vget_lane_u64(vreinterpret_u64_u16(mask), 0) != 0; }

// Loads the 64 coefficients, one row per register; false if a column exceeds
// the bound of the 16-bit column pass.
inline bool LoadBlock(const int16_t* coefficients, Lines8& rows) {
    int16x8_t sum = vdupq_n_s16(0);
    for (int r = 0; r < 8; ++r) {
        rows.v[r] = vld1q_s16(coefficients + 8 * r);
        sum = vqaddq_s16(sum, vqabsq_s16(rows.v[r]));
    }
    return !AnyLane(vcgtq_s16(sum, vdupq_n_s16(kColumnSumLimit)));
}

// Column pass of a whole block, in place: row r of the block in, row r of the
// intermediate out.
inline void InverseColumns(Lines8& m) {
    int16x4_t low[8];
    int16x4_t high[8];
    for (int k = 0; k < 8; ++k) {
        low[k] = vget_low_s16(m.v[k]);
        high[k] = vget_high_s16(m.v[k]);
    }
    int32x4_t yLow[8];
    int32x4_t yHigh[8];
    InverseButterflies(low, yLow);
    InverseButterflies(high, yHigh);
    for (int k = 0; k < 8; ++k) {
        m.v[k] = vcombine_s16(ColumnOutput(yLow[k]), ColumnOutput(yHigh[k]));
    }
}

// Row pass over transposed intermediates (register k holds column k of every
// row); returns the rows of the result.
inline void InverseRows(Lines8& m) {
    int16x4_t low[8];
    int16x4_t high[8];
    for (int k = 0; k < 8; ++k) {
        low[k] = vget_low_s16(m.v[k]);
        high[k] = vget_high_s16(m.v[k]);
    }
    int32x4_t yLow[8];
    int32x4_t yHigh[8];
    InverseButterflies(low, yLow);
    InverseButterflies(high, yHigh);
    for (int k = 0; k < 8; ++k) {
        m.v[k] = vcombine_s16(RowOutput(yLow[k]), RowOutput(yHigh[k]));
    }
    Transpose(m);
}

// The corner block: the plain kernels read rows 0 to 3 of columns 0 and 1, rows
// 0 and 1 of column 2 and row 0 of column 3, and take everything else as 0.
inline bool LoadCorner(const int16_t* coefficients, int16x4_t rows[4]) {
    static const uint16_t kKeep[4][4] = {
        {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF},
        {0xFFFF, 0xFFFF, 0xFFFF, 0},
        {0xFFFF, 0xFFFF, 0, 0},
        {0xFFFF, 0xFFFF, 0, 0},
    };
    int16x4_t sum = vdup_n_s16(0);
    for (int r = 0; r < 4; ++r) {
        rows[r] = vand_s16(vld1_s16(coefficients + 8 * r), vreinterpret_s16_u16(vld1_u16(kKeep[r])));
        sum = vqadd_s16(sum, vqabs_s16(rows[r]));
    }
    return !AnyLane(vcgt_s16(sum, vdup_n_s16(kColumnSumLimit)));
}

// Both passes of a corner block; the rows of the result.
inline void InverseCorner(const int16x4_t rows[4], Lines8& m) {
    int32x4_t y[8];
    InverseButterflies4(rows, y);
    // Intermediate rows 0..7, columns 0..3; transposed as two 4x4 tiles so that
    // register k holds column k of every row.
    int16x4_t w[8];
    for (int k = 0; k < 8; ++k) {
        w[k] = ColumnOutput(y[k]);
    }
    int16x4_t columns[2][4];
    for (int tile = 0; tile < 2; ++tile) {
        const int16x4x2_t p01 = vtrn_s16(w[4 * tile], w[4 * tile + 1]);
        const int16x4x2_t p23 = vtrn_s16(w[4 * tile + 2], w[4 * tile + 3]);
        const int32x2x2_t q02 =
            vtrn_s32(vreinterpret_s32_s16(p01.val[0]), vreinterpret_s32_s16(p23.val[0]));
        const int32x2x2_t q13 =
            vtrn_s32(vreinterpret_s32_s16(p01.val[1]), vreinterpret_s32_s16(p23.val[1]));
        columns[tile][0] = vreinterpret_s16_s32(q02.val[0]);
        columns[tile][1] = vreinterpret_s16_s32(q13.val[0]);
        columns[tile][2] = vreinterpret_s16_s32(q02.val[1]);
        columns[tile][3] = vreinterpret_s16_s32(q13.val[1]);
    }
    int32x4_t yLow[8];
    int32x4_t yHigh[8];
    InverseButterflies4(columns[0], yLow);
    InverseButterflies4(columns[1], yHigh);
    for (int k = 0; k < 8; ++k) {
        m.v[k] = vcombine_s16(RowOutput(yLow[k]), RowOutput(yHigh[k]));
    }
    Transpose(m);
}

// Pairwise saturation of 16-bit sums: above 4095 becomes 0, the rest is
// clamped to 0..255.
inline uint8x8_t SaturateSums(int16x8_t sums) {
    return vqmovun_s16(vbicq_s16(sums, vreinterpretq_s16_u16(vcgtq_s16(sums, vdupq_n_s16(4095)))));
}

inline void StoreResidual(const Lines8& m, int16_t* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r) {
        vst1q_s16(dst + r * stride, m.v[r]);
    }
}

// Adds the residual rows to the prediction in dst; the samples go to dst and,
// as int16, to `samples`.
inline void AddRows(const Lines8& m, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                    ptrdiff_t samplesStride) {
    for (int r = 0; r < 8; ++r, dst += stride, samples += samplesStride) {
        const int16x8_t sums = vaddq_s16(m.v[r], vreinterpretq_s16_u16(vmovl_u8(vld1_u8(dst))));
        const uint8x8_t pixels = SaturateSums(sums);
        vst1_u8(dst, pixels);
        vst1q_s16(samples, vreinterpretq_s16_u16(vmovl_u8(pixels)));
    }
}

void IdctToPixelsNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride) {
    Lines8 m;
    if (!LoadBlock(coefficients, m)) {
        IdctToPixelsC(coefficients, dst, stride);
        return;
    }
    InverseColumns(m);
    Transpose(m);
    InverseRows(m);
    for (int r = 0; r < 8; ++r) {
        vst1_u8(dst + r * stride, SaturateSums(m.v[r]));
    }
}

void IdctToResidualNeon(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    Lines8 m;
    if (!LoadBlock(coefficients, m)) {
        IdctToResidualC(coefficients, dst, stride);
        return;
    }
    InverseColumns(m);
    Transpose(m);
    InverseRows(m);
    StoreResidual(m, dst, stride);
}

void IdctCornerToResidualNeon(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    int16x4_t rows[4];
    if (!LoadCorner(coefficients, rows)) {
        IdctCornerToResidualC(coefficients, dst, stride);
        return;
    }
    Lines8 m;
    InverseCorner(rows, m);
    StoreResidual(m, dst, stride);
}

void IdctAddNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                 ptrdiff_t samplesStride) {
    Lines8 m;
    if (!LoadBlock(coefficients, m)) {
        IdctAddC(coefficients, dst, stride, samples, samplesStride);
        return;
    }
    InverseColumns(m);
    Transpose(m);
    InverseRows(m);
    AddRows(m, dst, stride, samples, samplesStride);
}

void IdctCornerAddNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                       int16_t* samples, ptrdiff_t samplesStride) {
    int16x4_t rows[4];
    if (!LoadCorner(coefficients, rows)) {
        IdctCornerAddC(coefficients, dst, stride, samples, samplesStride);
        return;
    }
    Lines8 m;
    InverseCorner(rows, m);
    AddRows(m, dst, stride, samples, samplesStride);
}

// A DC-only block transforms to (4 * dc + 16) >> 5 everywhere, in 32-bit
// wrap-around as the plain kernel computes it, taken as int16.
void IdctDcAddNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                   int16_t* samples, ptrdiff_t samplesStride) {
    const uint32_t scaled = static_cast<uint32_t>(coefficients[0]) << 2;
    const auto value = static_cast<int16_t>(static_cast<int32_t>(scaled + 16u) >> 5);
    Lines8 m;
    for (int r = 0; r < 8; ++r) {
        m.v[r] = vdupq_n_s16(value);
    }
    AddRows(m, dst, stride, samples, samplesStride);
}

}  // namespace

const IdctKernels kIdctKernelsNeon = {IdctToPixelsNeon, IdctToResidualNeon, IdctCornerToResidualNeon,
                                      IdctAddNeon,      IdctCornerAddNeon,  IdctDcAddNeon};

}  // namespace veltrane
