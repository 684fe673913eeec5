// How the analyze views classify and colour macroblocks. The PNG and SVG
// overlays and the HTML report both take their colours from here.
#ifndef VELTRANE_TOOLS_OVERLAY_STYLE_H
#define VELTRANE_TOOLS_OVERLAY_STYLE_H

#include <cstdint>

#include "core/picture_decoder.h"

namespace veltrane::tools {

enum class MacroblockClass : uint8_t {
    kIntra,
    kIntraQ,
    kInter,
    kInterQ,
    kInter4V,
    kSkipped,
    kDamaged,     // decoded after the reader's error: its content cannot be trusted
    kNotReached,  // the decoder stopped before it
};
constexpr int kMacroblockClassCount = 8;

struct Rgb {
    uint8_t red, green, blue;
};

struct ClassStyle {
    const char* key;    // short name, also the name of the class in the report's data
    const char* label;  // as the legend shows it
    Rgb colour;
};

extern const ClassStyle kClassStyles[kMacroblockClassCount];

inline const ClassStyle& StyleOf(MacroblockClass c) { return kClassStyles[static_cast<int>(c)]; }

MacroblockClass ClassOf(const MacroblockRecord& record);

// The picture is dimmed by black at this opacity; macroblock fills and the heat
// map cover it at kFillOpacity.
constexpr double kPictureDim = 0.45;
constexpr double kFillOpacity = 0.5;

// The heat map's colour for `fraction` (0..1) of the picture's most expensive
// macroblock, along a ramp from dark blue over red to pale yellow.
constexpr int kHeatStops = 5;
extern const Rgb kHeatRamp[kHeatStops];
Rgb HeatColour(double fraction);

}  // namespace veltrane::tools

#endif
