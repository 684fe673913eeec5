// Where the decode command puts its pictures: one Y4M file, or one PNG file per
// picture named by a pattern. A sink keeps the last good picture so that a frame
// that failed to decode can be shown as what a player would still show.
#ifndef VELTRANE_TOOLS_PICTURE_SINK_H
#define VELTRANE_TOOLS_PICTURE_SINK_H

#include <cstdint>
#include <memory>
#include <string>

#include "bgra_picture.h"
#include "frame_pattern.h"
#include "y4m.h"
#include "yuv_picture.h"

namespace veltrane::tools {

struct SinkOptions {
    std::string output;           // OUT.y4m, or a pattern such as frame%04d.png
    bool withAlpha = false;       // PNG with an alpha channel
    uint32_t rateNumerator = 25;  // Y4M frame rate
    uint32_t rateDenominator = 1;
    int fallbackWidth = 0;  // size of the black picture shown before any good one
    int fallbackHeight = 0;
};

class PictureSink {
public:
    virtual ~PictureSink() = default;
    // True when pictures must be handed over as BGRA, false for YUV.
    virtual bool wantsBgra() const = 0;
    // Writes the picture of frame `index`; only the kind the sink wants is read.
    virtual bool Write(uint32_t index, const YuvPicture& yuv, const BgraPicture& bgra,
                       std::string* error) = 0;
    // Writes the last good picture again for frame `index` (black if there is none).
    virtual bool Repeat(uint32_t index, std::string* error) = 0;
    virtual bool Finish(std::string* error) = 0;
};

// Makes the sink that the output name asks for: ".y4m" gives a Y4M file, anything
// else must be a picture pattern ending in ".png".
std::unique_ptr<PictureSink> CreatePictureSink(const SinkOptions& options, std::string* error);

}  // namespace veltrane::tools

#endif
