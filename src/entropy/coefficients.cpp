// Coefficient decoding of one 8x8 block: the exported block functions, and the
// escape fields behind a TCOEF ESCAPE.
#include "entropy/coefficients.h"

#include <cstring>

#include "core/bit_cursor.h"
#include "entropy/block_decoding.h"
#include "recon/idct_kernels.h"
#include "recon/idct_passes.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"

namespace veltrane {

const uint8_t ZigzagScan[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

namespace {

// Sign-extends the low `bits` bits of `value`.
int SignExtend(uint32_t value, unsigned bits) {
    const uint32_t sign = 1u << (bits - 1);
    return static_cast<int>((value ^ sign) - sign);
}

}  // namespace

uint64_t LoadFrameTail(const unsigned char* buffer, uint32_t bufferSize, uint32_t byte) {
    uint64_t word = 0;
    for (uint32_t i = 0; i < 8 && byte + i < bufferSize; ++i) {
        word |= uint64_t{buffer[byte + i]} << (56 - 8 * i);
    }
    return word;
}

TcoefEvent ReadEscapedEvent(BitCursor& bits, int version) {
    unsigned levelBits = 8;
    if (version != 0) {
        if (bits.BitsLeft() == 0) {
            bits.RecordError(kFifoErrorOutOfData);
            return {0, 0, 0};
        }
        levelBits = bits.Read(1) ? 11 : 7;
    }
    const unsigned fieldBits = 1 + 6 + levelBits;
    if (bits.BitsLeft() < fieldBits) {
        bits.RecordError(kFifoErrorOutOfData);
        return {0, 0, 0};
    }
    const uint32_t fields = bits.Read(fieldBits);
    return {static_cast<int>(fields >> (fieldBits - 1)),
            static_cast<int>((fields >> levelBits) & 63),
            SignExtend(fields & ((1u << levelBits) - 1), levelBits)};
}

// The decoder's trees and the flat tables map every bit pattern alike, so the
// event is read through the flat TCOEF table.
void DecodeBlockCoefficients(CVeltraneSupport* /*support*/, fifo_t* fifo, int version, int* last,
                             int* run, int* level) {
    BitCursor bits(*fifo);
    const TcoefEvent event = ReadTcoefEvent(bits, version);
    bits.StoreTo(*fifo);
    *last = event.last;
    *run = event.run;
    *level = event.level;
}

}  // namespace veltrane

void DecompressIntraBlock(DecodeInstance_t* /*decoder*/, int32_t coded, fifo_t* fifo, int version,
                          int quant, unsigned char* dst, int stride) {
    using namespace veltrane;
    BitCursor bits(*fifo);
    DecodeIntraBlock(bits, *ActiveIdctKernels(), coded != 0, version, quant, dst, stride);
    bits.StoreTo(*fifo);
}

void DecompressInterBlock(DecodeInstance_t* /*decoder*/, int32_t coded, fifo_t* fifo, int version,
                          int quant, int16_t* dst, int stride) {
    using namespace veltrane;
    if (!coded) {
        return;
    }
    BitCursor bits(*fifo);
    alignas(32) int16_t block[64] = {};
    const int end = ReadBlockCoefficients(bits, version, quant, 0, block);
    bits.StoreTo(*fifo);
    if (end == 0) {
        return;
    }
    const IdctKernels& idct = *ActiveIdctKernels();
    if (end == kDcOnlyEnd) {
        const int16_t v = idct::DcOnlyOutput(block[0]);
        for (int r = 0; r < 8; ++r) {
            idct::FillRow(dst + static_cast<ptrdiff_t>(r) * stride, v);
        }
    } else if (end <= kCornerEnd) {
        idct.cornerToResidual(block, dst, stride);
    } else {
        idct.toResidual(block, dst, stride);
    }
}

void SetCurrfrmMean(unsigned char* dst, int stride, int value) {
    for (int r = 0; r < 8; ++r) {
        std::memset(dst + r * stride, value & 0xFF, 8);
    }
}

void SetBlockMean(int16_t* dst, int stride, int value) {
    const auto pattern = static_cast<int16_t>(static_cast<uint16_t>(value));
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            dst[r * stride + c] = pattern;
        }
    }
}

void SetBlockZero(int16_t* dst, int stride) { SetBlockMean(dst, stride, 0); }
