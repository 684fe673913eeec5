// Reconstruction of inter macroblocks: prediction of the six 8x8 blocks from
// the reference store plus residual (MotionCompensation), the copy of a
// not-coded macroblock (CopyRefMacroBlock), and the saturation of a whole
// macroblock of 16-bit sums into a store (ClipMacroBlock).
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "recon/mc_kernels.h"
#include "recon/saturate.h"
#include "veltrane/recon.h"

namespace veltrane {
namespace {

// Chroma half-sample increment for the sixteenth-sample fraction of the sum of
// four luma vector components.
constexpr uint8_t kChromaRoundingTable[16] = {0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2};

// Halving a luma vector gives quarter samples of chroma; quarter positions
// move to the half-sample position between them.
inline int ChromaComponentOneVector(int v) {
    const int a = v < 0 ? -v : v;
    const int c = (a >> 1) | ((a & 3) != 0 ? 1 : 0);
    return v < 0 ? -c : c;
}

// `sum` is the sum of the four luma components, i.e. eight times the chroma
// component in sixteenth samples.
inline int ChromaComponentFourVectors(int sum) {
    const int a = sum < 0 ? -sum : sum;
    const int c = kChromaRoundingTable[a & 15] + 2 * (a >> 4);
    return sum < 0 ? -c : c;
}

// Copies `rows` rows of `words` 32-bit words between two planes of one stride.
inline void CopyWords(const unsigned char* src, unsigned char* dst, int stride, int rows,
                      int words) {
    for (int r = 0; r < rows; ++r) {
        for (int w = 0; w < words; ++w) {
            uint32_t word;
            std::memcpy(&word, src + 4 * w, 4);
            std::memcpy(dst + 4 * w, &word, 4);
        }
        src += stride;
        dst += stride;
    }
}

// Saturates `rows` rows of `width` 16-bit values (a multiple of 4) to samples,
// writes them back into the values and stores them into the plane at dst.
inline void ClipRows(int16_t* values, unsigned char* dst, int stride, int rows, int width) {
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < width; c += 4) {
            const uint32_t left = SaturatePixelPair(mc::LoadPair(values + c));
            const uint32_t right = SaturatePixelPair(mc::LoadPair(values + c + 2));
            mc::StorePair(values + c, left);
            mc::StorePair(values + c + 2, right);
            mc::StoreBytes4(dst + c, ((left | (left >> 8)) & 0xFFFFu) |
                                         (((right | (right >> 8)) & 0xFFFFu) << 16));
        }
        values += width;
        dst += stride;
    }
}

}  // namespace
}  // namespace veltrane

int MotionCompensation(int mbIndex, int x, int y, int16_t* mbTypes, macroblockvec_t* mbVectors,
                       unsigned char** refPlanes, unsigned char* curY, unsigned char* curU,
                       unsigned char* curV, int16_t* coefficients, int yStride, int uvStride,
                       unsigned int codedMask) {
    const int type = mbTypes[mbIndex];
    if (type < 0 || type > 2) {
        return kStatusBadMacroblockType;
    }
    const MotionVector_t* vectors = mbVectors[mbIndex].vectors;
    const bool fourVectors = type == 2;

    // Y0, Y1, Y2, Y3: k's bit 0 selects the right column, bit 1 the lower row.
    for (int k = 0; k < 4; ++k) {
        const MotionVector_t& mv = vectors[fourVectors ? k : 0];
        const int dx = 8 * (k & 1);
        const int dy = 8 * (k >> 1);
        unsigned char* dst = curY + static_cast<ptrdiff_t>(dy) * yStride + dx;
        if (codedMask & (8u >> k)) {
            veltrane::CompensateBlock8x8(refPlanes[0], x + dx, y + dy, mv.x, mv.y, dst,
                                         coefficients + 16 * dy + dx, 16, yStride);
        } else {
            veltrane::CompensateBlock8x8Zb(refPlanes[0], x + dx, y + dy, mv.x, mv.y, dst, yStride);
        }
    }

    int cx;
    int cy;
    if (fourVectors) {
        cx = veltrane::ChromaComponentFourVectors(vectors[0].x + vectors[1].x + vectors[2].x +
                                                  vectors[3].x);
        cy = veltrane::ChromaComponentFourVectors(vectors[0].y + vectors[1].y + vectors[2].y +
                                                  vectors[3].y);
    } else {
        cx = veltrane::ChromaComponentOneVector(vectors[0].x);
        cy = veltrane::ChromaComponentOneVector(vectors[0].y);
    }

    const int chromaX = x / 2;
    const int chromaY = y / 2;
    if (codedMask & 0x20u) {
        veltrane::CompensateBlock8x8(refPlanes[1], chromaX, chromaY, cx, cy, curU,
                                     coefficients + 256, 8, uvStride);
    } else {
        veltrane::CompensateBlock8x8Zb(refPlanes[1], chromaX, chromaY, cx, cy, curU, uvStride);
    }
    if (codedMask & 0x10u) {
        veltrane::CompensateBlock8x8(refPlanes[2], chromaX, chromaY, cx, cy, curV,
                                     coefficients + 320, 8, uvStride);
    } else {
        veltrane::CompensateBlock8x8Zb(refPlanes[2], chromaX, chromaY, cx, cy, curV, uvStride);
    }
    return kStatusOk;
}

void CopyRefMacroBlock(unsigned char** refPlanes, int x, int y, unsigned char* curY,
                       unsigned char* curU, unsigned char* curV, int yStride, int uvStride) {
    const ptrdiff_t lumaOffset = static_cast<ptrdiff_t>(y) * yStride + x;
    const ptrdiff_t chromaOffset = static_cast<ptrdiff_t>(y / 2) * uvStride + x / 2;
    veltrane::CopyWords(refPlanes[0] + lumaOffset, curY, yStride, 16, 4);
    veltrane::CopyWords(refPlanes[1] + chromaOffset, curU, uvStride, 8, 2);
    veltrane::CopyWords(refPlanes[2] + chromaOffset, curV, uvStride, 8, 2);
}

void ClipMacroBlock(unsigned char* curY, unsigned char* curU, unsigned char* curV,
                    int16_t* coefficients, int yStride, int uvStride) {
    veltrane::ClipRows(coefficients, curY, yStride, 16, 16);
    veltrane::ClipRows(coefficients + 256, curU, uvStride, 8, 8);
    veltrane::ClipRows(coefficients + 320, curV, uvStride, 8, 8);
}
