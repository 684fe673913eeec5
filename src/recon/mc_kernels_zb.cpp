// The 8x8 prediction kernels for blocks without residual: the prediction goes
// straight to the picture, each row as two words of four samples.
#include <cstdint>
#include <cstring>

#include "recon/mc_kernels.h"
#include "veltrane/recon.h"

namespace veltrane {
namespace {

using mc::AdjacentSum;
using mc::AverageBytes;
using mc::AverageRows;
using mc::LoadBytes4;
using mc::StoreBytes4;
using mc::SumAdjacent;

inline void PredictHoriz(const unsigned char* src, unsigned char* dst, int stride) {
    for (int r = 0; r < 8; ++r) {
        StoreBytes4(dst, AverageBytes(LoadBytes4(src), LoadBytes4(src + 1)));
        StoreBytes4(dst + 4, AverageBytes(LoadBytes4(src + 4), LoadBytes4(src + 5)));
        src += stride;
        dst += stride;
    }
}

// Each reference row is loaded once and serves two output rows (for the
// diagonal, its adjacent sums do).
inline void PredictVert(const unsigned char* src, unsigned char* dst, int stride) {
    uint32_t above0 = LoadBytes4(src);
    uint32_t above1 = LoadBytes4(src + 4);
    for (int r = 0; r < 8; ++r) {
        src += stride;
        const uint32_t below0 = LoadBytes4(src);
        const uint32_t below1 = LoadBytes4(src + 4);
        StoreBytes4(dst, AverageBytes(above0, below0));
        StoreBytes4(dst + 4, AverageBytes(above1, below1));
        above0 = below0;
        above1 = below1;
        dst += stride;
    }
}

inline void PredictDiagonal(const unsigned char* src, unsigned char* dst, int stride) {
    AdjacentSum above0 = SumAdjacent(LoadBytes4(src), LoadBytes4(src + 1));
    AdjacentSum above1 = SumAdjacent(LoadBytes4(src + 4), LoadBytes4(src + 5));
    for (int r = 0; r < 8; ++r) {
        src += stride;
        const AdjacentSum below0 = SumAdjacent(LoadBytes4(src), LoadBytes4(src + 1));
        const AdjacentSum below1 = SumAdjacent(LoadBytes4(src + 4), LoadBytes4(src + 5));
        StoreBytes4(dst, AverageRows(above0, below0));
        StoreBytes4(dst + 4, AverageRows(above1, below1));
        above0 = below0;
        above1 = below1;
        dst += stride;
    }
}

}  // namespace
}  // namespace veltrane

using veltrane::PredictDiagonal;
using veltrane::PredictHoriz;
using veltrane::PredictVert;

// src is 4-byte aligned here (see the dispatch rule), so each row is two word moves.
void AddIn8x8PlainCopyAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    for (int r = 0; r < 8; ++r) {
        uint32_t w0;
        uint32_t w1;
        std::memcpy(&w0, src, 4);
        std::memcpy(&w1, src + 4, 4);
        std::memcpy(dst, &w0, 4);
        std::memcpy(dst + 4, &w1, 4);
        src += stride;
        dst += stride;
    }
}

void AddIn8x8PlainCopyUnAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    for (int r = 0; r < 8; ++r) {
        std::memcpy(dst, src, 8);
        src += stride;
        dst += stride;
    }
}

void AddIn8x8HorizInterpolateAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    PredictHoriz(src, dst, stride);
}

void AddIn8x8HorizInterpolateUnalignedZb(unsigned char* src, unsigned char* dst, int stride) {
    PredictHoriz(src, dst, stride);
}

void AddIn8x8VertInterpolateAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    PredictVert(src, dst, stride);
}

void AddIn8x8VertInterpolateUnAlignedZb(unsigned char* src, unsigned char* dst, int stride) {
    PredictVert(src, dst, stride);
}

void AddIn8x8DiagonalInterpolateZb(unsigned char* src, unsigned char* dst, int stride) {
    PredictDiagonal(src, dst, stride);
}
