// The colour converter: three packed tables for BT.601 video-range YCbCr to
// full-range RGB in 8-bit fixed point. Each entry carries its contribution to
// red, green and blue in one word (see impact.h for the field layout).
#include <cstdint>

#include "veltrane/allocator.h"
#include "veltrane/color.h"

namespace {

int32_t Clamp(int32_t value, int32_t low, int32_t high) {
    return value < low ? low : (value > high ? high : value);
}

// Fields must lie in 0..1023, so each entry's fields add without carries.
uint32_t PackImpact(int32_t red, int32_t green, int32_t blue) {
    return (static_cast<uint32_t>(red) << 22) | (static_cast<uint32_t>(green) << 12) |
           (static_cast<uint32_t>(blue) << 2);
}

// Chroma terms carry +256 so that every field stays non-negative.
constexpr int32_t kChromaBias = 256;

}  // namespace

ColorConverter_t* OpenColorConverter(IAllocator* allocator) {
    auto* converter =
        static_cast<ColorConverter_t*>(IAllocator_Malloc(allocator, sizeof(ColorConverter_t)));
    if (converter == nullptr) {
        return nullptr;
    }
    SetYImpact(converter->yImpact);
    SetUVImpact(converter->uImpact, converter->vImpact);
    return converter;
}

void CloseColorConverter(ColorConverter_t* converter) { IAllocator_Free(converter); }

void SetYImpact(uint32_t* table) {
    for (int32_t i = 0; i < 256; ++i) {
        // 4767 = 298 * 16 - 1: luma 16 maps to 0 and luma 235 to 254.
        const int32_t t = (298 * Clamp(i, 16, 235) - 4767) >> 8;
        table[i] = PackImpact(t, t, t);
    }
}

void SetUVImpact(uint32_t* uTable, uint32_t* vTable) {
    for (int32_t i = 0; i < 256; ++i) {
        const int32_t c = Clamp(i - 128, -112, 112);
        uTable[i] = PackImpact(kChromaBias, ((-100 * c + 128) >> 8) + kChromaBias,
                               ((516 * c) >> 8) + kChromaBias);
        vTable[i] = PackImpact(((409 * c + 128) >> 8) + kChromaBias,
                               ((-208 * c + 128) >> 8) + kChromaBias, kChromaBias);
    }
}
