#include "frame_decoder.h"

#include <gtest/gtest.h>

#include "encoded_stream.h"
#include "support/test_allocator.h"

namespace veltrane::tools {
namespace {

using test::Config;
using test::EncodeTestPattern;

int32_t Decode(FrameDecoder* decoder, const std::vector<uint8_t>& data,
               BgraPicture* image = nullptr) {
    return decoder->Decode(data.data(), static_cast<uint32_t>(data.size()), image);
}

void ExpectPicture(const FrameDecoder& decoder, const YuvPicture& expected, int index) {
    YuvPicture got;
    decoder.CopyPicture(&got);
    EXPECT_EQ(got.width, expected.width) << index;
    EXPECT_EQ(got.y, expected.y) << index;
    EXPECT_EQ(got.u, expected.u) << index;
    EXPECT_EQ(got.v, expected.v) << index;
}

TEST(FrameDecoderTest, ReopensWhenThePictureSizeChanges) {
    const auto first = EncodeTestPattern(Config(42, 26), 3);
    const auto second = EncodeTestPattern(Config(64, 16), 2);
    veltrane::test::TestAllocator allocator;
    {
        FrameDecoder decoder(&allocator);
        ASSERT_TRUE(decoder.Open(0, 0));  // unknown size: the first frame sets it
        BgraPicture image;
        int index = 0;
        for (const auto* stream : {&first, &second}) {
            for (const auto& picture : *stream) {
                ASSERT_EQ(Decode(&decoder, picture.frame.data, &image), 0) << index;
                EXPECT_EQ(decoder.pictureType(), static_cast<uint32_t>(picture.frame.pictureType));
                ExpectPicture(decoder, picture.reconstruction, index);
                EXPECT_EQ(image.width, picture.reconstruction.width);
                EXPECT_EQ(image.pixels.size(), picture.reconstruction.y.size());
                ++index;
            }
        }
        EXPECT_EQ(decoder.reopenCount(), 2);
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

// Failed frames of every kind leave the reference picture and the session intact.
TEST(FrameDecoderTest, FailedFramesLeaveTheReferenceIntact) {
    const auto stream = EncodeTestPattern(Config(48, 32), 4);
    std::vector<uint8_t> damaged = stream[2].frame.data;
    std::fill(damaged.begin() + static_cast<long>(damaged.size() / 3), damaged.end(), 0);
    std::vector<uint8_t> brokenIntra = EncodeTestPattern(Config(32, 32), 1)[0].frame.data;
    brokenIntra.resize(brokenIntra.size() / 2);
    std::vector<uint8_t> otherSizeInter = stream[2].frame.data;
    otherSizeInter[4] ^= 0x04;  // bit 37, inside the 8-bit width field: 48 becomes 56

    veltrane::test::TestAllocator allocator;
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
    EXPECT_EQ(decoder.width(), 48);
    EXPECT_EQ(decoder.reopenCount(), 0);
    // Frame 2 predicts from frame 1, which none of the failures touched.
    ASSERT_EQ(Decode(&decoder, stream[2].frame.data), 0);
    ExpectPicture(decoder, stream[2].reconstruction, 2);
}

TEST(FrameDecoderTest, RefusesSizesNoSessionCanHold) {
    veltrane::test::TestAllocator allocator;
    FrameDecoder decoder(&allocator);
    ASSERT_TRUE(decoder.Open(16, 16));
    // Source format 1 (16-bit size): 5000 x 16, then 0 x 16.
    const std::vector<uint8_t> huge = {0x00, 0x00, 0x80, 0x00, 0x89, 0xC4,
                                       0x00, 0x08, 0x05, 0x00, 0x00, 0x00};
    EXPECT_EQ(Decode(&decoder, huge), kStatusCannotOpen);
    EXPECT_EQ(decoder.refusedSize(), "5000x16");
    std::vector<uint8_t> empty = huge;
    empty[4] = 0x80;
    empty[5] = 0x00;
    EXPECT_EQ(Decode(&decoder, empty), kStatusEmptyPicture);
    EXPECT_EQ(decoder.width(), 16);  // the old session is still there
}

TEST(FrameDecoderTest, OpenFailureLeaksNothing) {
    veltrane::test::TestAllocator allocator;
    for (int budget = 0; budget < 6; ++budget) {
        allocator.FailAt(budget + 1);
        FrameDecoder decoder(&allocator);
        EXPECT_FALSE(decoder.Open(64, 64)) << budget;
        EXPECT_EQ(allocator.liveBlocks(), 0u) << budget;
    }
}

}  // namespace
}  // namespace veltrane::tools
