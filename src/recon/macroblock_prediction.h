// Prediction of a whole inter macroblock, as the picture loop uses it: the six
// blocks are predicted into the current store first, and the decoded residuals
// are then added to them block by block.
#ifndef VELTRANE_RECON_MACROBLOCK_PREDICTION_H
#define VELTRANE_RECON_MACROBLOCK_PREDICTION_H

#include <cstddef>

#include "recon/mc_kernels.h"
#include "veltrane/decoder.h"

namespace veltrane {

// Chroma component of a one-vector macroblock from its luma component: halving
// a luma half-sample vector gives quarter samples of chroma, and quarter
// positions move to the half-sample position between them.
inline int ChromaComponentOneVector(int v) {
    const int a = v < 0 ? -v : v;
    const int c = (a >> 1) | ((a & 3) != 0 ? 1 : 0);
    return v < 0 ? -c : c;
}

// Chroma component of a four-vector macroblock from the sum of its four luma
// components, i.e. eight times the chroma component in sixteenth samples.
inline int ChromaComponentFourVectors(int sum) {
    constexpr unsigned char kChromaRoundingTable[16] = {0, 0, 0, 1, 1, 1, 1, 1,
                                                        1, 1, 1, 1, 1, 1, 2, 2};
    const int a = sum < 0 ? -sum : sum;
    const int c = kChromaRoundingTable[a & 15] + 2 * (a >> 4);
    return sum < 0 ? -c : c;
}

// Writes the prediction of the six blocks of the macroblock at luma position
// (x, y) into the current store: with `fourVectors` each luma block has its own
// vector, otherwise vectors[0] serves the whole macroblock.
void PredictMacroblock(const McKernels& kernels, unsigned char* const* refPlanes, int x, int y,
                       const MotionVector_t* vectors, bool fourVectors, unsigned char* curY,
                       unsigned char* curU, unsigned char* curV, int yStride, int uvStride);

}  // namespace veltrane

#endif
