// Picture quality and size: PSNR against the quantiser, the reported PSNR
// against the decoded picture, and the rate control against its target.
#include <gtest/gtest.h>

#include <cmath>

#include "decode_harness.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::test {
namespace {

using enc::EncodedFrame;
using enc::EncoderConfig;

struct Result {
    double psnrY = 0, bits = 0;  // means per frame
};

Result Encode(int width, int height, int quantiser, int bitrate, int frames) {
    EncoderConfig config;
    config.width = width;
    config.height = height;
    config.version = 1;
    config.quantiser = quantiser;
    config.targetBitrate = bitrate;
    config.frameRate = 25;
    config.gopLength = bitrate ? 0 : 12;
    enc::Encoder encoder(config);
    TestSequence sequence(width, height);
    Result r;
    for (int k = 0; k < frames; ++k) {
        EncodedFrame frame;
        EXPECT_TRUE(encoder.EncodeFrame(sequence.Frame(k), &frame));
        r.psnrY += frame.psnrY / frames;
        r.bits += static_cast<double>(frame.data.size()) * 8 / frames;
    }
    return r;
}

TEST(EncoderQuality, PsnrRisesAndBitsGrowAsQuantiserFalls) {
    Result previous;
    for (int quant : {31, 20, 10, 4, 2}) {
        const Result r = Encode(176, 144, quant, 0, 3);
        EXPECT_GT(r.psnrY, previous.psnrY + 0.5) << "quantiser " << quant;
        EXPECT_GT(r.bits, previous.bits) << "quantiser " << quant;
        previous = r;
    }
}

TEST(EncoderQuality, RateControlMeetsTheTargetBitRate) {
    for (int bitrate : {64000, 256000}) {
        EXPECT_NEAR(Encode(176, 144, 8, bitrate, 30).bits, bitrate / 25.0, 0.2 * bitrate / 25.0);
    }
}

double Psnr(const uint8_t* a, int as, const uint8_t* b, int bs, int w, int h) {
    double sse = 0;
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const double d = a[r * as + c] - b[r * bs + c];
            sse += d * d;
        }
    }
    return 10 * std::log10(255.0 * 255.0 * w * h / sse);
}

// The reported PSNR covers the visible picture only, with chroma of
// (width + 1) / 2 x (height + 1) / 2, compared with what the decoder shows.
TEST(EncoderQuality, ReportedPsnrIsThatOfTheDecodedVisiblePicture) {
    EncoderConfig config;
    config.width = 45;
    config.height = 27;
    config.quantiser = 12;
    enc::Encoder encoder(config);
    TestSequence sequence(config.width, config.height);
    DecodeHarness decoder(config.width, config.height);
    for (int k = 0; k < 3; ++k) {
        const enc::PlaneView source = sequence.Frame(k);
        EncodedFrame frame;
        ASSERT_TRUE(encoder.EncodeFrame(source, &frame));
        enc::PlaneView d;
        ASSERT_EQ(decoder.Decode(frame.data, &d), 0);
        EXPECT_NEAR(frame.psnrY, Psnr(source.y, source.yStride, d.y, d.yStride, 45, 27), 1e-9);
        EXPECT_NEAR(frame.psnrU, Psnr(source.u, source.uvStride, d.u, d.uvStride, 23, 14), 1e-9);
        EXPECT_NEAR(frame.psnrV, Psnr(source.v, source.uvStride, d.v, d.uvStride, 23, 14), 1e-9);
    }
}

}  // namespace
}  // namespace veltrane::test
