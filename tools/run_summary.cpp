#include "run_summary.h"

#include <cstdio>

namespace veltrane::tools {

void RunSummary::CountPicture(uint32_t type, int width, int height) {
    if (type < 4) ++byType[type];
    pixels += static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
}

std::string CountOf(uint64_t count, const char* singular, const char* plural) {
    return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

std::string FormatSummary(const RunSummary& s) {
    const uint32_t decoded = s.byType[0] + s.byType[1] + s.byType[2] + s.byType[3];
    char speed[96];
    if (s.seconds > 0) {
        std::snprintf(speed, sizeof speed, "%.2f s, %.1f pictures/s, %.1f MP/s", s.seconds,
                      decoded / s.seconds, static_cast<double>(s.pixels) / 1e6 / s.seconds);
    } else {
        std::snprintf(speed, sizeof speed, "%.2f s", s.seconds);
    }
    return CountOf(s.pictures, "picture", "pictures") + " (I " + std::to_string(s.byType[0]) +
           ", P " + std::to_string(s.byType[1]) + ", D " + std::to_string(s.byType[2]) +
           ", empty " + std::to_string(s.byType[3]) + "), " + CountOf(s.errors, "error", "errors") +
           ", " + std::to_string(s.repeated) + " repeated, " + speed;
}

}  // namespace veltrane::tools
