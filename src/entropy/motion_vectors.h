// Motion vector prediction from the neighbouring macroblocks.
#ifndef VELTRANE_ENTROPY_MOTION_VECTORS_H
#define VELTRANE_ENTROPY_MOTION_VECTORS_H

#include <cstdint>

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

constexpr int16_t kFourVectorType = 2;

// Predicts the vector at `position` of macroblock `mbIndex` by the median of its
// left, above and above-right candidates. `width` is the aligned picture width.
void GetMotionVectorPredictor(int mbIndex, int position, int width, int firstRow,
                              const int16_t* mbTypes, const macroblockvec_t* mbVectors,
                              int* predictedX, int* predictedY);

// Adds a difference to a prediction, keeping the sum within -32..31.
constexpr int32_t WrapVector(int32_t sum) {
    return sum > 31 ? sum - 64 : (sum < -32 ? sum + 64 : sum);
}

}  // namespace veltrane

#endif
