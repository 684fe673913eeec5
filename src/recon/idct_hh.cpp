// Inverse DCT of the upper-left 4x4 coefficients of an 8x8 block (the rest are
// taken as zero), with rotation factors of 16 fraction bits.
//
// Each one-dimensional step evaluates, for n = 0..7 and inputs x0..x3,
//   u(n) = x0 cos(pi/4) + x1 cos((2n+1)pi/16) + x2 cos((2n+1)pi/8) + x3 cos(3(2n+1)pi/16),
// which is twice the orthonormal 8-point inverse DCT, as an even and an odd
// half: u(n) = e(n) + o(n) and u(7-n) = e(n) - o(n).
//
// Pass 1 transforms columns 0..3 (rows 0..3) into an 8x4 array held in columns
// 0..3 of the 8x8 int32 workspace, rounded to integers: (sum + 2^15) >> 16.
// Pass 2 transforms each workspace row into 16 times the orthonormal 2-D result
// (four fraction bits), truncated: sum >> 14; the sample is then (x + 8) >> 4,
// which together is the single rounding (sum + 2^17) >> 18.
//
// For coefficients within -2048..2047 pass 1 stays below 7060 in magnitude and
// the pass 2 sums below 7060 * 225656 < 2^31 (225656 is the largest sum of the
// four factors' magnitudes), so nothing overflows. The sums are still formed in
// uint32_t so that out-of-range input wraps instead of overflowing.
#include <cstddef>
#include <cstdint>

#include "recon/idct_1d.h"
#include "veltrane/recon.h"

using veltrane::idct::CombineHalves;
using veltrane::idct::Descale;
using veltrane::idct::Wrap;

namespace {

constexpr uint32_t kCos4 = 46341;  // cos(pi/4) * 65536
constexpr uint32_t kCos1 = 64277;  // cos(pi/16)
constexpr uint32_t kSin1 = 12785;  // sin(pi/16)
constexpr uint32_t kCos3 = 54491;  // cos(3pi/16)
constexpr uint32_t kSin3 = 36410;  // sin(3pi/16)
constexpr uint32_t kCos2 = 60547;  // cos(pi/8)
constexpr uint32_t kSin2 = 25080;  // sin(pi/8)

// Raw sums u(0..7) * 65536 + rounding for the inputs x0..x3.
inline void HalfButterflies(uint32_t x0, uint32_t x1, uint32_t x2, uint32_t x3, uint32_t rounding,
                            uint32_t u[8]) {
    const uint32_t dc = kCos4 * x0 + rounding;
    const uint32_t e0 = dc + kCos2 * x2;
    const uint32_t e1 = dc + kSin2 * x2;
    const uint32_t e2 = dc - kSin2 * x2;
    const uint32_t e3 = dc - kCos2 * x2;
    const uint32_t o0 = kCos1 * x1 + kCos3 * x3;
    const uint32_t o1 = kCos3 * x1 - kSin1 * x3;
    const uint32_t o2 = kSin3 * x1 - kCos1 * x3;
    const uint32_t o3 = kSin1 * x1 - kSin3 * x3;
    CombineHalves(e0, e1, e2, e3, o0, o1, o2, o3, u);
}

constexpr uint32_t kPass1Rounding = 1u << 15;
constexpr int kPass1Shift = 16;
constexpr int kPass2Shift = 14;

inline int16_t FinalSample(int32_t fixed4) {
    return static_cast<int16_t>(Descale(Wrap(fixed4) + 8u, 4));
}

}  // namespace

extern "C" void InvDctFixedPointHH(int32_t* coefficients, int16_t* dst, int stride,
                                   int32_t* workspace) {
    uint32_t u[8];
    for (int c = 0; c < 4; ++c) {
        const int32_t* in = coefficients + c;
        int32_t* col = workspace + c;
        if ((in[8] | in[16] | in[24]) == 0) {
            const int32_t v = Descale(kCos4 * Wrap(in[0]) + kPass1Rounding, kPass1Shift);
            for (int r = 0; r < 8; ++r) {
                col[8 * r] = v;
            }
            continue;
        }
        HalfButterflies(Wrap(in[0]), Wrap(in[8]), Wrap(in[16]), Wrap(in[24]), kPass1Rounding, u);
        for (int r = 0; r < 8; ++r) {
            col[8 * r] = Descale(u[r], kPass1Shift);
        }
    }
    for (int r = 0; r < 8; ++r) {
        const int32_t* row = workspace + 8 * r;
        int16_t* out = dst + static_cast<ptrdiff_t>(r) * stride;
        if ((row[1] | row[2] | row[3]) == 0) {
            const int16_t v = FinalSample(Descale(kCos4 * Wrap(row[0]), kPass2Shift));
            for (int c = 0; c < 8; ++c) {
                out[c] = v;
            }
            continue;
        }
        HalfButterflies(Wrap(row[0]), Wrap(row[1]), Wrap(row[2]), Wrap(row[3]), 0, u);
        for (int c = 0; c < 8; ++c) {
            out[c] = FinalSample(Descale(u[c], kPass2Shift));
        }
    }
}
