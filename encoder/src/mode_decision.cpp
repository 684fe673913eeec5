#include "mode_decision.h"

#include <cstdlib>

#include "entropy/motion_vectors.h"

namespace veltrane::enc {

namespace {

constexpr int kIntraBias = 500;         // intra must beat the best inter SAD by this much
constexpr int kFourVectorBiasBits = 4;  // MCBPC and CBPY cost a little more with four vectors

// Sum of absolute deviations from the mean over the 16x16 luma block.
int IntraActivity(const uint8_t* luma, int stride) {
    int sum = 0;
    for (int r = 0; r < 16; ++r) {
        for (int c = 0; c < 16; ++c) sum += luma[r * stride + c];
    }
    const int mean = (sum + 128) >> 8;
    int activity = 0;
    for (int r = 0; r < 16; ++r) {
        for (int c = 0; c < 16; ++c) activity += std::abs(luma[r * stride + c] - mean);
    }
    return activity;
}

// Bits of the four vector differences, each predicted from the ones before it as
// the decoder does. Leaves the macroblock's vectors zero again.
int FourVectorBits(const PictureCoder& coder, int mbIndex, bool firstRow,
                   const MotionVector* vectors) {
    MotionVector_t* own = (*coder.mbVectors)[static_cast<size_t>(mbIndex)].vectors;
    int bits = 0;
    for (int k = 0; k < 4; ++k) {
        bits += VectorBits(vectors[k], PredictVector(coder, mbIndex, k + 1, firstRow));
        own[k] = {vectors[k].x, vectors[k].y};
    }
    for (int k = 0; k < 4; ++k) own[k] = {0, 0};
    return bits;
}

}  // namespace

MotionVector PredictVector(const PictureCoder& coder, int mbIndex, int position, bool firstRow) {
    int px = 0;
    int py = 0;
    GetMotionVectorPredictor(mbIndex, position, coder.alignedWidth, firstRow ? 1 : 0,
                             coder.mbTypes->data(), coder.mbVectors->data(), &px, &py);
    return {px, py};
}

ModeDecision DecideMode(const PictureCoder& coder, int mbIndex, int x, int y, bool firstRow) {
    const PaddedSource& source = *coder.source;
    const BorderedPlane& reference = coder.reference->y;
    const int lambda = coder.quant;
    SearchArea area{source.y.data() + y * source.yStride + x, source.yStride,
                    reference.origin() + y * reference.stride() + x, reference.stride()};
    const MotionVector predictor = PredictVector(coder, mbIndex, kSingleVector, firstRow);
    const MotionCandidate one =
        SearchMacroblock(area, MotionSearchParams{coder.searchRange, lambda, predictor});

    ModeDecision decision;
    decision.vectors[0] = one.vector;
    int bestSad = one.sad;
    if (coder.fourVector) {
        MotionVector vectors[4];
        int sad = 0;
        for (int k = 0; k < 4; ++k) {
            const int offset = 8 * (k >> 1) * area.sourceStride + 8 * (k & 1);
            const SearchArea block{
                area.source + offset, area.sourceStride,
                area.reference + 8 * (k >> 1) * area.referenceStride + 8 * (k & 1),
                area.referenceStride};
            const MotionCandidate c = SearchBlock(
                block, MotionSearchParams{coder.searchRange, lambda, one.vector}, one.vector);
            vectors[k] = c.vector;
            sad += c.sad;
        }
        const int cost4 = sad + lambda * (FourVectorBits(coder, mbIndex, firstRow, vectors) +
                                          kFourVectorBiasBits);
        if (cost4 < one.cost) {
            decision.mode = MacroblockMode::kInter4V;
            for (int k = 0; k < 4; ++k) decision.vectors[k] = vectors[k];
            bestSad = sad;
        }
    }
    if (IntraActivity(area.source, area.sourceStride) + kIntraBias < bestSad) {
        decision.mode = MacroblockMode::kIntra;
    }
    return decision;
}

}  // namespace veltrane::enc
