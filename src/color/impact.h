// Per-pixel steps over the packed colour tables, shared by the BGRA conversion
// and the blits: the impact sum of one pixel, its saturation, and the packers
// that turn a saturated sum into output pixels.
//
// A sum holds three 10-bit channel fields: blue in bits 2..11, green in bits
// 12..21, red in bits 22..31. After saturation the channel bytes are bits 2..9,
// 12..19 and 22..29; the packers pick those bits and ignore the rest.
#ifndef VELTRANE_COLOR_IMPACT_H
#define VELTRANE_COLOR_IMPACT_H

#include <cstdint>

#include "veltrane/color.h"

namespace veltrane {

// Removes the +256 bias that each field of a U entry and of a V entry carries.
inline constexpr uint32_t kChromaBiasRemoval = 0x7FDFF800u;

// Bit 8 of each field: set when a channel left 0..255 (either way).
inline constexpr uint32_t kOutOfRangeBits = 0x40100400u;

// The part of a sum that depends on the chroma pair only; formed once for all
// pixels sharing that pair.
inline uint32_t ChromaImpact(const ColorConverter_t& converter, uint8_t u, uint8_t v) {
    return converter.vImpact[v] + converter.uImpact[u] + kChromaBiasRemoval;
}

inline uint32_t ImpactSum(const ColorConverter_t& converter, uint8_t y, uint8_t u, uint8_t v) {
    return converter.yImpact[y] + ChromaImpact(converter, u, v);
}

// Clamps each field to 0..255. A negative field has borrowed one from the field
// above it, so blue is repaired before green is looked at, and green before red.
inline uint32_t SaturateImpactSum(uint32_t s) {
    if ((s & kOutOfRangeBits) == 0) {
        return s;
    }
    if (s & 0x400u) {
        s = (s & 0x800u) ? (s & ~0x3FFu) + 0x400u : s | 0x3FFu;
    }
    if (s & 0x100000u) {
        s = (s & 0x200000u) ? (s & ~0xFFC00u) + 0x100000u : s | 0xFFC00u;
    }
    if (s & 0x40000000u) {
        s = (s & 0x80000000u) ? (s & ~0x3FF00000u) + 0x40000000u : (s | 0x3FF00000u) & 0x3FFFFFFFu;
    }
    return s;
}

inline uint32_t RedOf(uint32_t s) { return (s >> 22) & 0xFFu; }
inline uint32_t GreenOf(uint32_t s) { return (s >> 12) & 0xFFu; }
inline uint32_t BlueOf(uint32_t s) { return (s >> 2) & 0xFFu; }

// 0x00RRGGBB of a saturated sum.
inline uint32_t PackRGB(uint32_t s) {
    return ((s >> 6) & 0xFF0000u) | ((s >> 4) & 0xFF00u) | ((s >> 2) & 0xFFu);
}

// Opaque 0xFFRRGGBB.
inline uint32_t PackOpaque(uint32_t s) { return 0xFF000000u | PackRGB(s); }

// 0xAARRGGBB with every colour byte capped at the alpha byte; alpha 0 gives 0.
inline uint32_t PackWithAlpha(uint32_t s, uint32_t alpha) {
    if (alpha == 0) {
        return 0;
    }
    uint32_t r = RedOf(s);
    uint32_t g = GreenOf(s);
    uint32_t b = BlueOf(s);
    r = alpha < r ? alpha : r;
    g = alpha < g ? alpha : g;
    b = alpha < b ? alpha : b;
    return (alpha << 24) | (r << 16) | (g << 8) | b;
}

// 16-bit layouts: the top bits of each channel, truncated.
inline uint16_t PackRGB555(uint32_t s) {
    return static_cast<uint16_t>(((s >> 15) & 0x7C00u) | ((s >> 10) & 0x3E0u) | ((s >> 5) & 0x1Fu));
}

inline uint16_t PackRGB565(uint32_t s) {
    return static_cast<uint16_t>(((s >> 14) & 0xF800u) | ((s >> 9) & 0x7C0u) | ((s >> 5) & 0x1Fu));
}

inline uint16_t PackARGB4444(uint32_t s) {
    return static_cast<uint16_t>(0xF000u | ((s >> 18) & 0xF00u) | ((s >> 12) & 0xF0u) |
                                 ((s >> 6) & 0xFu));
}

// Any other format code: green's top five bits in 11..15, blue's in 0..4, no red.
inline uint16_t PackGreenBlue(uint32_t s) {
    return static_cast<uint16_t>(((s >> 4) & 0xF800u) | ((s >> 5) & 0x1Fu));
}

template <int kFormat>
inline uint16_t Pack16(uint32_t s) {
    if constexpr (kFormat == ePixelFormatRGB555) {
        return PackRGB555(s);
    } else if constexpr (kFormat == ePixelFormatRGB565) {
        return PackRGB565(s);
    } else if constexpr (kFormat == ePixelFormatARGB4444) {
        return PackARGB4444(s);
    } else {
        return PackGreenBlue(s);
    }
}

}  // namespace veltrane

#endif
