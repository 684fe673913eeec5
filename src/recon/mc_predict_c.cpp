// The plain prediction kernels for blocks without residual, the block copies
// and the border fill. Rows are handled four samples at a time in the byte
// lanes of a 32-bit word.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "recon/mc_kernels.h"
#include "recon/mc_word_ops.h"

namespace veltrane {
namespace {

using namespace mc;  // the word-parallel byte operations

template <int kWords>
inline void CopyRows(const unsigned char* src, unsigned char* dst, ptrdiff_t stride, int rows) {
    for (int r = 0; r < rows; ++r) {
        for (int w = 0; w < kWords; ++w) {
            StoreBytes4(dst + 4 * w, LoadBytes4(src + 4 * w));
        }
        src += stride;
        dst += stride;
    }
}

template <int kWords>
inline void PredictHoriz(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    for (int r = 0; r < 4 * kWords; ++r) {
        for (int w = 0; w < kWords; ++w) {
            StoreBytes4(dst + 4 * w,
                        AverageBytes(LoadBytes4(src + 4 * w), LoadBytes4(src + 4 * w + 1)));
        }
        src += stride;
        dst += stride;
    }
}

// Each reference row is loaded once and serves two output rows (for the
// diagonal, its adjacent sums do).
template <int kWords>
inline void PredictVert(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    uint32_t above[kWords];
    for (int w = 0; w < kWords; ++w) {
        above[w] = LoadBytes4(src + 4 * w);
    }
    for (int r = 0; r < 4 * kWords; ++r) {
        src += stride;
        for (int w = 0; w < kWords; ++w) {
            const uint32_t below = LoadBytes4(src + 4 * w);
            StoreBytes4(dst + 4 * w, AverageBytes(above[w], below));
            above[w] = below;
        }
        dst += stride;
    }
}

template <int kWords>
inline void PredictDiagonal(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    AdjacentSum above[kWords];
    for (int w = 0; w < kWords; ++w) {
        above[w] = SumAdjacent(LoadBytes4(src + 4 * w), LoadBytes4(src + 4 * w + 1));
    }
    for (int r = 0; r < 4 * kWords; ++r) {
        src += stride;
        for (int w = 0; w < kWords; ++w) {
            const AdjacentSum below =
                SumAdjacent(LoadBytes4(src + 4 * w), LoadBytes4(src + 4 * w + 1));
            StoreBytes4(dst + 4 * w, AverageRows(above[w], below));
            above[w] = below;
        }
        dst += stride;
    }
}

}  // namespace

// The table's entries: the same row functions over two words a row (8
// samples) and four (16).
void PredictCopy8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    CopyRows<2>(src, dst, stride, 8);
}
void PredictHoriz8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PredictHoriz<2>(src, dst, stride);
}
void PredictVert8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PredictVert<2>(src, dst, stride);
}
void PredictDiagonal8C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PredictDiagonal<2>(src, dst, stride);
}

void PredictCopy16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    CopyRows<4>(src, dst, stride, 16);
}
void PredictHoriz16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PredictHoriz<4>(src, dst, stride);
}
void PredictVert16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PredictVert<4>(src, dst, stride);
}
void PredictDiagonal16C(const unsigned char* src, unsigned char* dst, ptrdiff_t stride) {
    PredictDiagonal<4>(src, dst, stride);
}

void PredictChromaCopyC(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                        unsigned char* dstV, ptrdiff_t stride) {
    PredictCopy8C(srcU, dstU, stride);
    PredictCopy8C(srcV, dstV, stride);
}
void PredictChromaHorizC(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                         unsigned char* dstV, ptrdiff_t stride) {
    PredictHoriz8C(srcU, dstU, stride);
    PredictHoriz8C(srcV, dstV, stride);
}
void PredictChromaVertC(const unsigned char* srcU, const unsigned char* srcV, unsigned char* dstU,
                        unsigned char* dstV, ptrdiff_t stride) {
    PredictVert8C(srcU, dstU, stride);
    PredictVert8C(srcV, dstV, stride);
}
void PredictChromaDiagonalC(const unsigned char* srcU, const unsigned char* srcV,
                            unsigned char* dstU, unsigned char* dstV, ptrdiff_t stride) {
    PredictDiagonal8C(srcU, dstU, stride);
    PredictDiagonal8C(srcV, dstV, stride);
}

void ExtendPlaneC(unsigned char* plane, int width, int height, ptrdiff_t stride) {
    for (int r = 0; r < height; ++r) {
        unsigned char* row = plane + r * stride;
        std::memset(row - 16, row[0], 16);
        std::memset(row + width, row[width - 1], 16);
    }
    const size_t rowBytes = static_cast<size_t>(width) + 32;
    const unsigned char* first = plane - 16;
    const unsigned char* last = plane + (height - 1) * stride - 16;
    for (int r = 1; r <= 16; ++r) {
        std::memcpy(plane - r * stride - 16, first, rowBytes);
        std::memcpy(plane + (height - 1 + r) * stride - 16, last, rowBytes);
    }
}

}  // namespace veltrane
