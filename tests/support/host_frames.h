// Compressed frames for host-level tests, built bit by bit: intra pictures whose
// macroblocks all carry the same six DC values and no coefficients, inter
// pictures that skip every macroblock, and the frame tag in front.
#ifndef VELTRANE_TESTS_HOST_FRAMES_H
#define VELTRANE_TESTS_HOST_FRAMES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "support/bit_writer.h"

namespace veltrane::test {

enum PictureType { kIntra = 0, kInter = 1, kDisposable = 2, kEmpty = 3 };

// DC values of the four luma blocks, Cb and Cr; 255 stands for 128.
using BlockDcs = std::array<uint8_t, 6>;

// Start code, version 0, temporal reference 0, the size (a fixed source format
// where one fits), picture type, deblocking 0, quantiser 8, no extra information.
inline void PutPictureHeader(BitWriter& bits, int width, int height, int type) {
    bits.Put(1, 17).Put(0, 5).Put(0, 8);
    static constexpr int kFixed[][3] = {
        {2, 352, 288}, {3, 176, 144}, {4, 128, 96}, {5, 320, 240}, {6, 160, 120}};
    int code = width < 256 && height < 256 ? 0 : 1;
    for (const auto& f : kFixed) {
        if (f[1] == width && f[2] == height) code = f[0];
    }
    bits.Put(code, 3);
    if (code == 0) bits.Put(width, 8).Put(height, 8);
    if (code == 1) bits.Put(width, 16).Put(height, 16);
    bits.Put(type, 2).Put(0, 1).Put(8, 5).Put(0, 1);
}

inline int MacroblockCount(int width, int height) {
    return ((width + 15) / 16) * ((height + 15) / 16);
}

// Every macroblock: MCBPC '1' (intra, no chroma coded), CBPY '0011' (no luma
// coded), then the six INTRADC bytes.
inline std::vector<uint8_t> IntraFrame(int width, int height, const BlockDcs& dcs) {
    BitWriter bits;
    PutPictureHeader(bits, width, height, kIntra);
    for (int mb = 0; mb < MacroblockCount(width, height); ++mb) {
        bits.Bits("1").Bits("0011");
        for (uint8_t dc : dcs) bits.Put(dc, 8);
    }
    return bits.AlignZero().bytes();
}

// An inter or disposable picture whose macroblocks are all skipped (COD 1), or
// one of type 3: the header alone.
inline std::vector<uint8_t> SkipFrame(int width, int height, int type = kInter) {
    BitWriter bits;
    PutPictureHeader(bits, width, height, type);
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
inline constexpr Colour kWhite = {
    {235, 235, 235, 235, 255, 255}, 0xFFFEFEFEu, 0x7FFF, 0xFFDF, 0xFFFF};

}  // namespace veltrane::test

#endif
