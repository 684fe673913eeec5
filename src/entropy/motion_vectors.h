// Motion vector prediction from the neighbouring macroblocks.
#ifndef VELTRANE_ENTROPY_MOTION_VECTORS_H
#define VELTRANE_ENTROPY_MOTION_VECTORS_H

#include <cstdint>

#include "core/bit_cursor.h"
#include "core/macroblock_type.h"
#include "entropy/flat_code_tables.h"
#include "veltrane/decoder.h"

namespace veltrane {

// Vector positions: 0 the single vector of a one-vector macroblock, 1..4 the
// upper-left, upper-right, lower-left and lower-right vectors of a four-vector one.
enum VectorPosition {
    kSingleVector = 0,
    kUpperLeft = 1,
    kUpperRight = 2,
    kLowerLeft = 3,
    kLowerRight = 4
};

// Predicts the vector at `position` of macroblock `mbIndex` by the median of its
// left, above and above-right candidates. `width` is the aligned picture width.
void GetMotionVectorPredictor(int mbIndex, int position, int width, int firstRow,
                              const int16_t* mbTypes, const macroblockvec_t* mbVectors,
                              int* predictedX, int* predictedY);

// Brings the sum of a prediction and a difference back into -32..31 (by 64).
constexpr int32_t WrapVector(int32_t sum) {
    return sum > 31 ? sum - 64 : (sum < -32 ? sum + 64 : sum);
}

// GetMotionVectorPredictor with the macroblock's column and the macroblocks per
// row given.
void PredictVector(int mbIndex, int position, int column, int perRow, bool firstRow,
                   const int16_t* mbTypes, const macroblockvec_t* mbVectors, int* predictedX,
                   int* predictedY);

// Reads the four vector differences of a four-vector macroblock at the cursor and
// stores the predicted and wrapped vectors in mbVectors[mbIndex]. A failed lookup
// leaves the field as it was.
void ReadFourMotionVectors(BitCursor& bits, int mbIndex, int column, int perRow,
                           const int16_t* mbTypes, macroblockvec_t* mbVectors, bool firstRow);

inline int32_t MedianOfThree(int32_t a, int32_t b, int32_t c) {
    const int32_t low = a < b ? a : b;
    const int32_t high = a < b ? b : a;
    return c < low ? low : (c > high ? high : c);
}

// The prediction of a single or an upper-left vector: the median of the left,
// above and above-right candidates, absent ones counting as zero, or the left
// one alone where no row lies above. The left candidate of a four-vector
// neighbour is its upper-right vector, the candidates above its lower-left one.
VELTRANE_HOT_INLINE MotionVector_t PredictFromNeighbours(int mbIndex, int column, int perRow,
                                                         bool firstRow, const int16_t* mbTypes,
                                                         const macroblockvec_t* mbVectors) {
    auto candidate = [&](int mb, int fourVector) -> const MotionVector_t& {
        return mbVectors[mb].vectors[mbTypes[mb] == kMacroblockInter4V ? fourVector : 0];
    };
    constexpr MotionVector_t kZero = {0, 0};
    const MotionVector_t& left = column != 0 ? candidate(mbIndex - 1, 1) : kZero;
    // A macroblock row above exists only below the first row; the index check keeps
    // a caller's wrong flag from reaching before the array.
    if (firstRow || mbIndex < perRow) {
        return left;
    }
    const MotionVector_t& above = candidate(mbIndex - perRow, 2);
    const MotionVector_t& aboveRight =
        column != perRow - 1 ? candidate(mbIndex - perRow + 1, 2) : kZero;
    return {MedianOfThree(left.x, above.x, aboveRight.x),
            MedianOfThree(left.y, above.y, aboveRight.y)};
}

// The same for the one vector of any other inter macroblock, into its first vector;
// both differences come from one lookup where they fit the table of pairs.
VELTRANE_HOT_INLINE void ReadOneMotionVector(BitCursor& bits, int mbIndex, int column, int perRow,
                                             const int16_t* mbTypes, macroblockvec_t* mbVectors,
                                             bool firstRow) {
    MotionVector_t& vector = mbVectors[mbIndex].vectors[0];
    const uint32_t pair = kMvdPairs.pairs[bits.Peek() >> (32 - kMvdPairBits)];
    const uint32_t length = pair & 15;
    if (length - 1 < bits.BitsLeft()) {
        bits.Skip(length);
        vector.x = static_cast<int32_t>((pair >> 4) & 63) - 32;
        vector.y = static_cast<int32_t>(pair >> 10) - 32;
    } else {
        bits.Decode(kMvdFlat, &vector.x);
        bits.Decode(kMvdFlat, &vector.y);
    }
    const MotionVector_t prediction =
        PredictFromNeighbours(mbIndex, column, perRow, firstRow, mbTypes, mbVectors);
    vector.x = WrapVector(vector.x + prediction.x);
    vector.y = WrapVector(vector.y + prediction.y);
}

}  // namespace veltrane

#endif
