#include "macroblock_stats.h"

#include <cmath>

#include "core/bit_reader.h"
#include "entropy/code_tables.h"
#include "entropy/coefficients.h"
#include "entropy/huffman.h"
#include "veltrane/entropy.h"
#include "veltrane/support.h"

namespace veltrane::tools {

namespace {

enum MacroblockType { kInter = 0, kInterQ = 1, kInter4V = 2, kIntra = 3, kIntraQ = 4 };
constexpr unsigned kDquantBits = 2;
constexpr unsigned kIntraDcBits = 8;

const HuffDecodeEntry_t* Tree(const DecodeInstance_t* decoder, int table) {
    return static_cast<const HuffDecodeEntry_t*>(decoder->support->codeTables[table]);
}

int PopCount6(unsigned mask) {
    int n = 0;
    for (unsigned m = mask & 63; m != 0; m &= m - 1) ++n;
    return n;
}

}  // namespace

uint32_t MacroblockStats::total() const {
    uint32_t sum = 0;
    for (uint32_t n : byType) sum += n;
    return sum;
}

// Reads the coefficient events of the blocks whose bit is set in `codedMask`
// (bit 5 for the first block of the macroblock down to bit 0 for the last).
void MacroblockWalker::SkipBlocks(fifo_t* fifo, int version, unsigned codedMask, bool intra,
                                  MacroblockStats* stats) {
    stats->codedBlocks += static_cast<uint32_t>(PopCount6(codedMask));
    for (int block = 5; block >= 0; --block) {
        if (intra) ReadBits(fifo, kIntraDcBits);
        if (((codedMask >> block) & 1) == 0) continue;
        // The same end conditions as the decoder: LAST, or a run past the block.
        for (int i = intra ? 1 : 0;;) {
            int last = 0, run = 0, level = 0;
            DecodeBlockCoefficients(decoder_->support, fifo, version, &last, &run, &level);
            i += run;
            if (i > 63) break;
            ++i;
            if (last) break;
        }
    }
}

void MacroblockWalker::WalkIntraPicture(fifo_t* fifo, const PictureHeader_t& header,
                                        MacroblockStats* stats) {
    const HuffDecodeEntry_t* mcbpcTree = Tree(decoder_, kMcbpcIntraTable);
    const HuffDecodeEntry_t* cbpyTree = Tree(decoder_, kCbpyTable);
    const uint32_t count = (header.alignedWidth / 16) * (header.alignedHeight / 16);
    for (uint32_t mb = 0; mb < count && fifo->error == 0; ++mb) {
        int32_t mcbpc = 0, cbpy = 0;
        do {
            if (!HuffDecodeSymbol(fifo, mcbpcTree, &mcbpc)) return;
        } while (mcbpc == kMcbpcIntraStuffing);
        if (!HuffDecodeSymbol(fifo, cbpyTree, &cbpy)) return;
        const bool quantChange = (mcbpc & 4) != 0;
        if (quantChange) ReadBits(fifo, kDquantBits);
        ++stats->byType[quantChange ? kIntraQ : kIntra];
        SkipBlocks(fifo, static_cast<int>(header.version),
                   static_cast<unsigned>((cbpy << 2) | (mcbpc & 3)), true, stats);
    }
}

void MacroblockWalker::WalkPPicture(fifo_t* fifo, const PictureHeader_t& header,
                                    MacroblockStats* stats) {
    const HuffDecodeEntry_t* mcbpcTree = Tree(decoder_, kMcbpcInterTable);
    const HuffDecodeEntry_t* cbpyTree = Tree(decoder_, kCbpyTable);
    const int perRow = static_cast<int>(header.alignedWidth / 16);
    const int count = perRow * static_cast<int>(header.alignedHeight / 16);
    types_.assign(static_cast<size_t>(count), 0);
    vectors_.assign(static_cast<size_t>(count), macroblockvec_t{});
    for (int mb = 0; mb < count && fifo->error == 0; ++mb) {
        bool skipped = false;
        int32_t mcbpc = kMcbpcInterStuffing;
        while (mcbpc == kMcbpcInterStuffing) {
            if (BitsLeft(fifo) == 0) {
                fifo->error = kFifoErrorOutOfData;
                return;
            }
            skipped = ReadBit(fifo) != 0;
            if (skipped) break;
            if (!HuffDecodeSymbol(fifo, mcbpcTree, &mcbpc)) return;
        }
        if (skipped) {
            ++stats->byType[kSkippedMacroblock];
            continue;
        }
        const int type = mcbpc / 4;
        if (type > kIntraQ) {
            stats->status = kStatusBadMacroblockType;
            return;
        }
        types_[static_cast<size_t>(mb)] = static_cast<int16_t>(type);
        int32_t cbpy = 0;
        if (!HuffDecodeSymbol(fifo, cbpyTree, &cbpy)) return;
        if (type == kInterQ || type == kIntraQ) ReadBits(fifo, kDquantBits);
        ++stats->byType[type];
        const int version = static_cast<int>(header.version);
        if (type >= kIntra) {
            SkipBlocks(fifo, version, static_cast<unsigned>((cbpy << 2) | (mcbpc & 3)), true,
                       stats);
            continue;
        }
        GetMotionVectors(decoder_, mb, types_.data(), vectors_.data(), fifo,
                         static_cast<int>(header.alignedWidth), mb < perRow ? 1 : 0);
        const int vectorCount = type == kInter4V ? 4 : 1;
        for (int k = 0; k < vectorCount; ++k) {
            const MotionVector_t& v = vectors_[static_cast<size_t>(mb)].vectors[k];
            stats->vectorLengthSum += std::hypot(v.x, v.y) / 2.0;  // half-sample units
        }
        stats->vectors += static_cast<uint32_t>(vectorCount);
        SkipBlocks(fifo, version, static_cast<unsigned>(((15 - cbpy) << 2) | (mcbpc & 3)), false,
                   stats);
    }
}

MacroblockStats MacroblockWalker::Walk(fifo_t* fifo, const PictureHeader_t& header) {
    MacroblockStats stats;
    if (header.width > VELTRANE_MAX_DIMENSION || header.height > VELTRANE_MAX_DIMENSION) {
        stats.status = kStatusBadData;
        return stats;
    }
    if (header.pictureType == 0) {
        WalkIntraPicture(fifo, header, &stats);
    } else if (header.pictureType == 1 || header.pictureType == 2) {
        WalkPPicture(fifo, header, &stats);
    }
    if (stats.status == 0) {
        stats.status = static_cast<int32_t>(GetLastFifoError(fifo));
    }
    return stats;
}

}  // namespace veltrane::tools
