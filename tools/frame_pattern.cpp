#include "frame_pattern.h"

namespace veltrane::tools {

namespace {
constexpr int kMaxWidth = 32;
}  // namespace

bool FramePattern::Parse(const std::string& pattern, std::string* error) {
    prefix_.clear();
    suffix_.clear();
    width_ = 0;
    zeroPad_ = false;
    bool found = false;
    for (size_t i = 0; i < pattern.size(); ++i) {
        std::string& out = found ? suffix_ : prefix_;
        if (pattern[i] != '%') {
            out.push_back(pattern[i]);
            continue;
        }
        size_t j = i + 1;
        if (j < pattern.size() && pattern[j] == '%') {
            out.push_back('%');
            i = j;
            continue;
        }
        if (found) {
            *error = "'" + pattern + "' has more than one % conversion";
            return false;
        }
        bool zero = false;
        if (j < pattern.size() && pattern[j] == '0') {
            zero = true;
            ++j;
        }
        int width = 0;
        while (j < pattern.size() && pattern[j] >= '0' && pattern[j] <= '9') {
            width = width * 10 + (pattern[j] - '0');
            if (width > kMaxWidth) {
                *error = "'" + pattern + "': field width too large";
                return false;
            }
            ++j;
        }
        if (j >= pattern.size() || (pattern[j] != 'd' && pattern[j] != 'u' && pattern[j] != 'i')) {
            *error = "'" + pattern + "': only %d, %0Nd or %Nd may stand in a pattern";
            return false;
        }
        zeroPad_ = zero;
        width_ = width;
        found = true;
        i = j;
    }
    if (!found) {
        *error = "'" + pattern + "' has no %d for the picture number (e.g. frame%04d.png)";
        return false;
    }
    return true;
}

std::string FramePattern::Format(uint32_t index) const {
    std::string digits = std::to_string(index);
    if (static_cast<int>(digits.size()) < width_) {
        digits.insert(0, static_cast<size_t>(width_) - digits.size(), zeroPad_ ? '0' : ' ');
    }
    return prefix_ + digits + suffix_;
}

}  // namespace veltrane::tools
