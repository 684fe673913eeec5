// Coefficient blocks as the decoder meets them, made from natural pictures: the
// forward transform of 8x8 blocks of a picture (intra) or of its difference from
// the motion-compensated picture before (inter), quantised by the reference
// encoder's quantiser and dequantised with the decoder's rule.
#ifndef VELTRANE_BENCH_PEER_REAL_BLOCKS_H
#define VELTRANE_BENCH_PEER_REAL_BLOCKS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "yuv_picture.h"

namespace veltrane::peer {

using CoefficientBlock = std::array<int32_t, 64>;  // row-major, row = vertical frequency

// Which inverse transform the decoder runs on a coded inter block, by the scan
// index of its last non-zero coefficient.
enum class InterTransform { kDcOnly, kCorner, kFull };

struct InterBlock {
    CoefficientBlock coefficients;
    InterTransform transform;
};

struct RealBlocks {
    std::vector<CoefficientBlock> intra;  // coded intra blocks (at least one AC level)
    std::vector<InterBlock> inter;        // coded inter blocks
};

// Blocks of every plane of `pictures`: picture i is intra when i % intraPeriod
// is 0, and takes quantiser quantisers[i % size]. Stops after `limit` blocks of
// each kind.
RealBlocks MakeRealBlocks(const std::vector<tools::YuvPicture>& pictures, int intraPeriod,
                          const std::vector<int>& quantisers, std::size_t limit);

// The transform the decoder picks for a coded inter block whose last non-zero
// level has scan index `lastScan`.
InterTransform ChooseInterTransform(int lastScan);

}  // namespace veltrane::peer

#endif
