// File name patterns for picture sequences, printf style: "frame%04d.png" names
// picture 7 "frame0007.png". A pattern holds exactly one %d conversion (with an
// optional 0 flag and width); "%%" stands for a percent sign.
#ifndef VELTRANE_TOOLS_FRAME_PATTERN_H
#define VELTRANE_TOOLS_FRAME_PATTERN_H

#include <cstdint>
#include <string>

namespace veltrane::tools {

class FramePattern {
public:
    // False, with the reason in `error`, when the pattern is not usable.
    bool Parse(const std::string& pattern, std::string* error);
    std::string Format(uint32_t index) const;

private:
    std::string prefix_;
    std::string suffix_;
    int width_ = 0;
    bool zeroPad_ = false;
};

}  // namespace veltrane::tools

#endif
