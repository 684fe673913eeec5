#include "frame_decoder.h"

#include <gtest/gtest.h>

#include "support/test_allocator.h"
#include "test_pattern.h"
#include "veltrane_encoder/encoder.h"

namespace veltrane::tools {
namespace {

struct EncodedPicture {
    enc::EncodedFrame frame;
    YuvPicture reconstruction;  // what a decoder must produce
};

// `count` pictures of the test pattern from the reference encoder.
std::vector<EncodedPicture> EncodeTestPattern(int width, int height, int count) {
    enc::EncoderConfig config;
    config.width = width;
    config.height = height;
    enc::Encoder encoder(config);
    EXPECT_TRUE(encoder.ok());
    std::vector<EncodedPicture> out(static_cast<size_t>(count));
    YuvPicture source;
    for (int i = 0; i < count; ++i) {
        DrawTestPattern(width, height, static_cast<uint32_t>(i), &source);
        EXPECT_TRUE(encoder.EncodeFrame(
            {source.y.data(), source.u.data(), source.v.data(), source.width, source.chromaWidth()},
            &out[i].frame));
        const enc::PlaneView r = encoder.Reconstruction();
        out[i].reconstruction.CopyFrom(width, height, r.y, r.u, r.v, r.yStride, r.uvStride);
    }
    return out;
}

int32_t Decode(FrameDecoder* decoder, const std::vector<uint8_t>& data,
               BgraPicture* image = nullptr) {
    return decoder->Decode(data.data(), static_cast<uint32_t>(data.size()), image);
}

void ExpectPicture(const FrameDecoder& decoder, const YuvPicture& expected) {
    YuvPicture got;
    decoder.CopyPicture(&got);
    EXPECT_EQ(got.width, expected.width);
    EXPECT_EQ(got.y, expected.y);
    EXPECT_EQ(got.u, expected.u);
    EXPECT_EQ(got.v, expected.v);
}

// Failed frames of every kind leave the reference picture and the session
// intact; an intra picture of another size then reopens the session.
TEST(FrameDecoderTest, FailedFramesLeaveTheReferenceIntactAndSizeChangesReopen) {
    const auto stream = EncodeTestPattern(48, 32, 4);
    const auto other = EncodeTestPattern(64, 16, 2);
    std::vector<uint8_t> damaged = stream[2].frame.data;
    std::fill(damaged.begin() + static_cast<long>(damaged.size() / 3), damaged.end(), 0);
    std::vector<uint8_t> brokenIntra = EncodeTestPattern(32, 32, 1)[0].frame.data;
    brokenIntra.resize(brokenIntra.size() / 2);
    std::vector<uint8_t> otherSizeInter = stream[2].frame.data;
    otherSizeInter[4] ^= 0x04;  // bit 37, inside the 8-bit width field: 48 becomes 56
    // Source format 1 (16-bit size): 5000 x 16, then 0 x 16.
    const std::vector<uint8_t> huge = {0x00, 0x00, 0x80, 0x00, 0x89, 0xC4,
                                       0x00, 0x08, 0x05, 0x00, 0x00, 0x00};
    std::vector<uint8_t> empty = huge;
    empty[4] = 0x80;
    empty[5] = 0x00;

    veltrane::test::TestAllocator allocator;
    {
        FrameDecoder decoder(&allocator);
        ASSERT_TRUE(decoder.Open(48, 32));
        EXPECT_EQ(Decode(&decoder, stream[1].frame.data), kStatusNoReference);
        ASSERT_EQ(Decode(&decoder, stream[0].frame.data), 0);
        ASSERT_EQ(Decode(&decoder, stream[1].frame.data), 0);
        EXPECT_NE(Decode(&decoder, damaged), 0);
        EXPECT_EQ(Decode(&decoder, {}), kStatusBadData);
        EXPECT_EQ(Decode(&decoder, {0xFF, 0xFF, 0xFF, 0xFF}), kStatusBadData);
        // A broken intra picture of another size fails in a session of its own;
        // an inter picture of another size is refused outright.
        EXPECT_EQ(Decode(&decoder, brokenIntra), kStatusOutOfData);
        EXPECT_EQ(Decode(&decoder, otherSizeInter), kStatusNoReference);
        EXPECT_EQ(Decode(&decoder, huge), kStatusCannotOpen);
        EXPECT_EQ(decoder.refusedSize(), "5000x16");
        EXPECT_EQ(Decode(&decoder, empty), kStatusEmptyPicture);
        EXPECT_EQ(decoder.width(), 48);
        EXPECT_EQ(decoder.reopenCount(), 0);
        // Frame 2 predicts from frame 1, which none of the failures touched.
        ASSERT_EQ(Decode(&decoder, stream[2].frame.data), 0);
        ExpectPicture(decoder, stream[2].reconstruction);

        BgraPicture image;
        for (const auto& picture : other) {
            ASSERT_EQ(Decode(&decoder, picture.frame.data, &image), 0);
            EXPECT_EQ(decoder.pictureType(), static_cast<uint32_t>(picture.frame.pictureType));
            ExpectPicture(decoder, picture.reconstruction);
            EXPECT_EQ(image.pixels.size(), picture.reconstruction.y.size());
        }
        EXPECT_EQ(decoder.reopenCount(), 1);
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

}  // namespace
}  // namespace veltrane::tools
