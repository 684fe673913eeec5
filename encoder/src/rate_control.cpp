#include "rate_control.h"

#include <cmath>

namespace veltrane::enc {

namespace {

constexpr double kIntraWeight = 3.0;     // an intra picture's share of the budget
constexpr double kBufferPictures = 4.0;  // pictures over which a buffer error is repaid
constexpr int kMaxQuantRise = 8;         // macroblock quantiser range around the picture's
constexpr int kMaxQuantFall = 4;

int ClampQuant(double q) {
    const long rounded = std::lround(q);
    return rounded < 1 ? 1 : (rounded > 31 ? 31 : static_cast<int>(rounded));
}

double Clamp(double v, double lo, double hi) { return v < lo ? lo : (v > hi ? hi : v); }

}  // namespace

void RateControl::Configure(int bitrate, double frameRate, int mbCount, int pixels, int quant) {
    bitsPerPicture_ = bitrate > 0 && frameRate > 0 ? bitrate / frameRate : 0;
    mbCount_ = mbCount > 0 ? mbCount : 1;
    pixels_ = pixels > 0 ? pixels : 1;
    fixedQuant_ = quant;
    pictureQuant_ = quant;
}

int RateControl::StartPicture(bool intra) {
    intra_ = intra;
    if (!enabled()) {
        pictureQuant_ = fixedQuant_;
        return pictureQuant_;
    }
    const double share = intra ? kIntraWeight : 1.0;
    target_ = Clamp(share * bitsPerPicture_ - buffer_ / kBufferPictures,
                    0.25 * share * bitsPerPicture_, 2.0 * share * bitsPerPicture_);
    double complexity = complexity_[intra ? 1 : 0];
    if (complexity <= 0 && !intra) complexity = complexity_[1] / kIntraWeight;
    if (complexity > 0) {
        pictureQuant_ = ClampQuant(complexity / target_);
    } else {
        // No picture seen yet: a starting point from the bits per pixel.
        const double bpp = target_ / pixels_;
        pictureQuant_ = bpp > 1.0 ? 4 : (bpp > 0.5 ? 8 : (bpp > 0.2 ? 14 : 22));
    }
    return pictureQuant_;
}

int RateControl::MacroblockQuant(int mbIndex, int64_t bitsSoFar, int64_t quantSum) const {
    if (!enabled() || mbIndex < 2 || mbIndex * 10 < mbCount_) return pictureQuant_;
    // Bits scale roughly with 1 / quantiser: the quantiser that would make the rest
    // of the picture fit the rest of the budget, at the pace seen so far.
    const double done = mbIndex;
    const double meanQuant = static_cast<double>(quantSum) / done;
    const double projected = static_cast<double>(bitsSoFar) / done * (mbCount_ - done);
    const double remaining = std::fmax(target_ - static_cast<double>(bitsSoFar), 0.05 * target_);
    const double wanted = meanQuant * projected / remaining;
    return ClampQuant(Clamp(wanted, pictureQuant_ - kMaxQuantFall, pictureQuant_ + kMaxQuantRise));
}

void RateControl::EndPicture(int64_t bits, double meanQuant) {
    if (!enabled()) return;
    complexity_[intra_ ? 1 : 0] = static_cast<double>(bits) * meanQuant;
    buffer_ += static_cast<double>(bits) - bitsPerPicture_;
}

QuantStep StepQuant(int running, int wanted) {
    // Small differences are left alone so the quantiser does not hunt.
    const int difference = wanted - running;
    if (difference >= -1 && difference <= 1) return {running, -1};
    const int step = difference < -1 ? -2 : 2;
    int quant = running + step;
    quant = quant < 1 ? 1 : (quant > 31 ? 31 : quant);
    if (quant == running) return {running, -1};
    const int change = quant - running;  // -2, -1, 1 or 2 after the clamp
    static constexpr int kField[5] = {1, 0, -1, 2, 3};
    return {quant, kField[change + 2]};
}

}  // namespace veltrane::enc
