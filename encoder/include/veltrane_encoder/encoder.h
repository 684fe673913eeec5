// Reference encoder: writes valid streams of the format libveltrane decodes.
// Its local reconstruction uses the library's own transforms and motion
// compensation, so every picture it reconstructs equals the decoder's output.
#ifndef VELTRANE_ENCODER_ENCODER_H
#define VELTRANE_ENCODER_ENCODER_H

#include <cstdint>
#include <memory>
#include <vector>

namespace veltrane::enc {

// A planar 4:2:0 picture: luma width x height, chroma (width+1)/2 x (height+1)/2.
struct PlaneView {
    const uint8_t* y = nullptr;
    const uint8_t* u = nullptr;
    const uint8_t* v = nullptr;
    int yStride = 0;
    int uvStride = 0;
};

struct EncoderConfig {
    int width = 0;
    int height = 0;
    int version = 0;          // format version 0 or 1 (coefficient escape layout)
    int gopLength = 12;       // an intra picture every gopLength pictures; 1 = all intra
    bool disposable = false;  // every other P picture is disposable (never a reference)
    int quantiser = 10;       // fixed quantiser 1..31, used when targetBitrate is 0
    int targetBitrate = 0;    // bits per second; 0 = fixed quantiser
    double frameRate = 25.0;  // for the bit-rate control
    bool fourVector = true;   // allow four-vector macroblocks
    int searchRange = 15;     // full-sample motion search range, 1..15
};

struct EncodedFrame {
    std::vector<uint8_t> data;  // the compressed frame, starting with its start code
    int pictureType = 0;        // 0 intra, 1 inter, 2 disposable inter
    int quantiser = 0;          // picture quantiser
    double psnrY = 0, psnrU = 0, psnrV = 0;
};

class Encoder {
public:
    explicit Encoder(const EncoderConfig& config);
    ~Encoder();
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    // False when the configuration cannot be encoded (size, version, quantiser).
    bool ok() const;
    // Encodes the next picture of the sequence.
    bool EncodeFrame(const PlaneView& picture, EncodedFrame* out);
    // The picture the decoder reconstructs from the last frame, at the
    // macroblock-aligned size with the decoder's strides.
    PlaneView Reconstruction() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace veltrane::enc

#endif
