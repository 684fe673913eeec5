// Counters of one decoding run and the summary line that ends it.
#ifndef VELTRANE_TOOLS_RUN_SUMMARY_H
#define VELTRANE_TOOLS_RUN_SUMMARY_H

#include <cstdint>
#include <string>

namespace veltrane::tools {

struct RunSummary {
    uint32_t pictures = 0;    // pictures written, repeated ones included
    uint32_t byType[4] = {};  // decoded pictures by type: I, P, disposable, empty
    uint32_t errors = 0;      // frames that failed, and container errors
    uint32_t repeated = 0;    // pictures written again for frames that failed
    uint64_t pixels = 0;      // decoded luma samples, for the speed figure
    double seconds = 0;

    void CountPicture(uint32_t type, int width, int height);
};

// E.g. "12 pictures (I 1, P 10, D 1, empty 0), 1 error, 1 repeated, 0.05 s,
// 240.0 pictures/s, 1.3 MP/s".
std::string FormatSummary(const RunSummary& summary);

// "1 error", "2 errors": a count with its noun.
std::string CountOf(uint64_t count, const char* singular, const char* plural);

}  // namespace veltrane::tools

#endif
