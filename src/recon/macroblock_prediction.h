// Prediction of a whole inter macroblock, as the picture loop uses it: the six
// blocks are predicted into the current store first, and the decoded residuals
// are then added to them block by block.
#ifndef VELTRANE_RECON_MACROBLOCK_PREDICTION_H
#define VELTRANE_RECON_MACROBLOCK_PREDICTION_H

#include <cstddef>
#include <cstdint>

#include "core/bit_cursor.h"
#include "recon/mc_kernels.h"
#include "veltrane/decoder.h"

namespace veltrane {

// Chroma component of a one-vector macroblock from its luma component: halving
// a luma half-sample vector gives quarter samples of chroma, and quarter
// positions move to the half-sample position between them.
constexpr int ChromaComponentOneVector(int v) {
    const int a = v < 0 ? -v : v;
    const int c = (a >> 1) | ((a & 3) != 0 ? 1 : 0);
    return v < 0 ? -c : c;
}

// Chroma component of a four-vector macroblock from the sum of its four luma
// components, i.e. eight times the chroma component in sixteenth samples.
constexpr int ChromaComponentFourVectors(int sum) {
    constexpr unsigned char kChromaRoundingTable[16] = {0, 0, 0, 1, 1, 1, 1, 1,
                                                        1, 1, 1, 1, 1, 1, 2, 2};
    const int a = sum < 0 ? -sum : sum;
    const int c = kChromaRoundingTable[a & 15] + 2 * (a >> 4);
    return sum < 0 ? -c : c;
}

// The one-vector rule for every luma component -32..31, indexed by component + 32.
inline constexpr auto kChromaOfOneVector = [] {
    struct Table {
        int16_t component[64];
    } table{};
    for (int v = -32; v < 32; ++v) {
        table.component[v + 32] = static_cast<int16_t>(ChromaComponentOneVector(v));
    }
    return table;
}();

// The chroma vector of a macroblock, in chroma half-samples, from its luma vectors
// (four, or vectors[0]), whose components lie in -32..31.
VELTRANE_HOT_INLINE MotionVector_t ChromaVectorOf(const MotionVector_t* vectors, bool fourVectors) {
    if (fourVectors) {
        return {
            ChromaComponentFourVectors(vectors[0].x + vectors[1].x + vectors[2].x + vectors[3].x),
            ChromaComponentFourVectors(vectors[0].y + vectors[1].y + vectors[2].y + vectors[3].y)};
    }
    return {kChromaOfOneVector.component[(vectors[0].x + 32) & 63],
            kChromaOfOneVector.component[(vectors[0].y + 32) & 63]};
}

// Pointers to a macroblock's top-left sample in each plane of a store.
struct MacroblockPlanes {
    unsigned char* y;
    unsigned char* u;
    unsigned char* v;

    // To the next macroblock of the row.
    VELTRANE_HOT_INLINE void Advance() {
        y += 16;
        u += 8;
        v += 8;
    }
};

// Writes the prediction of the six blocks of a macroblock into the current store
// (`cur`) from the co-located macroblock of the reference (`ref`): with
// `fourVectors` each luma block has its own vector, otherwise vectors[0] serves
// the whole macroblock.
VELTRANE_HOT_INLINE void PredictMacroblock(const McKernels& kernels, const MacroblockPlanes& ref,
                                           const MotionVector_t* vectors, bool fourVectors,
                                           const MacroblockPlanes& cur, ptrdiff_t yStride,
                                           ptrdiff_t uvStride) {
    if (fourVectors) {
        for (int k = 0; k < 4; ++k) {
            const ptrdiff_t offset = 8 * (k >> 1) * yStride + 8 * (k & 1);
            const MotionVector_t& mv = vectors[k];
            kernels.predict8[McPhaseOf(mv.x, mv.y)](Displaced(ref.y + offset, mv.x, mv.y, yStride),
                                                    cur.y + offset, yStride);
        }
    } else {
        const MotionVector_t& mv = vectors[0];
        kernels.predict16[McPhaseOf(mv.x, mv.y)](Displaced(ref.y, mv.x, mv.y, yStride), cur.y,
                                                 yStride);
    }
    const MotionVector_t c = ChromaVectorOf(vectors, fourVectors);
    kernels.predictChroma[McPhaseOf(c.x, c.y)](Displaced(ref.u, c.x, c.y, uvStride),
                                               Displaced(ref.v, c.x, c.y, uvStride), cur.u, cur.v,
                                               uvStride);
}

}  // namespace veltrane

#endif
