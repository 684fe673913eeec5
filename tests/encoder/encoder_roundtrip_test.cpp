// The decisive check: every picture the library decodes from the encoder's
// output equals the encoder's own reconstruction, sample for sample. Also the
// encoder's reported PSNR, its quality against the quantiser, its rate control,
// the source format it writes and the configurations it refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/test_decoder.h"
#include "support/test_sequence.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::test {
namespace {

using enc::EncodedFrame;
using enc::EncoderConfig;
using enc::EncoderStats;

double Psnr(const uint8_t* a, int as, const uint8_t* b, int bs, int w, int h) {
    double sse = 0;
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) sse += std::pow(a[r * as + c] - b[r * bs + c], 2);
    }
    return sse == 0 ? 100 : 10 * std::log10(255.0 * 255.0 * w * h / sse);
}

// The aligned Y, U and V samples of a picture, back to back (as TestDecoder::Decoded).
std::vector<uint8_t> Samples(const enc::PlaneView& p, int alignedWidth, int alignedHeight) {
    std::vector<uint8_t> out;
    for (int k = 0; k < 3; ++k) {
        const uint8_t* plane = k == 0 ? p.y : k == 1 ? p.u : p.v;
        const int stride = k == 0 ? p.yStride : p.uvStride, w = alignedWidth >> (k != 0);
        for (int r = 0; r < alignedHeight >> (k != 0); ++r)
            out.insert(out.end(), plane + r * stride, plane + r * stride + w);
    }
    return out;
}

// Encodes `frames` frames of the test sequence and decodes each one. The
// reported PSNR covers the visible picture only, with chroma of
// (width + 1) / 2 x (height + 1) / 2, compared with what the decoder shows.
void EncodeAndCompare(const EncoderConfig& config, int frames, int sceneChange, EncoderStats* stats,
                      std::vector<EncodedFrame>* encoded = nullptr) {
    enc::Encoder encoder(config);
    ASSERT_TRUE(encoder.ok());
    TestSequence sequence(config.width, config.height, sceneChange);
    TestDecoder decoder(config.width, config.height);
    const int w = config.width, h = config.height, cw = (w + 1) / 2, ch = (h + 1) / 2;
    for (int k = 0; k < frames; ++k) {
        const enc::PlaneView s = sequence.Frame(k);
        EncodedFrame frame;
        ASSERT_TRUE(encoder.EncodeFrame(s, &frame));
        uint32_t attributes[3] = {9, 0, 0};  // picture type, width, height
        ASSERT_EQ(GetFrameAttributes(decoder.get(), frame.data.data(),
                                     static_cast<uint32_t>(frame.data.size()), &attributes[0],
                                     &attributes[1], &attributes[2]),
                  0);
        EXPECT_EQ(std::vector<uint32_t>(attributes, attributes + 3),
                  (std::vector<uint32_t>{uint32_t(frame.pictureType), uint32_t(w), uint32_t(h)}));
        ASSERT_EQ(decoder.Decode(frame.data), 0) << "frame " << k;
        ASSERT_TRUE(decoder.Decoded() ==
                    Samples(encoder.Reconstruction(), (w + 15) & ~15, (h + 15) & ~15))
            << "frame " << k << " type " << frame.pictureType;
        const enc::PlaneView d{decoder.planes[0], decoder.planes[1], decoder.planes[2],
                               decoder.yStride, decoder.uvStride};
        EXPECT_NEAR(frame.psnrY, Psnr(s.y, s.yStride, d.y, d.yStride, w, h), 1e-9);
        EXPECT_NEAR(frame.psnrU, Psnr(s.u, s.uvStride, d.u, d.uvStride, cw, ch), 1e-9);
        EXPECT_NEAR(frame.psnrV, Psnr(s.v, s.uvStride, d.v, d.uvStride, cw, ch), 1e-9);
        if (encoded) encoded->push_back(frame);
    }
    *stats = encoder.Statistics();
}

struct RoundTripCase {
    int width, height, version;
    bool disposable;
    int bitrate;  // 0: fixed quantiser 8
    int frames;
    int format;  // the source format: fixed for its sizes, else 8-bit or 16-bit size fields
};

class EncoderRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(EncoderRoundTrip, DecoderOutputEqualsReconstruction) {
    const RoundTripCase& c = GetParam();
    EncoderConfig config;
    config.width = c.width;
    config.height = c.height;
    config.version = c.version;
    config.disposable = c.disposable;
    config.targetBitrate = c.bitrate;
    config.quantiser = 8;
    config.gopLength = 6;
    EncoderStats stats;
    std::vector<EncodedFrame> frames;
    EncodeAndCompare(config, c.frames, 4, &stats, &frames);
    if (HasFatalFailure()) return;
    int disposable = 0;
    for (const EncodedFrame& f : frames) disposable += f.pictureType == 2;
    EXPECT_EQ(disposable > 0, c.disposable && c.frames > 2);
    EXPECT_EQ(((frames[0].data[3] & 3) << 1) | (frames[0].data[4] >> 7), c.format);  // bits 30..32
    EXPECT_GT(stats.inter + stats.interQ + stats.inter4v, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, EncoderRoundTrip,
    ::testing::Values(
        RoundTripCase{176, 144, 0, false, 0, 8, 3}, RoundTripCase{176, 144, 1, true, 0, 8, 3},
        RoundTripCase{100, 60, 1, false, 60000, 8, 0}, RoundTripCase{33, 17, 0, true, 0, 8, 0},
        RoundTripCase{45, 27, 1, false, 0, 3, 0}, RoundTripCase{16, 16, 1, false, 0, 6, 0},
        RoundTripCase{160, 120, 0, true, 80000, 8, 6}, RoundTripCase{128, 96, 1, false, 0, 6, 4},
        RoundTripCase{320, 240, 0, false, 0, 3, 5}, RoundTripCase{255, 255, 1, false, 0, 3, 0},
        RoundTripCase{272, 20, 0, true, 0, 6, 1}, RoundTripCase{352, 288, 1, true, 300000, 5, 2}),
    [](const auto& info) {
        const RoundTripCase& c = info.param;
        return std::to_string(c.width) + "x" + std::to_string(c.height) + "_v" +
               std::to_string(c.version) + (c.disposable ? "_disposable" : "") +
               (c.bitrate ? "_rate" : "");
    });

// With the rate control steering the quantiser along the picture, a moving
// sequence with a scene change inside a GOP uses every macroblock type; without
// the four-vector mode only one vector per macroblock is sent.
TEST(EncoderModes, EveryMacroblockTypeOccursAndDecodes) {
    for (int version = 0; version <= 2; ++version) {
        SCOPED_TRACE(version);
        EncoderConfig config;
        config.width = 176;
        config.height = 144;
        config.version = version & 1;
        config.targetBitrate = 150000;
        config.gopLength = 10;
        config.disposable = true;
        config.fourVector = version < 2;
        EncoderStats s;
        EncodeAndCompare(config, 12, 6, &s);
        if (HasFatalFailure()) return;
        EXPECT_GT(std::min({s.intra, s.intraQ, s.intraInP, s.inter, s.interQ, s.skipped}), 0);
        EXPECT_EQ(s.inter4v > 0, version < 2);
    }
}

// Quantisers 1 and 31 in both versions; at 1 the intra levels exceed what the
// escapes carry, so both version-1 escape forms and the version-0 clamp occur.
TEST(EncoderQuantiser, ExtremesDecodeAndUseEveryEscape) {
    for (int version = 0; version <= 1; ++version) {
        for (int quant : {1, 31}) {
            SCOPED_TRACE(testing::Message() << "version " << version << " quant " << quant);
            EncoderConfig config;
            config.width = 64;
            config.height = 48;
            config.version = version;
            config.quantiser = quant;
            EncoderStats s;
            EncodeAndCompare(config, 3, 1 << 30, &s);
            if (HasFatalFailure()) return;
            if (quant == 1 && version == 0) {
                EXPECT_GT(s.escapes8, 0);
                EXPECT_GT(s.clampedLevels, 0);
            }
            if (quant == 1 && version == 1) {
                EXPECT_GT(s.escapes7, 0);
                EXPECT_GT(s.escapes11, 0);
            }
            // Each version uses only its own escape layout.
            EXPECT_EQ(version == 0 ? s.escapes7 + s.escapes11 : s.escapes8, 0);
        }
    }
}

// Mean luma PSNR and bits per frame of a CIF-quarter sequence in version 1.
std::pair<double, double> MeanPsnrAndBits(int quantiser, int bitrate, int frames) {
    EncoderConfig config;
    config.width = 176;
    config.height = 144;
    config.version = 1;
    config.quantiser = quantiser;
    config.targetBitrate = bitrate;
    config.gopLength = bitrate ? 0 : 12;
    EncoderStats stats;
    std::vector<EncodedFrame> encoded;
    EncodeAndCompare(config, frames, 1 << 30, &stats, &encoded);
    double psnr = 0, bits = 0;
    for (const EncodedFrame& f : encoded) {
        psnr += f.psnrY / frames;
        bits += static_cast<double>(f.data.size()) * 8 / frames;
    }
    return {psnr, bits};
}

TEST(EncoderQuality, PsnrRisesAsQuantiserFallsAndRateControlMeetsItsTarget) {
    std::pair<double, double> previous{0, 0};
    for (int quant : {31, 20, 10, 4, 2}) {
        const auto r = MeanPsnrAndBits(quant, 0, 3);
        EXPECT_GT(r.first, previous.first + 0.5) << "quantiser " << quant;
        EXPECT_GT(r.second, previous.second) << "quantiser " << quant;
        previous = r;
    }
    for (int bitrate : {64000, 256000}) {
        EXPECT_NEAR(MeanPsnrAndBits(8, bitrate, 30).second, bitrate / 25.0, 0.2 * bitrate / 25.0);
    }
}

TEST(EncoderStream, RefusesWhatCannotBeEncoded) {
    std::vector<uint8_t> p(64 * 64, 0);
    const enc::PlaneView good{p.data(), p.data(), p.data(), 64, 32};
    EncodedFrame frame;
    enc::Encoder encoder(EncoderConfig{.width = 64, .height = 64});
    EXPECT_TRUE(encoder.ok());
    EXPECT_FALSE(encoder.EncodeFrame({p.data(), nullptr, p.data(), 64, 32}, &frame));
    EXPECT_FALSE(encoder.EncodeFrame({p.data(), p.data(), p.data(), 63, 32}, &frame));
    EXPECT_FALSE(encoder.EncodeFrame(good, nullptr));
    const EncoderConfig refused[] = {
        {.width = 15, .height = 64},
        {.width = 64, .height = 4097},
        {.width = 64, .height = 64, .version = 2},
        {.width = 64, .height = 64, .quantiser = 0},
        {.width = 64, .height = 64, .quantiser = 32},
        {.width = 64, .height = 64, .targetBitrate = -1},
        {.width = 64, .height = 64, .targetBitrate = 1000, .frameRate = 0},
    };
    for (const EncoderConfig& config : refused) {
        enc::Encoder bad(config);
        EXPECT_FALSE(bad.ok()) << config.width << "x" << config.height;
        EXPECT_FALSE(bad.EncodeFrame(good, &frame));
    }
}

}  // namespace
}  // namespace veltrane::test
