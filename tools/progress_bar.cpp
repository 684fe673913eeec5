#include "progress_bar.h"

#include <unistd.h>

#include <cstdio>

namespace veltrane::tools {

namespace {
constexpr auto kDelay = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;
}  // namespace

ProgressBar::ProgressBar(const std::string& label, uint32_t total)
    : label_(label),
      total_(total),
      enabled_(isatty(fileno(stderr)) != 0),
      start_(Clock::now()),
      lastDraw_(start_) {}

std::string ProgressBar::Render(const std::string& label, uint32_t done, uint32_t total,
                                double perSecond) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.1f/s", perSecond);
    if (total == 0) {
        return label + " " + std::to_string(done) + "  " + rate;
    }
    const uint32_t clamped = done > total ? total : done;
    const int filled = static_cast<int>(uint64_t{clamped} * kBarWidth / total);
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(kBarWidth - filled), '.');
    return label + " [" + bar + "] " + std::to_string(done) + "/" + std::to_string(total) + "  " +
           rate;
}

void ProgressBar::Update(uint32_t done) {
    if (!enabled_) return;
    const Clock::time_point now = Clock::now();
    if (now - start_ < kDelay || (shown_ && now - lastDraw_ < kInterval)) return;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const std::string text = Render(label_, done, total_, done / seconds);
    std::fprintf(stderr, "\r%s\033[K", text.c_str());
    std::fflush(stderr);
    shown_ = true;
    lastDraw_ = now;
}

void ProgressBar::Clear() {
    if (!shown_) return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    shown_ = false;
}

}  // namespace veltrane::tools
