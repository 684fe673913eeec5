// P pictures: per macroblock COD, then MCBPC, CBPY, DQUANT, vector differences
// and blocks. Reconstruction goes through the library's motion compensation
// with the same side tables the decoder keeps.
#include <cstring>

#include "core/macroblock_type.h"
#include "entropy/code_tables.h"
#include "entropy/motion_vectors.h"
#include "macroblock_blocks.h"
#include "mode_decision.h"
#include "picture_coder.h"
#include "veltrane/recon.h"
#include "vlc_codes.h"

namespace veltrane::enc {

namespace {

struct MacroblockPosition {
    int index;
    int x;
    int y;
    bool firstRow;
};

void PutHeader(PictureCoder& coder, int type, const CodedMacroblock& mb, bool intra,
               const QuantStep& step) {
    BitWriter& writer = *coder.writer;
    writer.Put(0, 1);  // COD: coded
    PutCode(writer, McbpcInterCodes, type * 4 + mb.cbpc);
    PutCode(writer, CbpyCodes, intra ? mb.cbpy : 15 - mb.cbpy);
    if (type == kMacroblockInterQ || type == kMacroblockIntraQ)
        writer.Put(static_cast<uint32_t>(step.field), 2);
}

int MotionCompensate(PictureCoder& coder, const MacroblockPosition& mb, unsigned codedMask) {
    const BlockPointers cur = StoreBlocks(*coder.current, mb.x, mb.y);
    return MotionCompensation(mb.index, mb.x, mb.y, coder.mbTypes->data(), coder.mbVectors->data(),
                              coder.reference->planes, cur.block[0], cur.block[4], cur.block[5],
                              coder.residual, coder.current->y.stride(), coder.current->u.stride(),
                              codedMask);
}

void Skip(PictureCoder& coder, const MacroblockPosition& mb) {
    coder.writer->Put(1, 1);  // COD: not coded
    const BlockPointers cur = StoreBlocks(*coder.current, mb.x, mb.y);
    CopyRefMacroBlock(coder.reference->planes, mb.x, mb.y, cur.block[0], cur.block[4], cur.block[5],
                      coder.current->y.stride(), coder.current->u.stride());
    (*coder.mbTypes)[static_cast<size_t>(mb.index)] = kMacroblockInter;
    ++coder.stats->skipped;
}

void EncodeIntraMacroblock(PictureCoder& coder, const MacroblockPosition& mb,
                           const QuantStep& step) {
    coder.quant = step.quant;
    CodedMacroblock coded;
    CodeIntraMacroblock(SourceBlocks(*coder.source, mb.x, mb.y),
                        StoreBlocks(*coder.current, mb.x, mb.y), coder.quant, coder.version,
                        &coded);
    const int type = step.field >= 0 ? kMacroblockIntraQ : kMacroblockIntra;
    (*coder.mbTypes)[static_cast<size_t>(mb.index)] = static_cast<int16_t>(type);
    PutHeader(coder, type, coded, true, step);
    WriteIntraBlocks(*coder.writer, coded, coder.version, coder.stats);
    ++(type == kMacroblockIntraQ ? coder.stats->intraQ : coder.stats->intra);
    ++coder.stats->intraInP;
    coder.stats->clampedLevels += coded.clamped;
}

// One- or four-vector macroblock; becomes a skipped one when it has a zero vector,
// no residual and no quantiser change.
void EncodeInterMacroblock(PictureCoder& coder, const MacroblockPosition& mb,
                           const ModeDecision& decision, QuantStep step) {
    const bool four = decision.mode == MacroblockMode::kInter4V;
    if (four) step = {coder.quant, -1};  // no DQUANT with four vectors
    const int type =
        four ? kMacroblockInter4V : (step.field >= 0 ? kMacroblockInterQ : kMacroblockInter);
    const auto index = static_cast<size_t>(mb.index);
    (*coder.mbTypes)[index] = static_cast<int16_t>(type);
    MotionVector_t* own = (*coder.mbVectors)[index].vectors;
    int mvd[8];
    for (int k = 0; k < (four ? 4 : 1); ++k) {
        const MotionVector predictor =
            PredictVector(coder, mb.index, four ? k + 1 : kSingleVector, mb.firstRow);
        own[k] = {decision.vectors[k].x, decision.vectors[k].y};
        mvd[2 * k] = WrapVector(own[k].x - predictor.x);
        mvd[2 * k + 1] = WrapVector(own[k].y - predictor.y);
    }

    // The prediction first, into the current store, so the residual is taken
    // against exactly what the decoder predicts.
    MotionCompensate(coder, mb, 0);
    coder.quant = step.quant;
    CodedMacroblock coded;
    CodeInterMacroblock(SourceBlocks(*coder.source, mb.x, mb.y),
                        StoreBlocks(*coder.current, mb.x, mb.y), coder.quant, coder.version,
                        coder.residual, &coded);
    if (type == kMacroblockInter && own[0].x == 0 && own[0].y == 0 && coded.codedMask() == 0) {
        Skip(coder, mb);
        return;
    }
    PutHeader(coder, type, coded, false, step);
    for (int i = 0; i < (four ? 8 : 2); ++i) PutCode(*coder.writer, MvdCodes, mvd[i]);
    WriteInterBlocks(*coder.writer, coded, coder.version, coder.stats);
    MotionCompensate(coder, mb, coded.codedMask());
    ++(four ? coder.stats->inter4v
            : (type == kMacroblockInterQ ? coder.stats->interQ : coder.stats->inter));
    coder.stats->clampedLevels += coded.clamped;
}

}  // namespace

void EncodePPicture(PictureCoder& coder) {
    coder.reference->FillBorders();
    std::memset(coder.mbVectors->data(), 0, coder.mbVectors->size() * sizeof(macroblockvec_t));
    int index = 0;
    for (int y = 0; y < coder.alignedHeight; y += 16) {
        for (int x = 0; x < coder.alignedWidth; x += 16, ++index) {
            const MacroblockPosition mb{index, x, y, y == 0};
            const QuantStep step = coder.NextQuant(index);
            // Not coded when the co-located reference leaves nothing worth sending.
            if (QuantisesToNothing(SourceBlocks(*coder.source, x, y),
                                   StoreBlocks(*coder.reference, x, y), coder.quant)) {
                Skip(coder, mb);
            } else {
                const ModeDecision decision = DecideMode(coder, index, x, y, mb.firstRow);
                if (decision.mode == MacroblockMode::kIntra) {
                    EncodeIntraMacroblock(coder, mb, step);
                } else {
                    EncodeInterMacroblock(coder, mb, decision, step);
                }
            }
            coder.quantSum += coder.quant;
        }
    }
}

}  // namespace veltrane::enc
