// Per-picture macroblock statistics, gathered by walking the macroblock layer
// with the library's own code trees, coefficient reader and motion vector
// decoder. Nothing is reconstructed.
#ifndef VELTRANE_TOOLS_MACROBLOCK_STATS_H
#define VELTRANE_TOOLS_MACROBLOCK_STATS_H

#include <cstdint>
#include <vector>

#include "veltrane/decoder.h"

namespace veltrane::tools {

struct MacroblockStats {
    // Macroblocks by type: inter, inter with quantiser change, inter with four
    // vectors, intra, intra with quantiser change, then skipped (COD 1).
    uint32_t byType[6] = {};
    uint32_t codedBlocks = 0;    // blocks that carry coefficients
    uint32_t vectors = 0;        // motion vectors decoded (four per four-vector macroblock)
    double vectorLengthSum = 0;  // in pixels
    int32_t status = 0;          // reader error or 44 where the walk stopped, else 0

    uint32_t skipped() const { return byType[5]; }
    uint32_t total() const;
    double meanVectorLength() const { return vectors == 0 ? 0.0 : vectorLengthSum / vectors; }
};

constexpr int kSkippedMacroblock = 5;

class MacroblockWalker {
public:
    // `decoder` supplies the code trees only; any open decoder will do.
    explicit MacroblockWalker(DecodeInstance_t* decoder) : decoder_(decoder) {}

    // Walks the macroblocks of a frame whose header has just been parsed from
    // `fifo`, which is left where the header ended. Stops at the first reader
    // error. Pictures larger than any decoder can open are refused with
    // kStatusBadData.
    MacroblockStats Walk(fifo_t* fifo, const PictureHeader_t& header);

private:
    void WalkIntraPicture(fifo_t* fifo, const PictureHeader_t& header, MacroblockStats* stats);
    void WalkPPicture(fifo_t* fifo, const PictureHeader_t& header, MacroblockStats* stats);
    void SkipBlocks(fifo_t* fifo, int version, unsigned codedMask, bool intra,
                    MacroblockStats* stats);

    DecodeInstance_t* decoder_;
    std::vector<int16_t> types_;
    std::vector<macroblockvec_t> vectors_;
};

}  // namespace veltrane::tools

#endif
