// The 8x8 prediction kernels that add a residual. Each row is predicted four
// samples at a time in byte lanes, then added to the residual two samples at a
// time in 16-bit lanes and saturated; the saturated samples go both to the
// picture and back into the residual.
#include <cstdint>

#include "recon/mc_kernels.h"
#include "recon/saturate.h"
#include "veltrane/recon.h"

namespace veltrane {
namespace {

using mc::AdjacentSum;
using mc::AverageBytes;
using mc::AverageRows;
using mc::LoadBytes4;
using mc::SumAdjacent;

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

inline void AddCopy(const unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                    int residualStride) {
    for (int r = 0; r < 8; ++r) {
        AddResidualRow(LoadBytes4(src), LoadBytes4(src + 4), residual, dst);
        src += stride;
        dst += stride;
        residual += residualStride;
    }
}

inline void AddHoriz(const unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                     int residualStride) {
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
inline void AddVert(const unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                    int residualStride) {
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

inline void AddDiagonal(const unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                        int residualStride) {
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

}  // namespace
}  // namespace veltrane

using veltrane::AddCopy;
using veltrane::AddDiagonal;
using veltrane::AddHoriz;
using veltrane::AddVert;

void AddIn8x8PlainCopyAligned(unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                              int residualStride) {
    AddCopy(src, residual, dst, stride, residualStride);
}

void AddIn8x8PlainCopyUnAligned(unsigned char* src, int16_t* residual, unsigned char* dst,
                                int stride, int residualStride) {
    AddCopy(src, residual, dst, stride, residualStride);
}

void AddIn8x8HorizInterpolate(unsigned char* src, int16_t* residual, unsigned char* dst, int stride,
                              int residualStride) {
    AddHoriz(src, residual, dst, stride, residualStride);
}

void AddIn8x8VertInterpolateAligned(unsigned char* src, int16_t* residual, unsigned char* dst,
                                    int stride, int residualStride) {
    AddVert(src, residual, dst, stride, residualStride);
}

void AddIn8x8VertInterpolateUnaligned(unsigned char* src, int16_t* residual, unsigned char* dst,
                                      int stride, int residualStride) {
    AddVert(src, residual, dst, stride, residualStride);
}

void AddIn8x8DiagonalInterpolate(unsigned char* src, int16_t* residual, unsigned char* dst,
                                 int stride, int residualStride) {
    AddDiagonal(src, residual, dst, stride, residualStride);
}
