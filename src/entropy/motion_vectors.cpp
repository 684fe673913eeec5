// Motion vector decoding: MVD codes added to the median prediction, wrapped by 64.
#include "entropy/motion_vectors.h"

#include "core/macroblock_type.h"
#include "entropy/code_tables.h"
#include "entropy/flat_code_tables.h"
#include "veltrane/entropy.h"
#include "veltrane/support.h"

namespace veltrane {

namespace {

constexpr MotionVector_t kZero = {0, 0};

// The vector of macroblock `mb` that borders on the candidate position: `fourVector`
// names the block used when the macroblock has four vectors.
const MotionVector_t* Neighbour(const int16_t* mbTypes, const macroblockvec_t* mbVectors, int mb,
                                int fourVector) {
    return &mbVectors[mb].vectors[mbTypes[mb] == kMacroblockInter4V ? fourVector : 0];
}

}  // namespace

void GetMotionVectorPredictor(int mbIndex, int position, int width, int firstRow,
                              const int16_t* mbTypes, const macroblockvec_t* mbVectors,
                              int* predictedX, int* predictedY) {
    const int perRow = width / 16;
    const int column = perRow > 0 ? mbIndex % perRow : 0;
    PredictVector(mbIndex, position, column, perRow, firstRow != 0, mbTypes, mbVectors, predictedX,
                  predictedY);
}

void PredictVector(int mbIndex, int position, int column, int perRow, bool firstRow,
                   const int16_t* mbTypes, const macroblockvec_t* mbVectors, int* predictedX,
                   int* predictedY) {
    // A macroblock row above exists only below the first row; the index check keeps
    // a caller's wrong flag from reaching before the array.
    const bool aboveRow = !firstRow && mbIndex >= perRow;
    const bool left = column != 0;
    const bool above = aboveRow;
    const bool aboveRight = aboveRow && column != perRow - 1;
    const MotionVector_t* own = mbVectors[mbIndex].vectors;

    const MotionVector_t* l = nullptr;
    const MotionVector_t* a = nullptr;
    const MotionVector_t* r = nullptr;
    switch (position) {
        case kSingleVector:
        case kUpperLeft:
            if (left) l = Neighbour(mbTypes, mbVectors, mbIndex - 1, 1);
            if (above) a = Neighbour(mbTypes, mbVectors, mbIndex - perRow, 2);
            if (aboveRight) r = Neighbour(mbTypes, mbVectors, mbIndex - perRow + 1, 2);
            break;
        case kUpperRight:
            l = &own[0];
            if (above) a = Neighbour(mbTypes, mbVectors, mbIndex - perRow, 3);
            if (aboveRight) r = Neighbour(mbTypes, mbVectors, mbIndex - perRow + 1, 2);
            break;
        case kLowerLeft:
            if (left) l = Neighbour(mbTypes, mbVectors, mbIndex - 1, 3);
            a = &own[0];
            r = &own[1];
            break;
        default:
            l = &own[2];
            a = &own[0];
            r = &own[1];
            break;
    }
    const MotionVector_t& lv = l ? *l : kZero;
    if (position <= kUpperRight && a == nullptr && r == nullptr) {
        *predictedX = lv.x;
        *predictedY = lv.y;
        return;
    }
    const MotionVector_t& av = a ? *a : kZero;
    const MotionVector_t& rv = r ? *r : kZero;
    *predictedX = MedianOfThree(lv.x, av.x, rv.x);
    *predictedY = MedianOfThree(lv.y, av.y, rv.y);
}

namespace {

// Reads the difference of the vector at `position` of macroblock mbIndex and
// stores the predicted and wrapped vector in mbVectors[mbIndex].
void ReadMotionVector(BitCursor& bits, int mbIndex, int position, int column, int perRow,
                      const int16_t* mbTypes, macroblockvec_t* mbVectors, bool firstRow) {
    MotionVector_t& vector =
        mbVectors[mbIndex].vectors[position == kSingleVector ? 0 : position - 1];
    ReadVectorDifferences(bits, vector);
    int px;
    int py;
    PredictVector(mbIndex, position, column, perRow, firstRow, mbTypes, mbVectors, &px, &py);
    vector.x = WrapVector(vector.x + px);
    vector.y = WrapVector(vector.y + py);
}

}  // namespace

void ReadFourMotionVectors(BitCursor& bits, int mbIndex, int column, int perRow,
                           const int16_t* mbTypes, macroblockvec_t* mbVectors, bool firstRow) {
    for (int position = kUpperLeft; position <= kLowerRight; ++position) {
        ReadMotionVector(bits, mbIndex, position, column, perRow, mbTypes, mbVectors, firstRow);
    }
}

}  // namespace veltrane

// The decoder's MVD tree and the flat MVD table map every bit pattern alike.
void GetMotionVectors(DecodeInstance_t* /*decoder*/, int mbIndex, int16_t* mbTypes,
                      macroblockvec_t* mbVectors, fifo_t* fifo, int width, int32_t firstRow) {
    using namespace veltrane;
    BitCursor bits(*fifo);
    const int perRow = width / 16;
    const int column = perRow > 0 ? mbIndex % perRow : 0;
    if (mbTypes[mbIndex] == kMacroblockInter4V) {
        ReadFourMotionVectors(bits, mbIndex, column, perRow, mbTypes, mbVectors, firstRow != 0);
    } else {
        ReadMotionVector(bits, mbIndex, kSingleVector, column, perRow, mbTypes, mbVectors,
                         firstRow != 0);
    }
    bits.StoreTo(*fifo);
}
