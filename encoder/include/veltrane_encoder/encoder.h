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
    int width = 0;            // 16..4096
    int height = 0;           // 16..4096
    int version = 0;          // format version 0 or 1 (coefficient escape layout)
    int gopLength = 12;       // an intra picture every gopLength pictures; 1 = all intra,
                              // 0 = only the first picture
    bool disposable = false;  // every other P picture is disposable (never a reference)
    int quantiser = 10;       // fixed quantiser 1..31, used when targetBitrate is 0
    int targetBitrate = 0;    // bits per second; 0 = fixed quantiser
    double frameRate = 25.0;  // for the bit-rate control
    bool fourVector = true;   // allow four-vector macroblocks
    int searchRange = 15;     // full-sample motion search range, 1..15 (15 covers the
                              // whole vector range, -16..15.5 samples)
};

// What the encoder chose, counted per frame and over the whole sequence.
struct EncoderStats {
    int64_t intra = 0;          // intra macroblocks without quantiser change (type 3)
    int64_t intraQ = 0;         // intra macroblocks with DQUANT (type 4)
    int64_t intraInP = 0;       // of those two, the ones in P pictures
    int64_t inter = 0;          // one-vector inter macroblocks (type 0)
    int64_t interQ = 0;         // one-vector inter macroblocks with DQUANT (type 1)
    int64_t inter4v = 0;        // four-vector macroblocks (type 2)
    int64_t skipped = 0;        // not coded (COD = 1)
    int64_t escapes8 = 0;       // version 0 escapes (8-bit level)
    int64_t escapes7 = 0;       // version 1 escapes with a 7-bit level
    int64_t escapes11 = 0;      // version 1 escapes with an 11-bit level
    int64_t clampedLevels = 0;  // levels cut to what the escape and dequantisation can carry

    EncoderStats& operator+=(const EncoderStats& other);
};

struct EncodedFrame {
    std::vector<uint8_t> data;               // the compressed frame, starting with its start code
    int pictureType = 0;                     // 0 intra, 1 inter, 2 disposable inter
    int quantiser = 0;                       // picture quantiser
    double psnrY = 0, psnrU = 0, psnrV = 0;  // over the visible area; 100 when identical
    EncoderStats stats;                      // this frame's choices
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
    // Choices counted over every frame encoded so far.
    const EncoderStats& Statistics() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace veltrane::enc

#endif
