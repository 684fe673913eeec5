// A progress bar on stderr for long runs. It draws only when stderr is a
// terminal, appears after the first half second and redraws at most ten times
// a second, so short runs and logs stay clean.
#ifndef VELTRANE_TOOLS_PROGRESS_BAR_H
#define VELTRANE_TOOLS_PROGRESS_BAR_H

#include <chrono>
#include <cstdint>
#include <string>

namespace veltrane::tools {

class ProgressBar {
public:
    // `total` 0 means unknown: the bar then shows the count alone.
    ProgressBar(const std::string& label, uint32_t total);
    ~ProgressBar() { Clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Update(uint32_t done);
    // Removes the bar from the screen, e.g. before a message is printed.
    void Clear();

    // The bar's text for a given state, without terminal control characters.
    static std::string Render(const std::string& label, uint32_t done, uint32_t total,
                              double perSecond);

private:
    using Clock = std::chrono::steady_clock;

    std::string label_;
    uint32_t total_;
    bool enabled_;
    bool shown_ = false;
    Clock::time_point start_;
    Clock::time_point lastDraw_;
};

}  // namespace veltrane::tools

#endif
