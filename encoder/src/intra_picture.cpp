// Intra pictures: every macroblock intra, MCBPC, CBPY, optional DQUANT, blocks.
#include "entropy/code_tables.h"
#include "macroblock_blocks.h"
#include "picture_coder.h"
#include "vlc_codes.h"

namespace veltrane::enc {

namespace {

constexpr int kMcbpcIntraWithDquant = 4;

}  // namespace

void EncodeIntraPicture(PictureCoder& coder) {
    int mbIndex = 0;
    for (int y = 0; y < coder.alignedHeight; y += 16) {
        for (int x = 0; x < coder.alignedWidth; x += 16, ++mbIndex) {
            const QuantStep step = coder.NextQuant(mbIndex);
            coder.quant = step.quant;
            CodedMacroblock mb;
            CodeIntraMacroblock(SourceBlocks(*coder.source, x, y),
                                StoreBlocks(*coder.current, x, y), coder.quant, coder.version, &mb);
            const bool dquant = step.field >= 0;
            PutCode(*coder.writer, McbpcIntraCodes, (dquant ? kMcbpcIntraWithDquant : 0) + mb.cbpc);
            PutCode(*coder.writer, CbpyCodes, mb.cbpy);
            if (dquant) coder.writer->Put(static_cast<uint32_t>(step.field), 2);
            WriteIntraBlocks(*coder.writer, mb, coder.version, coder.stats);
            ++(dquant ? coder.stats->intraQ : coder.stats->intra);
            coder.stats->clampedLevels += mb.clamped;
            coder.quantSum += coder.quant;
        }
    }
}

}  // namespace veltrane::enc
