#include "md5.h"

#include <cstring>

#include "byte_order.h"

namespace veltrane::tools {

namespace {

// Per-step shift amounts and the sines table of RFC 1321, round by round.
constexpr int kShift[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                            5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                            4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                            6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

constexpr uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

uint32_t RotateLeft(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

}  // namespace

Md5::Md5() : state_{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, buffer_{} {}

void Md5::Transform(const uint8_t block[64]) {
    uint32_t words[16];
    for (int i = 0; i < 16; ++i) words[i] = LoadLe32(block + 4 * i);
    uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
    for (int i = 0; i < 64; ++i) {
        uint32_t f;
        int g;
        switch (i / 16) {
            case 0:
                f = (b & c) | (~b & d);
                g = i;
                break;
            case 1:
                f = (d & b) | (~d & c);
                g = (5 * i + 1) % 16;
                break;
            case 2:
                f = b ^ c ^ d;
                g = (3 * i + 5) % 16;
                break;
            default:
                f = c ^ (b | ~d);
                g = (7 * i) % 16;
                break;
        }
        const uint32_t rotated = RotateLeft(a + f + kSines[i] + words[g], kShift[i]);
        a = d;
        d = c;
        c = b;
        b += rotated;
    }
    state_[0] += a;
    state_[1] += b;
    state_[2] += c;
    state_[3] += d;
}

void Md5::Update(const uint8_t* data, size_t size) {
    size_t used = static_cast<size_t>(length_ % 64);
    length_ += size;
    if (used != 0) {
        const size_t take = size < 64 - used ? size : 64 - used;
        std::memcpy(buffer_ + used, data, take);
        data += take;
        size -= take;
        used += take;
        if (used < 64) return;
        Transform(buffer_);
    }
    for (; size >= 64; data += 64, size -= 64) Transform(data);
    std::memcpy(buffer_, data, size);
}

std::string Md5::HexDigest() {
    const uint64_t bits = length_ * 8;
    uint8_t padding[72] = {0x80};
    const size_t used = static_cast<size_t>(length_ % 64);
    const size_t padBytes = (used < 56 ? 56 : 120) - used;
    StoreLe64(padding + padBytes, bits);
    Update(padding, padBytes + 8);
    static const char kHex[] = "0123456789abcdef";
    std::string hex;
    for (uint32_t word : state_) {
        for (int i = 0; i < 4; ++i) {
            const auto byte = static_cast<uint8_t>(word >> (8 * i));
            hex.push_back(kHex[byte >> 4]);
            hex.push_back(kHex[byte & 15]);
        }
    }
    return hex;
}

}  // namespace veltrane::tools
