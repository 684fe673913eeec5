// Little-endian loads and stores that work on any host byte order.
#ifndef VELTRANE_TOOLS_BYTE_ORDER_H
#define VELTRANE_TOOLS_BYTE_ORDER_H

#include <cstdint>

namespace veltrane::tools {

inline uint16_t LoadLe16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

inline uint32_t LoadLe32(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

inline uint64_t LoadLe64(const uint8_t* p) {
    return uint64_t{LoadLe32(p)} | (uint64_t{LoadLe32(p + 4)} << 32);
}

inline void StoreLe16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

inline void StoreLe32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

inline void StoreLe64(uint8_t* p, uint64_t v) {
    StoreLe32(p, static_cast<uint32_t>(v));
    StoreLe32(p + 4, static_cast<uint32_t>(v >> 32));
}

}  // namespace veltrane::tools

#endif
