// Motion vector prediction from the neighbouring macroblocks.
#ifndef VELTRANE_ENTROPY_MOTION_VECTORS_H
#define VELTRANE_ENTROPY_MOTION_VECTORS_H

#include <cstdint>

#include "core/bit_cursor.h"
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

// Reads the macroblock's vector differences at the cursor and stores the
// predicted and wrapped vectors (four for a four-vector macroblock, else one) in
// mbVectors[mbIndex]. A failed lookup leaves the field as it was.
void ReadMotionVectors(BitCursor& bits, int mbIndex, const int16_t* mbTypes,
                       macroblockvec_t* mbVectors, int width, bool firstRow);

}  // namespace veltrane

#endif
