// Where the decode command puts its pictures: a Y4M file, a raw I420 file (both
// also on stdout), one PNG file per picture named by a pattern, or an MD5 of
// the pictures. Sinks write what they are given; the caller decides which
// picture a frame gets (a failed frame gets the last good one again).
#ifndef VELTRANE_TOOLS_PICTURE_SINK_H
#define VELTRANE_TOOLS_PICTURE_SINK_H

#include <cstdint>
#include <memory>
#include <string>

#include "bgra_picture.h"
#include "yuv_picture.h"

namespace veltrane::tools {

enum class OutputFormat { kY4m, kI420, kPng };

// Works out the format of `output` ("-" is stdout): ".y4m" and "-" give Y4M,
// ".yuv" raw I420, a pattern such as frame%04d.png PNG files; `i420` asks for
// raw I420 under any name that is not Y4M or PNG. Every refusal is a usage
// error: a name of no known kind, a PNG pattern without its number, a raw
// format asked of a .y4m or .png name, alpha in a format that cannot carry it.
bool ParseOutputFormat(const std::string& output, bool i420, bool withAlpha, OutputFormat* format,
                       std::string* error);

struct SinkOptions {
    std::string output;  // as accepted by ParseOutputFormat
    OutputFormat format = OutputFormat::kY4m;
    bool withAlpha = false;       // PNG with an alpha channel
    uint32_t rateNumerator = 25;  // Y4M frame rate
    uint32_t rateDenominator = 1;
};

class PictureSink {
public:
    virtual ~PictureSink() = default;
    // True when pictures must be handed over as BGRA, false for YUV.
    virtual bool wantsBgra() const = 0;
    // Writes the picture of frame `index`; only the kind the sink wants is read.
    virtual bool Write(uint32_t index, const YuvPicture& yuv, const BgraPicture& bgra,
                       std::string* error) = 0;
    virtual bool Finish(std::string* error) = 0;
};

std::unique_ptr<PictureSink> CreatePictureSink(const SinkOptions& options);

// The MD5 of the pictures as raw I420 (what OUT.yuv would hold), printed on
// stdout by Finish as "DIGEST  NAME", the layout of md5sum.
std::unique_ptr<PictureSink> CreateMd5Sink(const std::string& name);

}  // namespace veltrane::tools

#endif
