// The plain prediction kernels that add a residual, and the residual add. Each
// row is predicted four samples at a time in byte lanes, then added to the
// residual two samples at a time in 16-bit lanes and saturated; the saturated
// samples go both to the picture and back into the residual.
#include <cstddef>
#include <cstdint>

#include "recon/mc_kernels.h"
#include "recon/mc_word_ops.h"
#include "recon/saturate.h"

namespace veltrane {
namespace {

using namespace mc;  // the word-parallel byte operations

// Adds two predicted samples (left in the low byte of `pred`) to the residual
// pair at `residual`, with each 16-bit sum wrapping on its own; stores the
// saturated pair back and returns the two samples as two bytes.
inline uint32_t AddPair(int16_t* residual, uint32_t pred) {
    const uint32_t p = (pred & 0xFFu) | ((pred & 0xFF00u) << 8);
    const uint32_t r = mc::LoadPair(residual);
    // Bit 15 of each half is summed apart, so no carry crosses into the other half.
    const uint32_t sum = ((r & 0x7FFF7FFFu) + p) ^ (r & 0x80008000u);
    const uint32_t s = SaturatePixelPair(sum);
    mc::StorePair(residual, s);
    return (s | (s >> 8)) & 0xFFFFu;
}

// Adds one row of eight predicted samples (two words of four) to the residual
// row and writes the result to dst.
inline void AddResidualRow(uint32_t pred0, uint32_t pred1, int16_t* residual, unsigned char* dst) {
    const uint32_t out0 = AddPair(residual, pred0) | (AddPair(residual + 2, pred0 >> 16) << 16);
    const uint32_t out1 = AddPair(residual + 4, pred1) | (AddPair(residual + 6, pred1 >> 16) << 16);
    mc::StoreBytes4(dst, out0);
    mc::StoreBytes4(dst + 4, out1);
}

}  // namespace

void PredictAddCopy8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                      unsigned char* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r) {
        AddResidualRow(LoadBytes4(src), LoadBytes4(src + 4), residual, dst);
        src += stride;
        dst += stride;
        residual += residualStride;
    }
}

void PredictAddHoriz8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                       unsigned char* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r) {
        const uint32_t pred0 = AverageBytes(LoadBytes4(src), LoadBytes4(src + 1));
        const uint32_t pred1 = AverageBytes(LoadBytes4(src + 4), LoadBytes4(src + 5));
        AddResidualRow(pred0, pred1, residual, dst);
        src += stride;
        dst += stride;
        residual += residualStride;
    }
}

// Each reference row is loaded once and serves as the lower row of one output
// row and the upper row of the next; the diagonal form keeps its adjacent sums.
void PredictAddVert8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                      unsigned char* dst, ptrdiff_t stride) {
    uint32_t above0 = LoadBytes4(src);
    uint32_t above1 = LoadBytes4(src + 4);
    for (int r = 0; r < 8; ++r) {
        src += stride;
        const uint32_t below0 = LoadBytes4(src);
        const uint32_t below1 = LoadBytes4(src + 4);
        AddResidualRow(AverageBytes(above0, below0), AverageBytes(above1, below1), residual, dst);
        above0 = below0;
        above1 = below1;
        dst += stride;
        residual += residualStride;
    }
}

void PredictAddDiagonal8C(const unsigned char* src, int16_t* residual, ptrdiff_t residualStride,
                          unsigned char* dst, ptrdiff_t stride) {
    AdjacentSum above0 = SumAdjacent(LoadBytes4(src), LoadBytes4(src + 1));
    AdjacentSum above1 = SumAdjacent(LoadBytes4(src + 4), LoadBytes4(src + 5));
    for (int r = 0; r < 8; ++r) {
        src += stride;
        const AdjacentSum below0 = SumAdjacent(LoadBytes4(src), LoadBytes4(src + 1));
        const AdjacentSum below1 = SumAdjacent(LoadBytes4(src + 4), LoadBytes4(src + 5));
        AddResidualRow(AverageRows(above0, below0), AverageRows(above1, below1), residual, dst);
        above0 = below0;
        above1 = below1;
        dst += stride;
        residual += residualStride;
    }
}

void AddResidual8C(int16_t* residual, ptrdiff_t residualStride, unsigned char* dst,
                   ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r) {
        AddResidualRow(LoadBytes4(dst), LoadBytes4(dst + 4), residual, dst);
        dst += stride;
        residual += residualStride;
    }
}

}  // namespace veltrane
