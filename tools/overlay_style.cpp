#include "overlay_style.h"

#include <algorithm>
#include <cmath>

#include "core/macroblock_type.h"

namespace veltrane::tools {

// Hues far enough apart to be told apart when half covering a dimmed picture.
const ClassStyle kClassStyles[kMacroblockClassCount] = {
    {"intra", "intra", {235, 45, 45}},       {"intra_q", "intra+q", {255, 150, 20}},
    {"inter", "inter", {40, 105, 250}},      {"inter_q", "inter+q", {30, 215, 225}},
    {"inter_4v", "inter 4V", {40, 200, 60}}, {"skipped", "skipped", {150, 150, 150}},
    {"damaged", "damaged", {240, 0, 240}},   {"not_reached", "not reached", {0, 0, 0}},
};

const Rgb kHeatRamp[kHeatStops] = {
    {20, 20, 110}, {110, 30, 160}, {220, 50, 60}, {250, 160, 30}, {255, 250, 170}};

MacroblockClass ClassOf(const MacroblockRecord& record) {
    if (record.damaged) return MacroblockClass::kDamaged;
    if (record.skipped) return MacroblockClass::kSkipped;
    switch (record.type) {
        case kMacroblockInter:
            return MacroblockClass::kInter;
        case kMacroblockInterQ:
            return MacroblockClass::kInterQ;
        case kMacroblockInter4V:
            return MacroblockClass::kInter4V;
        case kMacroblockIntra:
            return MacroblockClass::kIntra;
        case kMacroblockIntraQ:
            return MacroblockClass::kIntraQ;
        default:
            return MacroblockClass::kDamaged;  // the decoder records no other type
    }
}

Rgb HeatColour(double fraction) {
    const double at = std::clamp(fraction, 0.0, 1.0) * (kHeatStops - 1);
    const int low = std::min(static_cast<int>(at), kHeatStops - 2);
    const double t = at - low;
    auto mix = [t](uint8_t a, uint8_t b) {
        return static_cast<uint8_t>(std::lround(a + (b - a) * t));
    };
    const Rgb& a = kHeatRamp[low];
    const Rgb& b = kHeatRamp[low + 1];
    return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

}  // namespace veltrane::tools
