// Luma motion estimation: full search over whole-sample displacements, then
// half-sample refinement, for the whole macroblock and for its four 8x8 blocks.
// Costs are SAD plus lambda times the bits of the vector difference.
#ifndef VELTRANE_ENCODER_MOTION_SEARCH_H
#define VELTRANE_ENCODER_MOTION_SEARCH_H

#include <cstdint>

namespace veltrane::enc {

constexpr int kMinVector = -32;  // half samples
constexpr int kMaxVector = 31;

struct MotionVector {
    int x = 0;
    int y = 0;
};

struct SearchArea {
    const uint8_t* source;  // the source block's top-left sample
    int sourceStride;
    const uint8_t* reference;  // the co-located sample of the bordered reference plane
    int referenceStride;
};

// SAD of a size x size block (8 or 16) against the reference displaced by `v`
// (half samples, interpolated like the decoder's prediction); stops counting once
// the sum exceeds `limit`.
int BlockSad(const SearchArea& area, int size, MotionVector v, int limit);

struct MotionSearchParams {
    int range;               // whole samples searched either way, 1..15; 15 covers -16..15
    int lambda;              // weight of one vector bit
    MotionVector predictor;  // for the vector cost
};

struct MotionCandidate {
    MotionVector vector;
    int sad = 0;
    int cost = 0;  // sad + lambda x vector bits
};

// Best 16x16 vector of the macroblock.
MotionCandidate SearchMacroblock(const SearchArea& area, const MotionSearchParams& params);

// Best 8x8 vector of one block, searched +-2 samples around `centre` and refined.
MotionCandidate SearchBlock(const SearchArea& area, const MotionSearchParams& params,
                            MotionVector centre);

// Bits of the MVD codes for `v` predicted by `predictor` (difference wrapped by 64).
int VectorBits(MotionVector v, MotionVector predictor);

}  // namespace veltrane::enc

#endif
