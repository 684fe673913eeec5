// Stream syntax written by the encoder: picture header fields, every TCOEF event
// read back by the library's coefficient decoder, and refused configurations.
#include <gtest/gtest.h>

#include "coefficient_writer.h"
#include "decode_harness.h"
#include "entropy/coefficients.h"
#include "veltrane/bitreader.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::test {
namespace {

using enc::EncodedFrame;
using enc::EncoderConfig;

EncodedFrame EncodeGrey(int width, int height) {
    EncoderConfig config;
    config.width = width;
    config.height = height;
    enc::Encoder encoder(config);
    std::vector<uint8_t> y(static_cast<size_t>(width * height), 100);
    std::vector<uint8_t> uv(static_cast<size_t>(((width + 1) / 2) * ((height + 1) / 2)), 128);
    EncodedFrame frame;
    EXPECT_TRUE(
        encoder.EncodeFrame({y.data(), uv.data(), uv.data(), width, (width + 1) / 2}, &frame));
    return frame;
}

TEST(EncoderStream, SourceFormatMatchesSize) {
    struct Case {
        int width, height, format;
    } cases[] = {{352, 288, 2}, {176, 144, 3}, {128, 96, 4}, {320, 240, 5}, {160, 120, 6},
                 {100, 60, 0},  {255, 255, 0}, {256, 16, 1}, {300, 20, 1},  {160, 128, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height);
        const EncodedFrame frame = EncodeGrey(c.width, c.height);
        EXPECT_EQ(((frame.data[3] & 3) << 1) | (frame.data[4] >> 7), c.format);  // bits 30..32
        DecodeHarness(c.width, c.height).ExpectAttributes(frame.data, 0, c.width, c.height);
    }
}

// Every table event and the escape boundaries of both versions, written by the
// encoder and read back by the library's coefficient decoder.
TEST(EncoderStream, EveryEventReadsBack) {
    struct Event {
        int last, run, level;
    };
    for (int version = 0; version <= 1; ++version) {
        SCOPED_TRACE(version);
        std::vector<Event> events;
        const std::vector<int> escapeLevels =
            version == 0 ? std::vector<int>{13, -13, 127, -127, 100}
                         : std::vector<int>{63, -64, 64, -65, 1023, -1024, 500};
        for (int last = 0; last <= 1; ++last) {
            for (int run = 0; run < 64; ++run) {
                for (int level = 1; level <= 12; ++level) {
                    events.push_back({last, run, level});
                    events.push_back({last, run, -level});
                }
                for (int level : escapeLevels) events.push_back({last, run, level});
            }
        }
        std::vector<uint8_t> bytes;
        enc::BitWriter writer(&bytes);
        enc::EncoderStats stats;
        for (const Event& e : events)
            enc::WriteEvent(writer, e.last, e.run, e.level, version, &stats);
        const uint64_t written = writer.BitCount();
        writer.Flush();

        DecodeHarness harness(16, 16);
        auto* decoder = static_cast<DecodeInstance_t*>(harness.decoder());
        SetFifoBuffer(decoder->fifo, bytes.data(), static_cast<int32_t>(bytes.size()),
                      static_cast<uint32_t>(bytes.size() * 8), 0);
        for (const Event& e : events) {
            int last = -1, run = -1, level = 0;
            DecodeBlockCoefficients(decoder->support, decoder->fifo, version, &last, &run, &level);
            ASSERT_EQ(last, e.last) << e.run << " " << e.level;
            ASSERT_EQ(run, e.run) << e.level;
            ASSERT_EQ(level, e.level) << e.last << " " << e.run;
        }
        EXPECT_EQ(GetLastFifoError(decoder->fifo), 0u);
        EXPECT_EQ(decoder->fifo->bitPos, written);
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
