// Side-by-side timing on a shared, noisy machine: the two sides run in turn in
// one process, round after round, and each round yields the ratio of their
// times; the median of the ratios is the result and their quartiles its spread.
#ifndef VELTRANE_BENCH_PEER_INTERLEAVED_COMPARISON_H
#define VELTRANE_BENCH_PEER_INTERLEAVED_COMPARISON_H

#include <functional>
#include <vector>

namespace veltrane::peer {

struct Comparison {
    double ratio = 0;                           // median of ours / theirs; below 1: we are faster
    double lowRatio = 0, highRatio = 0;         // first and third quartile of the ratios
    double oursSeconds = 0, theirsSeconds = 0;  // median time of one pass of each
    int rounds = 0;
    int passesPerRound = 0;
};

struct TimingPlan {
    int rounds = 15;
    // Each side runs for at least this long per round (passes are repeated).
    double minSecondsPerSide = 0.05;
};

// Runs `ours` and `theirs` alternately, round by round (which side goes first
// alternates too, so neither always meets the other's cache state), after one
// untimed warm-up pass of each.
Comparison CompareInterleaved(const TimingPlan& plan, const std::function<void()>& ours,
                              const std::function<void()>& theirs);

// The q-quantile (0..1) of `values` with linear interpolation; 0 for none.
double Quantile(std::vector<double> values, double q);

}  // namespace veltrane::peer

#endif
