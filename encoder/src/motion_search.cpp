#include "motion_search.h"

#include <cstdlib>

#include "entropy/motion_vectors.h"
#include "vlc_codes.h"

namespace veltrane::enc {

namespace {

constexpr int kMinWhole = kMinVector / 2;  // -16 samples
constexpr int kMaxWhole = kMaxVector / 2;  // 15 samples
constexpr int kBlockSearchRadius = 2;

// SAD against the prediction of phase (kHx, kHy), computed as the decoder's kernels do.
template <int kSize, int kHx, int kHy>
int PhaseSad(const uint8_t* s, int ss, const uint8_t* r, int rs, int limit) {
    int sum = 0;
    for (int row = 0; row < kSize; ++row) {
        const uint8_t* below = r + rs;
        for (int c = 0; c < kSize; ++c) {
            int p;
            if (kHx && kHy) {
                p = (r[c] + r[c + 1] + below[c] + below[c + 1] + 2) >> 2;
            } else if (kHx) {
                p = (r[c] + r[c + 1] + 1) >> 1;
            } else if (kHy) {
                p = (r[c] + below[c] + 1) >> 1;
            } else {
                p = r[c];
            }
            sum += std::abs(s[c] - p);
        }
        if (sum > limit) return sum;
        s += ss;
        r += rs;
    }
    return sum;
}

template <int kSize>
int SizedSad(const SearchArea& area, MotionVector v, int limit) {
    const uint8_t* r = area.reference + (v.y >> 1) * area.referenceStride + (v.x >> 1);
    const uint8_t* s = area.source;
    const int ss = area.sourceStride;
    const int rs = area.referenceStride;
    switch (((v.x & 1) << 1) | (v.y & 1)) {
        case 0:
            return PhaseSad<kSize, 0, 0>(s, ss, r, rs, limit);
        case 1:
            return PhaseSad<kSize, 0, 1>(s, ss, r, rs, limit);
        case 2:
            return PhaseSad<kSize, 1, 0>(s, ss, r, rs, limit);
        default:
            return PhaseSad<kSize, 1, 1>(s, ss, r, rs, limit);
    }
}

bool InRange(MotionVector v) {
    return v.x >= kMinVector && v.x <= kMaxVector && v.y >= kMinVector && v.y <= kMaxVector;
}

int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// Evaluates `v` and keeps it in `best` when it costs less.
void Try(const SearchArea& area, int size, const MotionSearchParams& params, MotionVector v,
         MotionCandidate* best) {
    const int bitsCost = params.lambda * VectorBits(v, params.predictor);
    if (bitsCost >= best->cost) return;
    const int sad = BlockSad(area, size, v, best->cost - bitsCost);
    if (sad + bitsCost < best->cost) {
        best->vector = v;
        best->sad = sad;
        best->cost = sad + bitsCost;
    }
}

void RefineHalfSample(const SearchArea& area, int size, const MotionSearchParams& params,
                      MotionCandidate* best) {
    const MotionVector centre = best->vector;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const MotionVector v{centre.x + dx, centre.y + dy};
            if ((dx != 0 || dy != 0) && InRange(v)) Try(area, size, params, v, best);
        }
    }
}

MotionCandidate Evaluate(const SearchArea& area, int size, const MotionSearchParams& params,
                         MotionVector v) {
    MotionCandidate c;
    c.vector = v;
    c.sad = BlockSad(area, size, v, 1 << 30);
    c.cost = c.sad + params.lambda * VectorBits(v, params.predictor);
    return c;
}

}  // namespace

int BlockSad(const SearchArea& area, int size, MotionVector v, int limit) {
    return size == 8 ? SizedSad<8>(area, v, limit) : SizedSad<16>(area, v, limit);
}

int VectorBits(MotionVector v, MotionVector predictor) {
    return MvdBits(WrapVector(v.x - predictor.x)) + MvdBits(WrapVector(v.y - predictor.y));
}

MotionCandidate SearchMacroblock(const SearchArea& area, const MotionSearchParams& params) {
    const int range = Clamp(params.range, 1, kMaxWhole);
    const int lo = range == kMaxWhole ? kMinWhole : -range;
    const int hi = range;
    // Start from the zero vector, so ties keep it, then the predictor.
    MotionCandidate best = Evaluate(area, 16, params, MotionVector{});
    Try(area, 16, params,
        MotionVector{2 * Clamp(params.predictor.x >> 1, lo, hi),
                     2 * Clamp(params.predictor.y >> 1, lo, hi)},
        &best);
    for (int iy = lo; iy <= hi; ++iy) {
        for (int ix = lo; ix <= hi; ++ix)
            Try(area, 16, params, MotionVector{2 * ix, 2 * iy}, &best);
    }
    RefineHalfSample(area, 16, params, &best);
    return best;
}

MotionCandidate SearchBlock(const SearchArea& area, const MotionSearchParams& params,
                            MotionVector centre) {
    const int cx = centre.x >> 1;
    const int cy = centre.y >> 1;
    MotionCandidate best = Evaluate(area, 8, params, centre);
    for (int iy = cy - kBlockSearchRadius; iy <= cy + kBlockSearchRadius; ++iy) {
        for (int ix = cx - kBlockSearchRadius; ix <= cx + kBlockSearchRadius; ++ix) {
            const MotionVector v{2 * ix, 2 * iy};
            if (InRange(v)) Try(area, 8, params, v, &best);
        }
    }
    RefineHalfSample(area, 8, params, &best);
    return best;
}

}  // namespace veltrane::enc
