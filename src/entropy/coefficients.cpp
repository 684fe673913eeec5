// Coefficient decoding of one 8x8 block: intra blocks straight into the frame
// store as pixels, inter blocks into the residual buffer as 16-bit values.
#include "entropy/coefficients.h"

#include <cstring>

#include "core/bit_reader.h"
#include "entropy/code_tables.h"
#include "entropy/huffman.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"

namespace veltrane {

const uint8_t ZigzagScan[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

namespace {

constexpr int kLastScanIndex = 63;
constexpr uint32_t kIntraDcEscape = 255;  // stands for 128
constexpr int kDcOnlyEnd = 1;             // scan end with only the DC coefficient
constexpr int kCornerEnd = 9;             // scan ends up to here stay in the upper-left corner

// Sign-extends the low `bits` bits of `value`.
int SignExtend(uint32_t value, unsigned bits) {
    const uint32_t sign = 1u << (bits - 1);
    return static_cast<int>((value ^ sign) - sign);
}

// Reads the fields behind an ESCAPE. A frame that ends inside them records
// error 4 and yields LAST 0, RUN 0, LEVEL 0.
void ReadEscape(fifo_t* fifo, int version, int* last, int* run, int* level) {
    *last = 0;
    *run = 0;
    *level = 0;
    unsigned levelBits = 8;
    if (version != 0) {
        if (BitsLeft(fifo) == 0) {
            fifo->error = kFifoErrorOutOfData;
            return;
        }
        levelBits = ReadBit(fifo) ? 11 : 7;
    }
    const unsigned fieldBits = 1 + 6 + levelBits;
    if (BitsLeft(fifo) < fieldBits) {
        fifo->error = kFifoErrorOutOfData;
        return;
    }
    const uint32_t fields = ReadBits(fifo, fieldBits);
    *last = static_cast<int>(fields >> (fieldBits - 1));
    *run = static_cast<int>((fields >> levelBits) & 63);
    *level = SignExtend(fields & ((1u << levelBits) - 1), levelBits);
}

// Reads the events of one block into `block` (cleared by the caller) from scan
// index `scan` on. Returns one past the scan index of the last coefficient, or
// 0 when a run carried the index past 63 and the block is abandoned.
int ReadBlockEvents(CVeltraneSupport* support, fifo_t* fifo, int version, int quant, int scan,
                    int32_t* block) {
    for (;;) {
        int last;
        int run;
        int level;
        DecodeBlockCoefficients(support, fifo, version, &last, &run, &level);
        scan += run;
        if (scan > kLastScanIndex) {
            return 0;
        }
        block[ZigzagScan[scan]] = DequantiseLevel(level, quant);
        ++scan;
        if (last) {
            return scan;
        }
    }
}

}  // namespace

void DecodeBlockCoefficients(CVeltraneSupport* support, fifo_t* fifo, int version, int* last,
                             int* run, int* level) {
    const auto* tree = static_cast<const HuffDecodeEntry_t*>(support->codeTables[kTcoefTable]);
    int32_t index;
    if (!HuffDecodeSymbol(fifo, tree, &index) || index > kTcoefEscape) {
        *last = 1;
        *run = 0;
        *level = 0;
        return;
    }
    if (index == kTcoefEscape) {
        ReadEscape(fifo, version, last, run, level);
        return;
    }
    *last = index >= kTcoefFirstLast ? 1 : 0;
    *run = TcoefRunTable[index];
    *level = TcoefLevelTable[index];
    if (BitsLeft(fifo) == 0) {
        fifo->error = kFifoErrorOutOfData;  // the sign is missing: keep the level positive
        return;
    }
    if (ReadBit(fifo)) {
        *level = -*level;
    }
}

}  // namespace veltrane

void DecompressIntraBlock(DecodeInstance_t* decoder, int32_t coded, fifo_t* fifo, int version,
                          int quant, unsigned char* dst, int stride) {
    using namespace veltrane;
    uint32_t dc = 0;
    if (BitsLeft(fifo) < 8) {
        fifo->error = kFifoErrorOutOfData;
    } else {
        dc = ReadBits(fifo, 8);
        if (dc == kIntraDcEscape) dc = 128;
    }
    if (!coded) {
        SetCurrfrmMean(dst, stride, static_cast<int>(dc));
        return;
    }
    int32_t block[64] = {};
    block[0] = static_cast<int32_t>(8 * dc);
    if (ReadBlockEvents(decoder->support, fifo, version, quant, 1, block) == 0) {
        return;
    }
    InvDctFixedPointIntra(block, dst, stride);
}

void DecompressInterBlock(DecodeInstance_t* decoder, int32_t coded, fifo_t* fifo, int version,
                          int quant, int16_t* dst, int stride) {
    using namespace veltrane;
    if (!coded) {
        return;
    }
    int32_t block[64] = {};
    const int end = ReadBlockEvents(decoder->support, fifo, version, quant, 0, block);
    if (end == 0) {
        return;
    }
    // The cheapest transform that the position of the last coefficient allows.
    if (end == kDcOnlyEnd) {
        InvDct1FixedPoint(block, dst, stride);
    } else if (end <= kCornerEnd) {
        InvDct10FixedPoint(block, dst, stride);
    } else {
        InvDctFixedPoint(block, dst, stride);
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
