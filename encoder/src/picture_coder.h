// Encoding of the macroblock data of one picture, with the local reconstruction
// into the current frame store and the decoder's side tables kept alongside.
#ifndef VELTRANE_ENCODER_PICTURE_CODER_H
#define VELTRANE_ENCODER_PICTURE_CODER_H

#include <cstdint>
#include <vector>

#include "bit_writer.h"
#include "planes.h"
#include "rate_control.h"
#include "veltrane/decoder.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::enc {

struct PictureCoder {
    // Sequence-wide inputs.
    int alignedWidth = 0;
    int alignedHeight = 0;
    int version = 0;
    bool fourVector = true;
    int searchRange = 15;
    PaddedSource* source = nullptr;
    FrameStore* current = nullptr;    // the picture is reconstructed here
    FrameStore* reference = nullptr;  // P pictures only
    RateControl* rateControl = nullptr;
    // The decoder's per-macroblock side tables, for vector prediction and motion
    // compensation.
    std::vector<int16_t>* mbTypes = nullptr;
    std::vector<macroblockvec_t>* mbVectors = nullptr;
    int16_t* residual = nullptr;  // 384 entries

    // Per picture.
    BitWriter* writer = nullptr;
    int quant = 0;          // running quantiser, starts at the picture quantiser
    int64_t quantSum = 0;   // over the macroblocks done, for the rate control
    int64_t dataStart = 0;  // writer position where the macroblock data begins
    EncoderStats* stats = nullptr;

    // Quantiser for macroblock `mbIndex` and its DQUANT field (-1: none), as the
    // rate control wants it.
    QuantStep NextQuant(int mbIndex) const {
        const int64_t bits = static_cast<int64_t>(writer->BitCount()) - dataStart;
        return StepQuant(quant, rateControl->MacroblockQuant(mbIndex, bits, quantSum));
    }
};

void EncodeIntraPicture(PictureCoder& coder);
void EncodePPicture(PictureCoder& coder);

}  // namespace veltrane::enc

#endif
