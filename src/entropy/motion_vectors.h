// Motion vector prediction from the neighbouring macroblocks.
#ifndef VELTRANE_ENTROPY_MOTION_VECTORS_H
#define VELTRANE_ENTROPY_MOTION_VECTORS_H

#include <cstdint>

#include "core/bit_cursor.h"
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

// The two differences of a one-vector macroblock, into `vector`: both from one
// lookup where they fit the table of pairs. A failed lookup leaves the field as
// it was.
VELTRANE_HOT_INLINE void ReadVectorDifferences(BitCursor& bits, MotionVector_t& vector) {
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
}

// Adds a prediction to the difference in `vector` and wraps the sum as
// WrapVector does, where both lie in -32..31, as everywhere in a picture: their
// sum lies in -64..62, where the wrap is a mask.
VELTRANE_HOT_INLINE void AddPredictionInRange(MotionVector_t& vector,
                                              const MotionVector_t& prediction) {
    vector.x = ((vector.x + prediction.x + 32) & 63) - 32;
    vector.y = ((vector.y + prediction.y + 32) & 63) - 32;
}

// The candidates of the one-vector prediction as a picture loop walks the
// macroblocks in raster order: the left neighbour's, and for each column the
// one the macroblock above offers (entry `column`) with the one above-right next
// to it. Each macroblock hands its own on when it is done, so that a prediction
// costs no look at the neighbours' types. Skipped and intra macroblocks offer
// zero.
struct VectorCandidates {
    static constexpr int kMaxColumns = VELTRANE_MAX_DIMENSION / 16;
    MotionVector_t left;
    MotionVector_t above[kMaxColumns + 1];  // the last entry, beyond the row, stays zero

    // Before the first row: nothing above, nothing to the left.
    explicit VectorCandidates(int columns) : left{0, 0} {
        for (int c = 0; c <= columns; ++c) above[c] = {0, 0};
    }

    VELTRANE_HOT_INLINE void StartRow() { left = {0, 0}; }

    // The prediction of the vector of the macroblock at `column`: the left
    // candidate alone in the first row, else the median of the three.
    VELTRANE_HOT_INLINE MotionVector_t Predict(int column, bool firstRow) const {
        if (firstRow) {
            return left;
        }
        const MotionVector_t& a = above[column];
        const MotionVector_t& r = above[column + 1];
        return {MedianOfThree(left.x, a.x, r.x), MedianOfThree(left.y, a.y, r.y)};
    }

    // The macroblock at `column` is done: its upper-right vector (four vectors)
    // or its one vector becomes the left candidate, its lower-left one or its one
    // vector the candidate above for the row below.
    VELTRANE_HOT_INLINE void Offer(int column, const MotionVector_t* vectors, bool fourVectors) {
        left = vectors[fourVectors ? 1 : 0];
        above[column] = vectors[fourVectors ? 2 : 0];
    }
    VELTRANE_HOT_INLINE void OfferZero(int column) {
        left = {0, 0};
        above[column] = {0, 0};
    }
};

}  // namespace veltrane

#endif
