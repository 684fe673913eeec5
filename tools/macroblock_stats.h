// Per-picture macroblock statistics, summed from the records the decoder keeps
// of every macroblock while it decodes the stream (see macroblock_capture.h).
#ifndef VELTRANE_TOOLS_MACROBLOCK_STATS_H
#define VELTRANE_TOOLS_MACROBLOCK_STATS_H

#include <cstdint>
#include <vector>

#include "core/picture_decoder.h"
#include "frame_decoder.h"
#include "macroblock_capture.h"
#include "veltrane/allocator.h"

namespace veltrane::tools {

// Index of skipped macroblocks in MacroblockStats::byType, after the five
// macroblock types of core/macroblock_type.h.
constexpr int kSkippedMacroblock = 5;

struct MacroblockStats {
    // Macroblocks by type (inter, inter with quantiser change, inter with four
    // vectors, intra, intra with quantiser change), then skipped (COD 1).
    uint32_t byType[6] = {};
    uint32_t codedBlocks = 0;    // blocks that carry coefficients
    uint32_t vectors = 0;        // motion vectors decoded (four per four-vector macroblock)
    double vectorLengthSum = 0;  // in pixels
    int32_t status = 0;          // why the frame failed to decode, else 0

    uint32_t skipped() const { return byType[kSkippedMacroblock]; }
    uint32_t total() const;
    double meanVectorLength() const { return vectors == 0 ? 0.0 : vectorLengthSum / vectors; }
};

// Sums the records up to the first damaged one.
MacroblockStats SummariseMacroblocks(const std::vector<MacroblockRecord>& records);

// Decodes a stream frame by frame, in order, for the statistics of each frame.
class MacroblockStatsCollector {
public:
    explicit MacroblockStatsCollector(IAllocator* allocator) : decoder_(allocator) {
        decoder_.CaptureMacroblocks(&capture_);
    }
    bool Open(int width, int height) { return decoder_.Open(width, height); }
    MacroblockStats Collect(const uint8_t* frame, uint32_t size);

private:
    FrameDecoder decoder_;
    MacroblockCapture capture_;
};

}  // namespace veltrane::tools

#endif
