// The decisive check: every picture the library decodes from the encoder's
// output equals the encoder's own reconstruction, sample for sample. Also the
// encoder's reported PSNR, its rate control, the source format it writes and
// the configurations it refuses.
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

// Encodes `frames` frames of the test sequence (a scene change at picture 4)
// and decodes each one. The reported PSNR covers the visible picture only, with
// chroma of (width + 1) / 2 x (height + 1) / 2, compared with what the decoder shows.
void EncodeAndCompare(const EncoderConfig& config, int frames, EncoderStats* stats,
                      std::vector<EncodedFrame>* encoded) {
    enc::Encoder encoder(config);
    ASSERT_TRUE(encoder.ok());
    TestSequence sequence(config.width, config.height, 4);
    TestDecoder decoder(config.width, config.height);
    const int w = config.width, h = config.height, cw = (w + 1) / 2, ch = (h + 1) / 2;
    for (int k = 0; k < frames; ++k) {
        const enc::PlaneView s = sequence.Frame(k);
        EncodedFrame frame;
        ASSERT_TRUE(encoder.EncodeFrame(s, &frame));
        const auto size = static_cast<uint32_t>(frame.data.size());
        uint32_t type = 9, width = 0, height = 0;
        ASSERT_EQ(
            GetFrameAttributes(decoder.get(), frame.data.data(), size, &type, &width, &height), 0);
        EXPECT_TRUE(type == uint32_t(frame.pictureType) && width == uint32_t(w) &&
                    height == uint32_t(h))
            << type << " " << width << "x" << height;
        ASSERT_EQ(decoder.Decode(frame.data), 0) << "frame " << k;
        const enc::PlaneView r = encoder.Reconstruction();
        const uint8_t* planes[3] = {r.y, r.u, r.v};
        ASSERT_TRUE(decoder.Decoded() ==
                    PlaneSamples(planes, r.yStride, r.uvStride, (w + 15) & ~15, (h + 15) & ~15))
            << "frame " << k << " type " << frame.pictureType;
        const enc::PlaneView d{decoder.planes[0], decoder.planes[1], decoder.planes[2],
                               decoder.yStride, decoder.uvStride};
        EXPECT_NEAR(frame.psnrY, Psnr(s.y, s.yStride, d.y, d.yStride, w, h), 1e-9);
        EXPECT_NEAR(frame.psnrU, Psnr(s.u, s.uvStride, d.u, d.uvStride, cw, ch), 1e-9);
        EXPECT_NEAR(frame.psnrV, Psnr(s.v, s.uvStride, d.v, d.uvStride, cw, ch), 1e-9);
        encoded->push_back(frame);
    }
    *stats = encoder.Statistics();
}

// Sizes of every source format, both versions, disposable pictures, rate
// control, one-vector mode and the extreme quantisers: at 1 the intra levels
// exceed what the escapes carry. Between them the streams use every macroblock
// type and every escape form; over 30 pictures the rate control meets its target.
TEST(EncoderRoundTrip, DecoderOutputEqualsReconstruction) {
    const struct {
        int width, height, version;
        bool disposable, fourVector;
        int bitrate, quantiser, gop, frames;
        int format;  // the source format: fixed for its sizes, else 8-bit or 16-bit size fields
    } cases[] = {
        {176, 144, 0, false, true, 0, 8, 6, 8, 3},
        {176, 144, 1, true, true, 0, 8, 6, 8, 3},
        {100, 60, 1, false, true, 60000, 8, 6, 8, 0},
        {33, 17, 0, true, true, 0, 8, 6, 8, 0},
        {45, 27, 1, false, true, 0, 8, 6, 3, 0},
        {16, 16, 1, false, true, 0, 8, 6, 6, 0},
        {160, 120, 0, true, true, 80000, 8, 6, 8, 6},
        {128, 96, 1, false, true, 0, 8, 6, 6, 4},
        {320, 240, 0, false, true, 0, 8, 6, 3, 5},
        {255, 255, 1, false, true, 0, 8, 6, 3, 0},
        {272, 20, 0, true, true, 0, 8, 6, 6, 1},
        {352, 288, 1, true, true, 300000, 8, 6, 5, 2},
        {176, 144, 1, true, true, 150000, 8, 10, 12, 3},
        {176, 144, 0, true, false, 150000, 8, 10, 12, 3},
        {64, 48, 0, false, true, 0, 1, 12, 3, 0},
        {64, 48, 1, false, true, 0, 1, 12, 3, 0},
        {64, 48, 0, false, true, 0, 31, 12, 3, 0},
        {64, 48, 1, false, true, 0, 31, 12, 3, 0},
        {176, 144, 1, false, true, 64000, 8, 0, 30, 3},
        {176, 144, 1, false, true, 256000, 8, 0, 30, 3},
    };
    EncoderStats total;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " version " << c.version
                                        << " rate " << c.bitrate << " quantiser " << c.quantiser);
        const EncoderConfig config{c.width,     c.height,  c.version, c.gop,       c.disposable,
                                   c.quantiser, c.bitrate, 25.0,      c.fourVector};
        EncoderStats s;
        std::vector<EncodedFrame> frames;
        EncodeAndCompare(config, c.frames, &s, &frames);
        if (HasFatalFailure()) return;
        int disposable = 0;
        double bits = 0;
        for (const EncodedFrame& f : frames) {
            disposable += f.pictureType == 2;
            bits += static_cast<double>(f.data.size()) * 8 / c.frames;
        }
        EXPECT_EQ(disposable > 0, c.disposable && c.frames > 2);
        // The source format, bits 30..32; each version uses its own escape layout only.
        EXPECT_EQ(((frames[0].data[3] & 3) << 1) | (frames[0].data[4] >> 7), c.format);
        EXPECT_GT(s.inter + s.interQ + s.inter4v, 0);
        EXPECT_TRUE(c.fourVector || s.inter4v == 0);
        EXPECT_EQ(c.version == 0 ? s.escapes7 + s.escapes11 : s.escapes8, 0);
        if (c.frames >= 30) {
            EXPECT_NEAR(bits, c.bitrate / 25.0, 0.2 * c.bitrate / 25.0);
        }
        total += s;
    }
    EXPECT_GT(std::min({total.intra, total.intraQ, total.intraInP, total.inter, total.interQ,
                        total.inter4v, total.skipped, total.escapes8, total.escapes7,
                        total.escapes11, total.clampedLevels}),
              0);
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
