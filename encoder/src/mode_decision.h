// Choice of how a macroblock of a P picture is coded: one vector, four vectors
// or intra, by motion-compensated SAD plus vector bits against intra activity.
#ifndef VELTRANE_ENCODER_MODE_DECISION_H
#define VELTRANE_ENCODER_MODE_DECISION_H

#include "motion_search.h"
#include "picture_coder.h"

namespace veltrane::enc {

enum class MacroblockMode { kInter, kInter4V, kIntra };

struct ModeDecision {
    MacroblockMode mode = MacroblockMode::kInter;
    MotionVector vectors[4];  // kInter uses the first
};

ModeDecision DecideMode(const PictureCoder& coder, int mbIndex, int x, int y, bool firstRow);

// The decoder's prediction for vector `position` (0 single, 1..4 the four
// vectors) of the macroblock, from the side tables as they stand.
MotionVector PredictVector(const PictureCoder& coder, int mbIndex, int position, bool firstRow);

}  // namespace veltrane::enc

#endif
