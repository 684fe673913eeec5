// Compressed frames for host-level tests, built bit by bit without the library's
// code tables (the test host does not link the library): intra pictures whose
// macroblocks all carry the same six DC values and no coefficients, inter
// pictures that skip every macroblock, and the frame tag in front.
#ifndef VELTRANE_TESTS_HOST_FRAMES_H
#define VELTRANE_TESTS_HOST_FRAMES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "support/stream_builder.h"

namespace veltrane::test {

enum PictureType { kIntra = 0, kInter = 1, kDisposable = 2, kEmpty = 3 };

// DC values of the four luma blocks, Cb and Cr; 255 stands for 128.
using BlockDcs = std::array<uint8_t, 6>;

// Every macroblock: MCBPC '1' (intra, no chroma coded), CBPY '0011' (no luma
// coded), then the six INTRADC bytes, dc(i, b) for block b of macroblock i.
template <typename DcFn>
std::vector<uint8_t> IntraFrame(int width, int height, DcFn dc) {
    BitWriter bits;
    WritePictureHeader(bits, FieldsForSize(width, height, kIntra, 8));
    for (int mb = 0; mb < MacroblockCount(width, height); ++mb) {
        bits.Bits("1").Bits("0011");
        for (int b = 0; b < 6; ++b) bits.Put(dc(mb, b), 8);
    }
    return bits.AlignZero().bytes();
}
inline std::vector<uint8_t> IntraFrame(int width, int height, const BlockDcs& dcs) {
    return IntraFrame(width, height, [&](int, int b) { return dcs[b]; });
}

// An inter or disposable picture whose macroblocks are all skipped (COD 1), or
// one of type 3: the header alone.
inline std::vector<uint8_t> SkipFrame(int width, int height, int type = kInter) {
    BitWriter bits;
    WritePictureHeader(bits, FieldsForSize(width, height, type, 8));
    if (type != kEmpty) {
        for (int mb = 0; mb < MacroblockCount(width, height); ++mb) bits.Put(1, 1);
    }
    return bits.AlignZero().bytes();
}

inline std::vector<uint8_t> Tagged(const std::vector<uint8_t>& frame, uint8_t tag = 0x12) {
    std::vector<uint8_t> out(frame.size() + 1, tag);
    std::copy(frame.begin(), frame.end(), out.begin() + 1);
    return out;
}

// Expected pixels of a few uniform pictures (BT.601 video range to full range).
struct Colour {
    BlockDcs dcs;
    uint32_t argb;
    uint16_t rgb555, rgb565, argb4444;
};
inline constexpr Colour kGrey = {
    {255, 255, 255, 255, 255, 255}, 0xFF828282u, 0x4210, 0x8410, 0xF888};
inline constexpr Colour kRed = {{81, 81, 81, 81, 90, 240}, 0xFFFE0000u, 0x7C00, 0xF800, 0xFF00};

}  // namespace veltrane::test

#endif
