#include "real_blocks.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "quantiser.h"
#include "veltrane/recon.h"

namespace veltrane::peer {

namespace {

// Full-sample motion search radius for the inter residuals.
constexpr int kSearchRadius = 7;

struct Plane {
    const uint8_t* samples;
    int width, height;
    uint8_t at(int x, int y) const {
        return samples[static_cast<size_t>(std::clamp(y, 0, height - 1)) * width +
                       std::clamp(x, 0, width - 1)];
    }
};

Plane LumaOf(const tools::YuvPicture& p) { return {p.y.data(), p.width, p.height}; }
Plane ChromaOf(const tools::YuvPicture& p, bool v) {
    return {(v ? p.v : p.u).data(), p.chromaWidth(), p.chromaHeight()};
}

// The full-sample vector of least luma SAD for the 16x16 macroblock at (x, y).
void SearchMacroblock(const Plane& current, const Plane& previous, int x, int y, int* dx, int* dy) {
    int best = std::numeric_limits<int>::max();
    *dx = *dy = 0;
    for (int vy = -kSearchRadius; vy <= kSearchRadius; ++vy) {
        for (int vx = -kSearchRadius; vx <= kSearchRadius; ++vx) {
            int sad = 0;
            for (int r = 0; r < 16 && sad < best; ++r)
                for (int c = 0; c < 16; ++c)
                    sad += std::abs(current.at(x + c, y + r) - previous.at(x + c + vx, y + r + vy));
            if (sad < best) {
                best = sad;
                *dx = vx;
                *dy = vy;
            }
        }
    }
}

// Transforms, quantises and dequantises one block; coded blocks are kept.
void AddIntraBlock(const int16_t samples[64], int q, size_t limit, RealBlocks* blocks) {
    if (blocks->intra.size() >= limit) return;
    CoefficientBlock dct;
    DctFixedPoint(samples, dct.data());
    enc::BlockLevels levels;
    enc::QuantiseIntra(dct.data(), q, enc::MaxLevel(0, q), &levels);
    if (levels.lastScan < 1) return;  // no AC level: the decoder fills the block instead
    CoefficientBlock out{};
    out[0] = 8 * enc::IntraDcValue(dct[0]);
    enc::DequantiseBlock(levels, 1, q, out.data());
    blocks->intra.push_back(out);
}

void AddInterBlock(const int16_t residual[64], int q, size_t limit, RealBlocks* blocks) {
    if (blocks->inter.size() >= limit) return;
    CoefficientBlock dct;
    DctFixedPoint(residual, dct.data());
    enc::BlockLevels levels;
    enc::QuantiseInter(dct.data(), q, enc::MaxLevel(0, q), &levels);
    if (levels.lastScan < 0) return;  // not coded
    InterBlock out{};
    enc::DequantiseBlock(levels, 0, q, out.coefficients.data());
    out.transform = ChooseInterTransform(levels.lastScan);
    blocks->inter.push_back(out);
}

void AddIntraPlane(const Plane& plane, int q, size_t limit, RealBlocks* blocks) {
    int16_t samples[64];
    for (int by = 0; by + 8 <= plane.height; by += 8)
        for (int bx = 0; bx + 8 <= plane.width; bx += 8) {
            for (int i = 0; i < 64; ++i) samples[i] = plane.at(bx + i % 8, by + i / 8);
            AddIntraBlock(samples, q, limit, blocks);
        }
}

// Inter blocks of one picture: each macroblock's vector from the luma search,
// halved (rounded towards zero) for its chroma blocks.
void AddInterPicture(const tools::YuvPicture& current, const tools::YuvPicture& previous, int q,
                     size_t limit, RealBlocks* blocks) {
    const Plane y = LumaOf(current), yRef = LumaOf(previous);
    int16_t residual[64];
    for (int my = 0; my + 16 <= current.height; my += 16)
        for (int mx = 0; mx + 16 <= current.width; mx += 16) {
            int dx, dy;
            SearchMacroblock(y, yRef, mx, my, &dx, &dy);
            for (int b = 0; b < 4; ++b) {
                const int bx = mx + 8 * (b % 2), by = my + 8 * (b / 2);
                for (int i = 0; i < 64; ++i) {
                    const int c = bx + i % 8, r = by + i / 8;
                    residual[i] = static_cast<int16_t>(y.at(c, r) - yRef.at(c + dx, r + dy));
                }
                AddInterBlock(residual, q, limit, blocks);
            }
            for (bool v : {false, true}) {
                const Plane ch = ChromaOf(current, v), chRef = ChromaOf(previous, v);
                for (int i = 0; i < 64; ++i) {
                    const int c = mx / 2 + i % 8, r = my / 2 + i / 8;
                    residual[i] =
                        static_cast<int16_t>(ch.at(c, r) - chRef.at(c + dx / 2, r + dy / 2));
                }
                AddInterBlock(residual, q, limit, blocks);
            }
        }
}

}  // namespace

InterTransform ChooseInterTransform(int lastScan) {
    if (lastScan == 0) return InterTransform::kDcOnly;
    return lastScan <= 8 ? InterTransform::kCorner : InterTransform::kFull;
}

RealBlocks MakeRealBlocks(const std::vector<tools::YuvPicture>& pictures, int intraPeriod,
                          const std::vector<int>& quantisers, size_t limit) {
    RealBlocks blocks;
    for (size_t i = 0; i < pictures.size(); ++i) {
        const int q = quantisers[i % quantisers.size()];
        if (i % static_cast<size_t>(intraPeriod) == 0) {
            AddIntraPlane(LumaOf(pictures[i]), q, limit, &blocks);
            AddIntraPlane(ChromaOf(pictures[i], false), q, limit, &blocks);
            AddIntraPlane(ChromaOf(pictures[i], true), q, limit, &blocks);
        } else {
            AddInterPicture(pictures[i], pictures[i - 1], q, limit, &blocks);
        }
        if (blocks.intra.size() >= limit && blocks.inter.size() >= limit) break;
    }
    return blocks;
}

}  // namespace veltrane::peer
