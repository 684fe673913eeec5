// NEON inverse transform kernels: the column pass on eight columns at once
// (one row of coefficients per register), a transpose, the row pass on eight
// rows at once, and a transpose back. Products are 16 x 16 -> 32 bits. Blocks
// whose coefficients all lie in the upper-left 4x4 corner (most inter blocks)
// take both passes with four inputs.
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
//
// Everything is written with named registers: arrays of vectors indexed in
// loops end up on the stack.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "recon/idct_kernels.h"

#define VELTRANE_NEON_INLINE inline __attribute__((always_inline))

namespace veltrane {
namespace {

// Largest sum of absolute coefficients in one column that keeps the column
// pass within 16 bits.
constexpr int16_t kColumnSumLimit = 5905;

// Eight registers of eight 16-bit lanes: the rows of a block, or its columns.
struct Block {
    int16x8_t r0, r1, r2, r3, r4, r5, r6, r7;
};

// Eight lines of four lanes.
struct Lines {
    int16x4_t x0, x1, x2, x3, x4, x5, x6, x7;
};

// The two passes differ in their rounding and shift. The column pass gives
// (y + 1024) >> 11. The row pass gives (y + 2^17) >> 18: the rounding term
// rides in the even part (t0 and t1), the narrowing add keeps the top half of
// each sum, and Finish shifts by the remaining 2.
struct ColumnPass {
    static VELTRANE_NEON_INLINE int32x4_t Even(int32x4_t sum) { return vshlq_n_s32(sum, 13); }
    static VELTRANE_NEON_INLINE int32x4_t EvenOne(int16x4_t x0) { return vshll_n_s16(x0, 13); }
    static VELTRANE_NEON_INLINE int16x4_t Sum(int32x4_t a, int32x4_t b) {
        return vrshrn_n_s32(vaddq_s32(a, b), 11);
    }
    static VELTRANE_NEON_INLINE int16x4_t Difference(int32x4_t a, int32x4_t b) {
        return vrshrn_n_s32(vsubq_s32(a, b), 11);
    }
    static VELTRANE_NEON_INLINE int16x8_t Finish(int16x8_t v) { return v; }
};

struct RowPass {
    static VELTRANE_NEON_INLINE int32x4_t Even(int32x4_t sum) {
        return vshlq_n_s32(vaddq_s32(sum, vdupq_n_s32(16)), 13);
    }
    static VELTRANE_NEON_INLINE int32x4_t EvenOne(int16x4_t x0) {
        return vshlq_n_s32(vaddw_s16(vdupq_n_s32(16), x0), 13);
    }
    static VELTRANE_NEON_INLINE int16x4_t Sum(int32x4_t a, int32x4_t b) { return vaddhn_s32(a, b); }
    static VELTRANE_NEON_INLINE int16x4_t Difference(int32x4_t a, int32x4_t b) {
        return vsubhn_s32(a, b);
    }
    static VELTRANE_NEON_INLINE int16x8_t Finish(int16x8_t v) { return vshrq_n_s16(v, 2); }
};

// The last butterfly stage: y[k] = even[k] + odd[k], y[7 - k] = even[k] - odd[k].
template <typename Pass>
VELTRANE_NEON_INLINE Lines Combine(int32x4_t a10, int32x4_t a11, int32x4_t a12, int32x4_t a13,
                                   int32x4_t b0, int32x4_t b1, int32x4_t b2, int32x4_t b3) {
    return {Pass::Sum(a10, b3),        Pass::Sum(a11, b2),        Pass::Sum(a12, b1),
            Pass::Sum(a13, b0),        Pass::Difference(a13, b0), Pass::Difference(a12, b1),
            Pass::Difference(a11, b2), Pass::Difference(a10, b3)};
}

// The 1-D transform of four lines: the butterflies of the plain kernels with
// the odd part's products folded into one factor per input (sums of the
// rotation factors, so every sum is the same integer).
template <typename Pass>
VELTRANE_NEON_INLINE Lines Transform(const Lines& x) {
    const int32x4_t t0 = Pass::Even(vaddl_s16(x.x0, x.x4));
    const int32x4_t t1 = Pass::Even(vsubl_s16(x.x0, x.x4));
    const int32x4_t t3 = vmlal_n_s16(vmull_n_s16(x.x2, 10703), x.x6, 4433);
    const int32x4_t t2 = vmlsl_n_s16(vmull_n_s16(x.x2, 4433), x.x6, 10704);

    int32x4_t b3 = vmull_n_s16(x.x1, 11363);
    b3 = vmlal_n_s16(b3, x.x3, 9633);
    b3 = vmlal_n_s16(b3, x.x5, 6437);
    b3 = vmlal_n_s16(b3, x.x7, 2260);
    int32x4_t b2 = vmull_n_s16(x.x1, 9633);
    b2 = vmlsl_n_s16(b2, x.x3, 2259);
    b2 = vmlsl_n_s16(b2, x.x5, 11362);
    b2 = vmlsl_n_s16(b2, x.x7, 6436);
    int32x4_t b1 = vmull_n_s16(x.x1, 6437);
    b1 = vmlsl_n_s16(b1, x.x3, 11362);
    b1 = vmlal_n_s16(b1, x.x5, 2261);
    b1 = vmlal_n_s16(b1, x.x7, 9633);
    int32x4_t b0 = vmull_n_s16(x.x1, 2260);
    b0 = vmlsl_n_s16(b0, x.x3, 6436);
    b0 = vmlal_n_s16(b0, x.x5, 9633);
    b0 = vmlsl_n_s16(b0, x.x7, 11363);

    return Combine<Pass>(vaddq_s32(t0, t3), vaddq_s32(t1, t2), vsubq_s32(t1, t2), vsubq_s32(t0, t3),
                         b0, b1, b2, b3);
}

// The same with x4..x7 zero.
template <typename Pass>
VELTRANE_NEON_INLINE Lines Transform4(int16x4_t x0, int16x4_t x1, int16x4_t x2, int16x4_t x3) {
    const int32x4_t t0 = Pass::EvenOne(x0);
    const int32x4_t t3 = vmull_n_s16(x2, 10703);
    const int32x4_t t2 = vmull_n_s16(x2, 4433);
    const int32x4_t b3 = vmlal_n_s16(vmull_n_s16(x1, 11363), x3, 9633);
    const int32x4_t b2 = vmlsl_n_s16(vmull_n_s16(x1, 9633), x3, 2259);
    const int32x4_t b1 = vmlsl_n_s16(vmull_n_s16(x1, 6437), x3, 11362);
    const int32x4_t b0 = vmlsl_n_s16(vmull_n_s16(x1, 2260), x3, 6436);
    return Combine<Pass>(vaddq_s32(t0, t3), vaddq_s32(t0, t2), vsubq_s32(t0, t2), vsubq_s32(t0, t3),
                         b0, b1, b2, b3);
}

VELTRANE_NEON_INLINE Lines LowHalves(const Block& m) {
    return {vget_low_s16(m.r0), vget_low_s16(m.r1), vget_low_s16(m.r2), vget_low_s16(m.r3),
            vget_low_s16(m.r4), vget_low_s16(m.r5), vget_low_s16(m.r6), vget_low_s16(m.r7)};
}

VELTRANE_NEON_INLINE Lines HighHalves(const Block& m) {
    return {vget_high_s16(m.r0), vget_high_s16(m.r1), vget_high_s16(m.r2), vget_high_s16(m.r3),
            vget_high_s16(m.r4), vget_high_s16(m.r5), vget_high_s16(m.r6), vget_high_s16(m.r7)};
}

template <typename Pass>
VELTRANE_NEON_INLINE Block Join(const Lines& low, const Lines& high) {
    return {
        Pass::Finish(vcombine_s16(low.x0, high.x0)), Pass::Finish(vcombine_s16(low.x1, high.x1)),
        Pass::Finish(vcombine_s16(low.x2, high.x2)), Pass::Finish(vcombine_s16(low.x3, high.x3)),
        Pass::Finish(vcombine_s16(low.x4, high.x4)), Pass::Finish(vcombine_s16(low.x5, high.x5)),
        Pass::Finish(vcombine_s16(low.x6, high.x6)), Pass::Finish(vcombine_s16(low.x7, high.x7))};
}

// Eight 1-D transforms at once, register k holding input k of every line.
template <typename Pass>
VELTRANE_NEON_INLINE Block Transform8(const Block& m) {
    const Lines low = Transform<Pass>(LowHalves(m));
    const Lines high = Transform<Pass>(HighHalves(m));
    return Join<Pass>(low, high);
}

VELTRANE_NEON_INLINE int16x8_t LowPair(int32x4_t a, int32x4_t b) {
    return vreinterpretq_s16_s32(vcombine_s32(vget_low_s32(a), vget_low_s32(b)));
}
VELTRANE_NEON_INLINE int16x8_t HighPair(int32x4_t a, int32x4_t b) {
    return vreinterpretq_s16_s32(vcombine_s32(vget_high_s32(a), vget_high_s32(b)));
}

VELTRANE_NEON_INLINE Block Transpose(const Block& m) {
    const int16x8x2_t p01 = vtrnq_s16(m.r0, m.r1);
    const int16x8x2_t p23 = vtrnq_s16(m.r2, m.r3);
    const int16x8x2_t p45 = vtrnq_s16(m.r4, m.r5);
    const int16x8x2_t p67 = vtrnq_s16(m.r6, m.r7);
    const int32x4x2_t q02 =
        vtrnq_s32(vreinterpretq_s32_s16(p01.val[0]), vreinterpretq_s32_s16(p23.val[0]));
    const int32x4x2_t q13 =
        vtrnq_s32(vreinterpretq_s32_s16(p01.val[1]), vreinterpretq_s32_s16(p23.val[1]));
    const int32x4x2_t q46 =
        vtrnq_s32(vreinterpretq_s32_s16(p45.val[0]), vreinterpretq_s32_s16(p67.val[0]));
    const int32x4x2_t q57 =
        vtrnq_s32(vreinterpretq_s32_s16(p45.val[1]), vreinterpretq_s32_s16(p67.val[1]));
    return {LowPair(q02.val[0], q46.val[0]),  LowPair(q13.val[0], q57.val[0]),
            LowPair(q02.val[1], q46.val[1]),  LowPair(q13.val[1], q57.val[1]),
            HighPair(q02.val[0], q46.val[0]), HighPair(q13.val[0], q57.val[0]),
            HighPair(q02.val[1], q46.val[1]), HighPair(q13.val[1], q57.val[1])};
}

// Rows 0..3 and 4..7 of four columns, each as a 4x4 tile, transposed into four
// registers of eight lanes: register k holds column k of every row.
struct Columns4 {
    int16x8_t c0, c1, c2, c3;
};

VELTRANE_NEON_INLINE Columns4 TransposeTiles(const Lines& w) {
    const int16x8x2_t p01 = vtrnq_s16(vcombine_s16(w.x0, w.x4), vcombine_s16(w.x1, w.x5));
    const int16x8x2_t p23 = vtrnq_s16(vcombine_s16(w.x2, w.x6), vcombine_s16(w.x3, w.x7));
    const int32x4x2_t q02 =
        vtrnq_s32(vreinterpretq_s32_s16(p01.val[0]), vreinterpretq_s32_s16(p23.val[0]));
    const int32x4x2_t q13 =
        vtrnq_s32(vreinterpretq_s32_s16(p01.val[1]), vreinterpretq_s32_s16(p23.val[1]));
    return {vreinterpretq_s16_s32(q02.val[0]), vreinterpretq_s16_s32(q13.val[0]),
            vreinterpretq_s16_s32(q02.val[1]), vreinterpretq_s16_s32(q13.val[1])};
}

// Both passes of a block whose coefficients lie in rows 0..3 of columns 0..3
// (x0..x3: those rows, four lanes each); the rows of the result.
VELTRANE_NEON_INLINE Block InverseCorner(int16x4_t x0, int16x4_t x1, int16x4_t x2, int16x4_t x3) {
    const Columns4 c = TransposeTiles(Transform4<ColumnPass>(x0, x1, x2, x3));
    const Lines low = Transform4<RowPass>(vget_low_s16(c.c0), vget_low_s16(c.c1),
                                          vget_low_s16(c.c2), vget_low_s16(c.c3));
    const Lines high = Transform4<RowPass>(vget_high_s16(c.c0), vget_high_s16(c.c1),
                                           vget_high_s16(c.c2), vget_high_s16(c.c3));
    return Transpose(Join<RowPass>(low, high));
}

// Both passes of any block within the bound; the rows of the result.
VELTRANE_NEON_INLINE Block Inverse(const Block& rows) {
    const int16x4_t right = vorr_s16(vorr_s16(vget_high_s16(rows.r0), vget_high_s16(rows.r1)),
                                     vorr_s16(vget_high_s16(rows.r2), vget_high_s16(rows.r3)));
    const int16x8_t below = vorrq_s16(vorrq_s16(rows.r4, rows.r5), vorrq_s16(rows.r6, rows.r7));
    const int16x4_t outside = vorr_s16(right, vorr_s16(vget_low_s16(below), vget_high_s16(below)));
    if (vget_lane_u64(vreinterpret_u64_s16(outside), 0) == 0) {
        return InverseCorner(vget_low_s16(rows.r0), vget_low_s16(rows.r1), vget_low_s16(rows.r2),
                             vget_low_s16(rows.r3));
    }
    return Transpose(Transform8<RowPass>(Transpose(Transform8<ColumnPass>(rows))));
}

VELTRANE_NEON_INLINE int16x8_t AbsoluteSum(int16x8_t sum, int16x8_t v) {
    return vqaddq_s16(sum, vqabsq_s16(v));
}

// Loads the 64 coefficients, one row per register; false if a column exceeds
// the bound of the 16-bit column pass.
VELTRANE_NEON_INLINE bool LoadBlock(const int16_t* c, Block& m) {
    m = {vld1q_s16(c),      vld1q_s16(c + 8),  vld1q_s16(c + 16), vld1q_s16(c + 24),
         vld1q_s16(c + 32), vld1q_s16(c + 40), vld1q_s16(c + 48), vld1q_s16(c + 56)};
    int16x8_t sum = vqabsq_s16(m.r0);
    sum = AbsoluteSum(sum, m.r1);
    sum = AbsoluteSum(sum, m.r2);
    sum = AbsoluteSum(sum, m.r3);
    sum = AbsoluteSum(sum, m.r4);
    sum = AbsoluteSum(sum, m.r5);
    sum = AbsoluteSum(sum, m.r6);
    sum = AbsoluteSum(sum, m.r7);
    const uint16x8_t over = vcgtq_s16(sum, vdupq_n_s16(kColumnSumLimit));
    return vget_lane_u64(vreinterpret_u64_u16(vorr_u16(vget_low_u16(over), vget_high_u16(over))),
                         0) == 0;
}

// The corner block: the plain kernels read rows 0 to 3 of columns 0 and 1, rows
// 0 and 1 of column 2 and row 0 of column 3, and take everything else as 0.
VELTRANE_NEON_INLINE bool LoadCorner(const int16_t* c, int16x4_t& x0, int16x4_t& x1, int16x4_t& x2,
                                     int16x4_t& x3) {
    const int16x4_t keepFirstThree = vreinterpret_s16_u64(vdup_n_u64(0x0000FFFFFFFFFFFFull));
    const int16x4_t keepFirstTwo = vreinterpret_s16_u64(vdup_n_u64(0x00000000FFFFFFFFull));
    x0 = vld1_s16(c);
    x1 = vand_s16(vld1_s16(c + 8), keepFirstThree);
    x2 = vand_s16(vld1_s16(c + 16), keepFirstTwo);
    x3 = vand_s16(vld1_s16(c + 24), keepFirstTwo);
    int16x4_t sum = vqabs_s16(x0);
    sum = vqadd_s16(sum, vqabs_s16(x1));
    sum = vqadd_s16(sum, vqabs_s16(x2));
    sum = vqadd_s16(sum, vqabs_s16(x3));
    return vget_lane_u64(vreinterpret_u64_u16(vcgt_s16(sum, vdup_n_s16(kColumnSumLimit))), 0) == 0;
}

// Pairwise saturation of 16-bit sums: above 4095 becomes 0, the rest is
// clamped to 0..255.
VELTRANE_NEON_INLINE uint8x8_t SaturateSums(int16x8_t sums) {
    return vqmovun_s16(vbicq_s16(sums, vreinterpretq_s16_u16(vcgtq_s16(sums, vdupq_n_s16(4095)))));
}

// Calls row(r) for the eight registers in order.
template <typename Row>
VELTRANE_NEON_INLINE void ForEachRow(const Block& m, Row row) {
    row(m.r0);
    row(m.r1);
    row(m.r2);
    row(m.r3);
    row(m.r4);
    row(m.r5);
    row(m.r6);
    row(m.r7);
}

VELTRANE_NEON_INLINE void StoreResidual(const Block& m, int16_t* dst, ptrdiff_t stride) {
    ForEachRow(m, [&](int16x8_t row) {
        vst1q_s16(dst, row);
        dst += stride;
    });
}

VELTRANE_NEON_INLINE void StorePixels(const Block& m, unsigned char* dst, ptrdiff_t stride) {
    ForEachRow(m, [&](int16x8_t row) {
        vst1_u8(dst, SaturateSums(row));
        dst += stride;
    });
}

// Adds the residual rows to the prediction in dst; the samples go to dst and,
// as int16, to `samples`.
VELTRANE_NEON_INLINE void AddRow(int16x8_t residual, unsigned char* dst, int16_t* samples) {
    const int16x8_t sums = vaddq_s16(residual, vreinterpretq_s16_u16(vmovl_u8(vld1_u8(dst))));
    const uint8x8_t pixels = SaturateSums(sums);
    vst1_u8(dst, pixels);
    vst1q_s16(samples, vreinterpretq_s16_u16(vmovl_u8(pixels)));
}

VELTRANE_NEON_INLINE void AddRows(const Block& m, unsigned char* dst, ptrdiff_t stride,
                                  int16_t* samples, ptrdiff_t samplesStride) {
    ForEachRow(m, [&](int16x8_t row) {
        AddRow(row, dst, samples);
        dst += stride;
        samples += samplesStride;
    });
}

// The entry points: a block outside the bound of the 16-bit passes goes to
// the plain twin, every other one through the same passes.
void IdctToPixelsNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride) {
    Block m;
    if (!LoadBlock(coefficients, m)) {
        IdctToPixelsC(coefficients, dst, stride);
        return;
    }
    StorePixels(Inverse(m), dst, stride);
}

void IdctToResidualNeon(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    Block m;
    if (!LoadBlock(coefficients, m)) {
        IdctToResidualC(coefficients, dst, stride);
        return;
    }
    StoreResidual(Inverse(m), dst, stride);
}

void IdctCornerToResidualNeon(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    int16x4_t x0, x1, x2, x3;
    if (!LoadCorner(coefficients, x0, x1, x2, x3)) {
        IdctCornerToResidualC(coefficients, dst, stride);
        return;
    }
    StoreResidual(InverseCorner(x0, x1, x2, x3), dst, stride);
}

void IdctAddNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                 int16_t* samples, ptrdiff_t samplesStride) {
    Block m;
    if (!LoadBlock(coefficients, m)) {
        IdctAddC(coefficients, dst, stride, samples, samplesStride);
        return;
    }
    AddRows(Inverse(m), dst, stride, samples, samplesStride);
}

void IdctCornerAddNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                       int16_t* samples, ptrdiff_t samplesStride) {
    int16x4_t x0, x1, x2, x3;
    if (!LoadCorner(coefficients, x0, x1, x2, x3)) {
        IdctCornerAddC(coefficients, dst, stride, samples, samplesStride);
        return;
    }
    AddRows(InverseCorner(x0, x1, x2, x3), dst, stride, samples, samplesStride);
}

// A DC-only block transforms to (4 * dc + 16) >> 5 everywhere, in 32-bit
// wrap-around as the plain kernel computes it, taken as int16.
void IdctDcAddNeon(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                   int16_t* samples, ptrdiff_t samplesStride) {
    const uint32_t scaled = static_cast<uint32_t>(coefficients[0]) << 2;
    const int16x8_t value =
        vdupq_n_s16(static_cast<int16_t>(static_cast<int32_t>(scaled + 16u) >> 5));
    for (int r = 0; r < 8; ++r, dst += stride, samples += samplesStride) {
        AddRow(value, dst, samples);
    }
}

}  // namespace

const IdctKernels kIdctKernelsNeon = {IdctToPixelsNeon,         IdctToResidualNeon,
                                      IdctCornerToResidualNeon, IdctAddNeon,
                                      IdctCornerAddNeon,        IdctDcAddNeon};

}  // namespace veltrane
