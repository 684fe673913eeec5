// Bit-rate control: a quantiser per picture from a complexity estimate
// (bits x quantiser of the last picture of the same type) and a virtual buffer,
// and a quantiser per macroblock that steers the picture towards its bit target.
// With no target bit rate every quantiser is the configured one.
#ifndef VELTRANE_ENCODER_RATE_CONTROL_H
#define VELTRANE_ENCODER_RATE_CONTROL_H

#include <cstdint>

namespace veltrane::enc {

class RateControl {
public:
    // bitrate 0 fixes the quantiser at `quant`.
    void Configure(int bitrate, double frameRate, int mbCount, int pixels, int quant);
    bool enabled() const { return bitsPerPicture_ > 0; }

    // Starts a picture and returns its quantiser.
    int StartPicture(bool intra);
    // Quantiser wanted for macroblock `mbIndex`, with `bitsSoFar` bits of the
    // picture's macroblock data written and `quantSum` the sum of the quantisers
    // of the macroblocks before it.
    int MacroblockQuant(int mbIndex, int64_t bitsSoFar, int64_t quantSum) const;
    // Ends the picture: its size in bits and the mean quantiser of its macroblocks.
    void EndPicture(int64_t bits, double meanQuant);

private:
    double bitsPerPicture_ = 0;
    int mbCount_ = 1;
    int pixels_ = 1;
    int fixedQuant_ = 10;
    double buffer_ = 0;              // bits spent beyond the budget so far
    double complexity_[2] = {0, 0};  // bits x quantiser; [0] inter, [1] intra
    bool intra_ = false;
    int pictureQuant_ = 10;
    double target_ = 0;  // bits for the current picture
};

// One DQUANT step from `running` towards `wanted`: the new quantiser (clamped to
// 1..31) and the 2-bit field, or -1 when the quantiser stays.
struct QuantStep {
    int quant;
    int field;
};
QuantStep StepQuant(int running, int wanted);

}  // namespace veltrane::enc

#endif
