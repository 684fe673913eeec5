#include "coefficient_writer.h"

#include <cstdlib>

#include "entropy/code_tables.h"
#include "vlc_codes.h"

namespace veltrane::enc {

void WriteEvent(BitWriter& writer, int last, int run, int level, int version, EncoderStats* stats) {
    const int index = TcoefIndexOf(last, run, std::abs(level));
    if (index >= 0) {
        PutCode(writer, TcoefCodes, index);
        writer.Put(level < 0 ? 1 : 0, 1);
        return;
    }
    PutCode(writer, TcoefCodes, kTcoefEscape);
    const auto fields = static_cast<uint32_t>((last << 6) | run);
    const auto bits = static_cast<uint32_t>(level);  // two's complement, cut below
    if (version == 0) {
        writer.Put((fields << 8) | (bits & 0xFF), 15);
        ++stats->escapes8;
    } else if (level >= -64 && level <= 63) {
        writer.Put((fields << 7) | (bits & 0x7F), 15);  // format bit 0 on top
        ++stats->escapes7;
    } else {
        writer.Put((1u << 18) | (fields << 11) | (bits & 0x7FF), 19);
        ++stats->escapes11;
    }
}

void WriteBlockEvents(BitWriter& writer, const BlockLevels& levels, int first, int version,
                      EncoderStats* stats) {
    int run = 0;
    for (int i = first; i <= levels.lastScan; ++i) {
        const int level = levels.level[i];
        if (level == 0) {
            ++run;
            continue;
        }
        WriteEvent(writer, i == levels.lastScan ? 1 : 0, run, level, version, stats);
        run = 0;
    }
}

}  // namespace veltrane::enc
