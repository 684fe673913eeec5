#include "interleaved_comparison.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace veltrane::peer {

namespace {

double TimePasses(const std::function<void()>& work, int passes) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < passes; ++i) work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

double Quantile(std::vector<double> values, double q) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const double position = q * static_cast<double>(values.size() - 1);
    const size_t below = static_cast<size_t>(std::floor(position));
    const size_t above = std::min(below + 1, values.size() - 1);
    const double fraction = position - static_cast<double>(below);
    return values[below] + (values[above] - values[below]) * fraction;
}

Comparison CompareInterleaved(const TimingPlan& plan, const std::function<void()>& ours,
                              const std::function<void()>& theirs) {
    // The warm-up passes also size the rounds: enough passes that the faster
    // side runs for the minimum time.
    const double fastest = std::max(1e-9, std::min(TimePasses(ours, 1), TimePasses(theirs, 1)));
    const int passes =
        std::clamp(static_cast<int>(std::ceil(plan.minSecondsPerSide / fastest)), 1, 1000000);
    std::vector<double> ratios, oursTimes, theirsTimes;
    for (int round = 0; round < plan.rounds; ++round) {
        double tOurs, tTheirs;
        if (round % 2 == 0) {
            tOurs = TimePasses(ours, passes);
            tTheirs = TimePasses(theirs, passes);
        } else {
            tTheirs = TimePasses(theirs, passes);
            tOurs = TimePasses(ours, passes);
        }
        ratios.push_back(tOurs / tTheirs);
        oursTimes.push_back(tOurs / passes);
        theirsTimes.push_back(tTheirs / passes);
    }
    Comparison result;
    result.ratio = Quantile(ratios, 0.5);
    result.lowRatio = Quantile(ratios, 0.25);
    result.highRatio = Quantile(ratios, 0.75);
    result.oursSeconds = Quantile(oursTimes, 0.5);
    result.theirsSeconds = Quantile(theirsTimes, 0.5);
    result.rounds = plan.rounds;
    result.passesPerRound = passes;
    return result;
}

}  // namespace veltrane::peer
