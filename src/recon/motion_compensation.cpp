// Reconstruction of inter macroblocks: prediction of the six 8x8 blocks from
// the reference store plus residual (MotionCompensation), the copy of a
// not-coded macroblock (CopyRefMacroBlock), and the saturation of a whole
// macroblock of 16-bit sums into a store (ClipMacroBlock).
#include <cstddef>
#include <cstdint>

#include "core/macroblock_type.h"
#include "recon/macroblock_prediction.h"
#include "recon/mc_kernels.h"
#include "recon/mc_word_ops.h"
#include "recon/saturate.h"
#include "veltrane/recon.h"

namespace veltrane {
namespace {

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
    using namespace veltrane;
    const int type = mbTypes[mbIndex];
    if (type < kMacroblockInter || type > kMacroblockInter4V) {
        return kStatusBadMacroblockType;
    }
    const McKernels& kernels = *ActiveMcKernels();
    const MotionVector_t* vectors = mbVectors[mbIndex].vectors;
    const bool fourVectors = type == kMacroblockInter4V;

    // Y0, Y1, Y2, Y3: k's bit 0 selects the right column, bit 1 the lower row.
    for (int k = 0; k < 4; ++k) {
        const MotionVector_t& mv = vectors[fourVectors ? k : 0];
        const int dx = 8 * (k & 1);
        const int dy = 8 * (k >> 1);
        unsigned char* dst = curY + static_cast<ptrdiff_t>(dy) * yStride + dx;
        if (codedMask & (8u >> k)) {
            CompensateBlock8x8(kernels, refPlanes[0], x + dx, y + dy, mv.x, mv.y, dst,
                               coefficients + 16 * dy + dx, 16, yStride);
        } else {
            CompensateBlock8x8Zb(kernels, refPlanes[0], x + dx, y + dy, mv.x, mv.y, dst, yStride);
        }
    }

    const MotionVector_t c = ChromaVectorOf(vectors, fourVectors);
    if (codedMask & 0x20u) {
        CompensateBlock8x8(kernels, refPlanes[1], x / 2, y / 2, c.x, c.y, curU, coefficients + 256,
                           8, uvStride);
    } else {
        CompensateBlock8x8Zb(kernels, refPlanes[1], x / 2, y / 2, c.x, c.y, curU, uvStride);
    }
    if (codedMask & 0x10u) {
        CompensateBlock8x8(kernels, refPlanes[2], x / 2, y / 2, c.x, c.y, curV, coefficients + 320,
                           8, uvStride);
    } else {
        CompensateBlock8x8Zb(kernels, refPlanes[2], x / 2, y / 2, c.x, c.y, curV, uvStride);
    }
    return kStatusOk;
}

void CopyRefMacroBlock(unsigned char** refPlanes, int x, int y, unsigned char* curY,
                       unsigned char* curU, unsigned char* curV, int yStride, int uvStride) {
    const veltrane::McKernels& kernels = *veltrane::ActiveMcKernels();
    const ptrdiff_t lumaOffset = static_cast<ptrdiff_t>(y) * yStride + x;
    const ptrdiff_t chromaOffset = static_cast<ptrdiff_t>(y / 2) * uvStride + x / 2;
    kernels.predict16[veltrane::kPhaseCopy](refPlanes[0] + lumaOffset, curY, yStride);
    kernels.predictChroma[veltrane::kPhaseCopy](refPlanes[1] + chromaOffset,
                                                refPlanes[2] + chromaOffset, curU, curV, uvStride);
}

void ClipMacroBlock(unsigned char* curY, unsigned char* curU, unsigned char* curV,
                    int16_t* coefficients, int yStride, int uvStride) {
    veltrane::ClipRows(coefficients, curY, yStride, 16, 16);
    veltrane::ClipRows(coefficients + 256, curU, uvStride, 8, 8);
    veltrane::ClipRows(coefficients + 320, curV, uvStride, 8, 8);
}
