// The six 8x8 blocks of a macroblock (luma 0..3, Cb, Cr): where they lie, and
// their transform, quantisation, local reconstruction and coefficient data.
#ifndef VELTRANE_ENCODER_MACROBLOCK_BLOCKS_H
#define VELTRANE_ENCODER_MACROBLOCK_BLOCKS_H

#include <cstdint>

#include "bit_writer.h"
#include "planes.h"
#include "quantiser.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::enc {

constexpr int kBlocks = 6;

// Top-left sample and stride of each block.
struct BlockPointers {
    uint8_t* block[kBlocks];
    int stride[kBlocks];
};

BlockPointers StoreBlocks(const FrameStore& store, int x, int y);
BlockPointers SourceBlocks(PaddedSource& source, int x, int y);

// Coded-block bits: CBPY bit 3..0 for luma 0..3 (as an intra macroblock sends
// it), CBPC bit 1 Cb, bit 0 Cr.
struct CodedMacroblock {
    BlockLevels levels[kBlocks];
    int intraDc[kBlocks];  // intra only
    int cbpy = 0;
    int cbpc = 0;
    int clamped = 0;
    // MotionCompensation's codedMask: luma bits 3..0, Cb bit 5, Cr bit 4.
    unsigned codedMask() const { return static_cast<unsigned>(cbpy | (cbpc << 4)); }
};

// Transforms and quantises the source blocks as intra blocks and reconstructs
// them into `dst` exactly as the decoder will.
void CodeIntraMacroblock(const BlockPointers& source, const BlockPointers& dst, int quant,
                         int version, CodedMacroblock* out);

// Quantises the difference between source and prediction; for every coded block
// writes the decoder's inverse-transformed residual into `residual` (the 384-entry
// macroblock layout).
void CodeInterMacroblock(const BlockPointers& source, const BlockPointers& prediction, int quant,
                         int version, int16_t* residual, CodedMacroblock* out);

// True when no block of the difference between source and `prediction` keeps a
// level at `quant`.
bool QuantisesToNothing(const BlockPointers& source, const BlockPointers& prediction, int quant);

void WriteIntraBlocks(BitWriter& writer, const CodedMacroblock& mb, int version,
                      EncoderStats* stats);
void WriteInterBlocks(BitWriter& writer, const CodedMacroblock& mb, int version,
                      EncoderStats* stats);

}  // namespace veltrane::enc

#endif
