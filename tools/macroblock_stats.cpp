#include "macroblock_stats.h"

#include <bit>
#include <cmath>

#include "core/macroblock_type.h"

namespace veltrane::tools {

uint32_t MacroblockStats::total() const {
    uint32_t sum = 0;
    for (uint32_t n : byType) sum += n;
    return sum;
}

MacroblockStats SummariseMacroblocks(const std::vector<MacroblockRecord>& records) {
    MacroblockStats stats;
    for (const MacroblockRecord& r : records) {
        if (r.damaged) break;  // read after an error: nothing it says can be trusted
        if (r.skipped) {
            ++stats.byType[kSkippedMacroblock];
            continue;
        }
        if (r.type < kMacroblockInter || r.type > kMacroblockIntraQ) continue;  // never recorded
        ++stats.byType[r.type];
        stats.codedBlocks += static_cast<uint32_t>(std::popcount(unsigned{r.codedBlocks}));
        if (IsIntraMacroblock(r.type)) continue;
        const int count = r.type == kMacroblockInter4V ? 4 : 1;
        for (int k = 0; k < count; ++k) {  // vectors count half samples
            stats.vectorLengthSum += std::hypot(r.vectors[k].x, r.vectors[k].y) / 2.0;
        }
        stats.vectors += static_cast<uint32_t>(count);
    }
    return stats;
}

MacroblockStats MacroblockStatsCollector::Collect(const uint8_t* frame, uint32_t size) {
    const int32_t status = decoder_.Decode(frame, size, nullptr);
    MacroblockStats stats = SummariseMacroblocks(capture_.records);
    stats.status = status;
    return stats;
}

}  // namespace veltrane::tools
