// Decoding of one 8x8 block at a bit cursor: the coefficient events, then the
// cheapest inverse transform that the position of the last coefficient allows.
// Shared by the picture loop and the exported block functions.
#ifndef VELTRANE_ENTROPY_BLOCK_DECODING_H
#define VELTRANE_ENTROPY_BLOCK_DECODING_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/bit_cursor.h"
#include "entropy/coefficients.h"
#include "recon/idct_kernels.h"

namespace veltrane {

// Scan ends (one past the last coefficient's scan index) that allow a reduced
// transform: only the DC coefficient, or coefficients only at scan indexes 0 to
// 8, all in the upper-left corner.
constexpr int kDcOnlyEnd = 1;
constexpr int kCornerEnd = 9;

// Fills an 8x8 block of the picture with one sample value (0 to 255).
VELTRANE_HOT_INLINE void FillBlock(unsigned char* dst, ptrdiff_t stride, int value) {
    const uint64_t row = 0x0101010101010101u * static_cast<uint8_t>(value);
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r) {
        std::memcpy(dst + r * stride, &row, 8);
    }
}

// An intra block straight into the picture: filled with its DC when it carries
// no coefficients, else transformed and saturated. A block whose runs overflow
// the scan is abandoned and the picture keeps what it held.
inline void DecodeIntraBlock(BitCursor& bits, const IdctKernels& idct, bool coded, int version,
                             int quant, unsigned char* dst, ptrdiff_t stride) {
    const int dc = ReadIntraDc(bits);
    if (!coded) {
        FillBlock(dst, stride, dc);
        return;
    }
    alignas(32) int16_t block[64] = {};
    block[0] = static_cast<int16_t>(8 * dc);
    if (ReadBlockCoefficients(bits, version, quant, 1, block) != 0) {
        idct.toPixels(block, dst, stride);
    }
}

}  // namespace veltrane

#endif
