#include "macroblock_blocks.h"

#include <cstdlib>
#include <cstring>

#include "coefficient_writer.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"

namespace veltrane::enc {

namespace {

// Entry of each block in the decoder's 384-entry residual buffer, and its row length.
constexpr int kResidualOffset[kBlocks] = {0, 8, 128, 136, 256, 320};
constexpr int kResidualStride[kBlocks] = {16, 16, 16, 16, 8, 8};

// Coded-block bit of block b: CBPY bits 3..0 for luma, CBPC bits 1, 0 for chroma.
inline bool BlockCoded(const CodedMacroblock& mb, int b) {
    return b < 4 ? ((mb.cbpy >> (3 - b)) & 1) != 0 : ((mb.cbpc >> (5 - b)) & 1) != 0;
}

inline void SetBlockCoded(CodedMacroblock* mb, int b) {
    if (b < 4) {
        mb->cbpy |= 1 << (3 - b);
    } else {
        mb->cbpc |= 1 << (5 - b);
    }
}

BlockPointers Blocks(uint8_t* y, uint8_t* u, uint8_t* v, int yStride, int uvStride, int x,
                     int row) {
    uint8_t* luma = y + row * yStride + x;
    const int chroma = (row / 2) * uvStride + x / 2;
    return {{luma, luma + 8, luma + 8 * yStride, luma + 8 * yStride + 8, u + chroma, v + chroma},
            {yStride, yStride, yStride, yStride, uvStride, uvStride}};
}

void DctOfDifference(const uint8_t* source, int sourceStride, const uint8_t* prediction,
                     int predictionStride, int32_t* coefficients) {
    int16_t samples[64];
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            samples[8 * r + c] = static_cast<int16_t>(source[r * sourceStride + c] -
                                                      prediction[r * predictionStride + c]);
        }
    }
    DctFixedPoint(samples, coefficients);
}

}  // namespace

BlockPointers StoreBlocks(const FrameStore& store, int x, int y) {
    return Blocks(store.y.origin(), store.u.origin(), store.v.origin(), store.y.stride(),
                  store.u.stride(), x, y);
}

BlockPointers SourceBlocks(PaddedSource& source, int x, int y) {
    return Blocks(source.y.data(), source.u.data(), source.v.data(), source.yStride,
                  source.uvStride, x, y);
}

void CodeIntraMacroblock(const BlockPointers& source, const BlockPointers& dst, int quant,
                         int version, CodedMacroblock* out) {
    const int maxLevel = MaxLevel(version, quant);
    out->cbpy = 0;
    out->cbpc = 0;
    out->clamped = 0;
    for (int b = 0; b < kBlocks; ++b) {
        int16_t samples[64];
        for (int r = 0; r < 8; ++r) {
            for (int c = 0; c < 8; ++c)
                samples[8 * r + c] = source.block[b][r * source.stride[b] + c];
        }
        int32_t coefficients[64];
        DctFixedPoint(samples, coefficients);
        BlockLevels& levels = out->levels[b];
        const int dc = IntraDcValue(coefficients[0]);
        out->intraDc[b] = dc;
        QuantiseIntra(coefficients, quant, maxLevel, &levels);
        out->clamped += levels.clamped;
        if (levels.lastScan < 1) {
            SetCurrfrmMean(dst.block[b], dst.stride[b], dc);
            continue;
        }
        SetBlockCoded(out, b);
        std::memset(coefficients, 0, sizeof(coefficients));
        coefficients[0] = 8 * dc;
        DequantiseBlock(levels, 1, quant, coefficients);
        InvDctFixedPointIntra(coefficients, dst.block[b], dst.stride[b]);
    }
}

void CodeInterMacroblock(const BlockPointers& source, const BlockPointers& prediction, int quant,
                         int version, int16_t* residual, CodedMacroblock* out) {
    const int maxLevel = MaxLevel(version, quant);
    out->cbpy = 0;
    out->cbpc = 0;
    out->clamped = 0;
    for (int b = 0; b < kBlocks; ++b) {
        int32_t coefficients[64];
        DctOfDifference(source.block[b], source.stride[b], prediction.block[b],
                        prediction.stride[b], coefficients);
        BlockLevels& levels = out->levels[b];
        QuantiseInter(coefficients, quant, maxLevel, &levels);
        out->clamped += levels.clamped;
        if (levels.lastScan < 0) continue;
        SetBlockCoded(out, b);
        std::memset(coefficients, 0, sizeof(coefficients));
        DequantiseBlock(levels, 0, quant, coefficients);
        InvDctFixedPoint(coefficients, residual + kResidualOffset[b], kResidualStride[b]);
    }
}

bool QuantisesToNothing(const BlockPointers& source, const BlockPointers& prediction, int quant) {
    // A level appears once |C| reaches 2Q + Q/2.
    const int32_t threshold = 2 * quant + quant / 2;
    for (int b = 0; b < kBlocks; ++b) {
        int32_t coefficients[64];
        DctOfDifference(source.block[b], source.stride[b], prediction.block[b],
                        prediction.stride[b], coefficients);
        for (const int32_t c : coefficients) {
            if (std::abs(c) >= threshold) return false;
        }
    }
    return true;
}

void WriteIntraBlocks(BitWriter& writer, const CodedMacroblock& mb, int version,
                      EncoderStats* stats) {
    for (int b = 0; b < kBlocks; ++b) {
        writer.Put(IntraDcField(mb.intraDc[b]), 8);
        if (BlockCoded(mb, b)) WriteBlockEvents(writer, mb.levels[b], 1, version, stats);
    }
}

void WriteInterBlocks(BitWriter& writer, const CodedMacroblock& mb, int version,
                      EncoderStats* stats) {
    for (int b = 0; b < kBlocks; ++b) {
        if (BlockCoded(mb, b)) WriteBlockEvents(writer, mb.levels[b], 0, version, stats);
    }
}

}  // namespace veltrane::enc
