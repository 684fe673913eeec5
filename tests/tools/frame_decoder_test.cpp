#include "frame_decoder.h"

#include <gtest/gtest.h>

#include "support/test_allocator.h"
#include "test_pattern.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::tools {
namespace {

// `count` pictures of the test pattern from the reference encoder.
std::vector<std::vector<uint8_t>> EncodeTestPattern(int width, int height, int count) {
    enc::Encoder encoder({.width = width, .height = height});
    std::vector<std::vector<uint8_t>> frames;
    YuvPicture source;
    enc::EncodedFrame frame;
    for (int i = 0; i < count; ++i) {
        DrawTestPattern(width, height, static_cast<uint32_t>(i), &source);
        EXPECT_TRUE(encoder.EncodeFrame(
            {source.y.data(), source.u.data(), source.v.data(), source.width, source.chromaWidth()},
            &frame));
        frames.push_back(frame.data);
    }
    return frames;
}

int32_t Decode(FrameDecoder* decoder, const std::vector<uint8_t>& data,
               BgraPicture* image = nullptr) {
    return decoder->Decode(data.data(), static_cast<uint32_t>(data.size()), image);
}

// Failed frames of every kind leave the reference picture and the session
// intact, so that frame 2 decodes as in a decoder that saw frames 0 to 2 alone;
// an intra picture of another size then reopens the session.
TEST(FrameDecoderTest, FailedFramesLeaveTheReferenceIntactAndSizeChangesReopen) {
    const auto stream = EncodeTestPattern(48, 32, 3);
    std::vector<uint8_t> damaged = stream[2];
    std::fill(damaged.begin() + static_cast<long>(damaged.size() / 3), damaged.end(), 0);
    std::vector<uint8_t> brokenIntra = EncodeTestPattern(32, 32, 1)[0];
    brokenIntra.resize(brokenIntra.size() / 2);
    std::vector<uint8_t> otherSizeInter = stream[2];
    otherSizeInter[4] ^= 0x04;  // bit 37, inside the 8-bit width field: 48 becomes 56
    // Source format 1 (16-bit size): 5000 x 16, then 0 x 16.
    const std::vector<uint8_t> huge = {0x00, 0x00, 0x80, 0x00, 0x89, 0xC4,
                                       0x00, 0x08, 0x05, 0x00, 0x00, 0x00},
                               empty = {0x00, 0x00, 0x80, 0x00, 0x80, 0x00,
                                        0x00, 0x08, 0x05, 0x00, 0x00, 0x00};

    veltrane::test::TestAllocator allocator;
    {
        FrameDecoder decoder(&allocator), clean(&allocator);
        ASSERT_TRUE(decoder.Open(48, 32) && clean.Open(48, 32));
        for (const auto& frame : stream) ASSERT_EQ(Decode(&clean, frame), 0);
        EXPECT_EQ(Decode(&decoder, stream[1]), kStatusNoReference);
        ASSERT_EQ(Decode(&decoder, stream[0]), 0);
        ASSERT_EQ(Decode(&decoder, stream[1]), 0);
        EXPECT_NE(Decode(&decoder, damaged), 0);
        EXPECT_EQ(Decode(&decoder, {}), kStatusBadData);
        // A broken intra picture of another size fails in a session of its own;
        // an inter picture of another size is refused outright.
        EXPECT_EQ(Decode(&decoder, brokenIntra), kStatusOutOfData);
        EXPECT_EQ(Decode(&decoder, otherSizeInter), kStatusNoReference);
        EXPECT_EQ(Decode(&decoder, huge), kStatusCannotOpen);
        EXPECT_EQ(decoder.refusedSize(), "5000x16");
        EXPECT_EQ(Decode(&decoder, empty), kStatusEmptyPicture);
        EXPECT_EQ(decoder.width(), 48);
        EXPECT_EQ(decoder.reopenCount(), 0);
        ASSERT_EQ(Decode(&decoder, stream[2]), 0);
        YuvPicture got, expected;
        decoder.CopyPicture(&got);
        clean.CopyPicture(&expected);
        EXPECT_TRUE(got.y == expected.y && got.u == expected.u && got.v == expected.v);

        BgraPicture image;
        ASSERT_EQ(Decode(&decoder, EncodeTestPattern(64, 16, 1)[0], &image), 0);
        EXPECT_EQ(decoder.reopenCount(), 1);
        EXPECT_EQ(image.pixels.size(), size_t{64 * 16});
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

}  // namespace
}  // namespace veltrane::tools
