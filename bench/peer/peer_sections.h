// The parts of the peer benchmark, run in this order by main: checks that the
// stream pairs decode to the same pictures on both sides, then the timed
// comparisons.
#ifndef VELTRANE_BENCH_PEER_PEER_SECTIONS_H
#define VELTRANE_BENCH_PEER_PEER_SECTIONS_H

#include <string>
#include <vector>

#include "interleaved_comparison.h"
#include "report.h"
#include "stream_list.h"
#include "veltrane/allocator.h"

namespace veltrane::peer {

struct BenchContext {
    const std::vector<StreamPair>* pairs;
    TimingPlan plan;
    IAllocator* allocator;
    Report* report;
};

// "352x288, 0.20 bpp": a pair's size and the measured rate of our stream.
std::string SizeAndRate(const StreamPair& pair);

// Decodes every pair once on both sides: picture counts, sizes, our statuses,
// quality against the source and matched bytes. Returns the Markdown table of
// the streams.
std::string CheckStreamPairs(const BenchContext& context);
// Whole decode, and whole decode + BGRA, of every pair.
void CompareWholeDecoding(const BenchContext& context);
// BGRA conversion alone on pictures our decoder made, at 352x288 and 1280x720
// (at the first pair's size when neither is listed).
void CompareBgraConversion(const BenchContext& context);
// The 8x8 inverse transform on coefficient blocks made from the source pictures
// of the 352x288 pair (or the first pair).
void CompareInverseDct(const BenchContext& context);

}  // namespace veltrane::peer

#endif
