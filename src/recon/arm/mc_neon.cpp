// NEON motion compensation kernels. Two-sample averages use vrhadd, which
// rounds up exactly as (a + b + 1) >> 1; the diagonal average sums pairs in
// 16-bit lanes and narrows with a rounding shift, (sum + 2) >> 2. Residual sums
// wrap in 16-bit lanes and are saturated as the pairwise step does: sums above
// 4095 become 0, the rest are clamped to 0..255. Kernel for kernel, the twins
// of x86/mc_kernels_128.h.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"

namespace veltrane {
namespace {

// Predictions of eight samples a row, for each phase.
struct RowsCopy {
    const unsigned char* src;
    ptrdiff_t stride;
    RowsCopy(const unsigned char* s, ptrdiff_t st) : src(s), stride(st) {}
    uint8x8_t Next() {
        const uint8x8_t row = vld1_u8(src);
        src += stride;
        return row;
    }
};

struct RowsHoriz {
    const unsigned char* src;
    ptrdiff_t stride;
    RowsHoriz(const unsigned char* s, ptrdiff_t st) : src(s), stride(st) {}
    uint8x8_t Next() {
        const uint8x8_t row = vrhadd_u8(vld1_u8(src), vld1_u8(src + 1));
        src += stride;
        return row;
    }
};

struct RowsVert {
    const unsigned char* src;
    ptrdiff_t stride;
    uint8x8_t above;
    RowsVert(const unsigned char* s, ptrdiff_t st) : src(s + st), stride(st), above(vld1_u8(s)) {}
    uint8x8_t Next() {
        const uint8x8_t below = vld1_u8(src);
        const uint8x8_t row = vrhadd_u8(above, below);
        above = below;
        src += stride;
        return row;
    }
};

inline uint16x8_t PairSum8(const unsigned char* p) { return vaddl_u8(vld1_u8(p), vld1_u8(p + 1)); }

struct RowsDiagonal {
    const unsigned char* src;
    ptrdiff_t stride;
    uint16x8_t above;
    RowsDiagonal(const unsigned char* s, ptrdiff_t st)
        : src(s + st), stride(st), above(PairSum8(s)) {}
    uint8x8_t Next() {
        const uint16x8_t below = PairSum8(src);
        const uint8x8_t row = vrshrn_n_u16(vaddq_u16(above, below), 2);
        above = below;
        src += stride;
        return row;
    }
};

// Adds eight predicted samples to eight residuals and writes the saturated
// samples to dst and back into the residual.
inline void AddResidualRow(uint8x8_t prediction, int16_t* residual, unsigned char* dst) {
    int16x8_t sum = vaddq_s16(vreinterpretq_s16_u16(vmovl_u8(prediction)), vld1q_s16(residual));
    sum = vbicq_s16(sum, vreinterpretq_s16_u16(vcgtq_s16(sum, vdupq_n_s16(4095))));
    const uint8x8_t samples = vqmovun_s16(sum);
    vst1_u8(dst, samples);
    vst1q_s16(residual, vreinterpretq_s16_u16(vmovl_u8(samples)));
}

template <typename Rows>
void Predict8(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    Rows rows(src, stride);
    for (int r = 0; r < 8; ++r, dst += stride) {
        vst1_u8(dst, rows.Next());
    }
}

template <typename Rows>
void PredictAdd8(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                 unsigned char* dst, ptrdiff_t stride) {
    Rows rows(src, stride);
    for (int r = 0; r < 8; ++r, dst += stride, residual += residualStride) {
        AddResidualRow(rows.Next(), residual, dst);
    }
}

void AddResidual8Neon(int16_t* residual, ptrdiff_t residualStride, unsigned char* dst,
                      ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r, dst += stride, residual += residualStride) {
        AddResidualRow(vld1_u8(dst), residual, dst);
    }
}

// 16x16 luma prediction, a whole row per register.
void PredictCopy16Neon(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    for (int r = 0; r < 16; ++r, src += stride, dst += stride) {
        vst1q_u8(dst, vld1q_u8(src));
    }
}

void PredictHoriz16Neon(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    for (int r = 0; r < 16; ++r, src += stride, dst += stride) {
        vst1q_u8(dst, vrhaddq_u8(vld1q_u8(src), vld1q_u8(src + 1)));
    }
}

void PredictVert16Neon(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    uint8x16_t above = vld1q_u8(src);
    for (int r = 0; r < 16; ++r, dst += stride) {
        src += stride;
        const uint8x16_t below = vld1q_u8(src);
        vst1q_u8(dst, vrhaddq_u8(above, below));
        above = below;
    }
}

struct PairSums16 {
    uint16x8_t low;
    uint16x8_t high;
};

inline PairSums16 PairSum16(const unsigned char* p) {
    const uint8x16_t a = vld1q_u8(p);
    const uint8x16_t b = vld1q_u8(p + 1);
    return {vaddl_u8(vget_low_u8(a), vget_low_u8(b)), vaddl_u8(vget_high_u8(a), vget_high_u8(b))};
}

void PredictDiagonal16Neon(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PairSums16 above = PairSum16(src);
    for (int r = 0; r < 16; ++r, dst += stride) {
        src += stride;
        const PairSums16 below = PairSum16(src);
        vst1q_u8(dst, vcombine_u8(vrshrn_n_u16(vaddq_u16(above.low, below.low), 2),
                                  vrshrn_n_u16(vaddq_u16(above.high, below.high), 2)));
        above = below;
    }
}

// Copies `bytes` from src into each of the 16 rows that follow dst at `step`
// bytes apart (a negative step goes up), one row after the other.
void CopyRowSixteenTimes(const unsigned char* src, unsigned char* dst, ptrdiff_t step,
                         size_t bytes) {
    const size_t whole = bytes & ~size_t{15};
    unsigned char* d = dst;
    for (int r = 0; r < 16; ++r, d += step) {
        size_t i = 0;
        for (; i < whole; i += 16) vst1q_u8(d + i, vld1q_u8(src + i));
        if (i + 8 <= bytes) {
            vst1_u8(d + i, vld1_u8(src + i));
            i += 8;
        }
        for (; i < bytes; ++i) d[i] = src[i];
    }
}

void ExtendPlaneNeon(unsigned char* plane, int width, int height, ptrdiff_t stride) {
    unsigned char* row = plane;
    for (int r = 0; r < height; ++r, row += stride) {
        vst1q_u8(row - 16, vdupq_n_u8(row[0]));
        vst1q_u8(row + width, vdupq_n_u8(row[width - 1]));
    }
    const size_t rowBytes = static_cast<size_t>(width) + 32;
    CopyRowSixteenTimes(plane - 16, plane - stride - 16, -stride, rowBytes);
    unsigned char* last = plane + (height - 1) * stride - 16;
    CopyRowSixteenTimes(last, last + stride, stride, rowBytes);
}

// Both chroma blocks, each as an 8x8 block: 8-sample rows fill a D register.
template <typename Rows>
void PredictChroma(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                   unsigned char* dstV, ptrdiff_t stride) {
    Predict8<Rows>(srcU, dstU, stride);
    Predict8<Rows>(srcV, dstV, stride);
}

}  // namespace

const McKernels kMcKernelsNeon = {
    {Predict8<RowsCopy>, Predict8<RowsHoriz>, Predict8<RowsVert>, Predict8<RowsDiagonal>},
    {PredictCopy16Neon, PredictHoriz16Neon, PredictVert16Neon, PredictDiagonal16Neon},
    {PredictChroma<RowsCopy>, PredictChroma<RowsHoriz>, PredictChroma<RowsVert>,
     PredictChroma<RowsDiagonal>},
    {PredictAdd8<RowsCopy>, PredictAdd8<RowsHoriz>, PredictAdd8<RowsVert>,
     PredictAdd8<RowsDiagonal>},
    AddResidual8Neon,
    ExtendPlaneNeon,
};

}  // namespace veltrane
