// The frame-start check and the picture header parser.
#include "core/picture_header.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/bit_writer.h"

namespace {

using veltrane::CheckFrameStart;

struct Parsed {
    int32_t status;
    PictureHeader_t header;
    uint32_t bitPos;
    uint32_t error;
};

Parsed Parse(const std::vector<unsigned char>& frame) {
    fifo_t fifo{};
    Parsed p{};
    // Copy into an exact-size heap block so over-reads are caught.
    std::vector<unsigned char> exact(frame);
    exact.shrink_to_fit();
    p.status = CheckFrameStart(&fifo, exact.data(), static_cast<int64_t>(exact.size()), &p.header);
    p.bitPos = fifo.bitPos;
    p.error = fifo.error;
    return p;
}

TEST(PictureHeader, FixedSizeIntraHeader) {
    Parsed p = Parse({0x00, 0x00, 0x80, 0x01, 0x85, 0x3F});
    ASSERT_EQ(p.status, 0);
    EXPECT_EQ(p.header.version, 0u);
    EXPECT_EQ(p.header.temporalReference, 0u);
    EXPECT_EQ(p.header.width, 176u);
    EXPECT_EQ(p.header.height, 144u);
    EXPECT_EQ(p.header.pictureType, 0u);
    EXPECT_EQ(p.header.deblocking, 0u);
    EXPECT_EQ(p.header.quantiser, 10u);
    EXPECT_EQ(p.bitPos, 42u);
    EXPECT_EQ(p.error, 0u);
}

TEST(PictureHeader, EightBitSizeWithExtraInformation) {
    Parsed p = Parse({0x00, 0x00, 0x84, 0x14, 0x32, 0x1E, 0x3F, 0xEA, 0xC0});
    ASSERT_EQ(p.status, 0);
    EXPECT_EQ(p.header.version, 1u);
    EXPECT_EQ(p.header.temporalReference, 5u);
    EXPECT_EQ(p.header.width, 100u);
    EXPECT_EQ(p.header.height, 60u);
    EXPECT_EQ(p.header.alignedWidth, 112u);
    EXPECT_EQ(p.header.alignedHeight, 64u);
    EXPECT_EQ(p.header.pictureType, 1u);
    EXPECT_EQ(p.header.deblocking, 1u);
    EXPECT_EQ(p.header.quantiser, 31u);
    EXPECT_EQ(p.bitPos, 67u);
    EXPECT_EQ(p.error, 0u);
}

TEST(PictureHeader, SixteenBitSizeAndEverySourceFormat) {
    veltrane::test::BitWriter w;
    w.Put(1, 17).Put(0, 5).Put(7, 8).Put(1, 3).Put(0x0120, 16).Put(0x00F0, 16);
    w.Put(2, 2).Put(0, 1).Put(3, 5).Put(0, 1);
    Parsed p = Parse(w.bytes());
    ASSERT_EQ(p.status, 0);
    EXPECT_EQ(p.header.width, 288u);
    EXPECT_EQ(p.header.height, 240u);
    EXPECT_EQ(p.header.pictureType, 2u);
    EXPECT_EQ(p.bitPos, 65u + 9u);

    const uint32_t sizes[5][4] = {{352, 288, 352, 288},
                                  {176, 144, 176, 144},
                                  {128, 96, 128, 96},
                                  {320, 240, 320, 240},
                                  {160, 120, 160, 128}};
    for (uint32_t format = 2; format <= 6; ++format) {
        veltrane::test::BitWriter f;
        f.Put(1, 17).Put(0, 5).Put(0, 8).Put(format, 3).Put(0, 9).AlignZero();
        Parsed q = Parse(f.bytes());
        ASSERT_EQ(q.status, 0);
        EXPECT_EQ(q.header.width, sizes[format - 2][0]);
        EXPECT_EQ(q.header.height, sizes[format - 2][1]);
        EXPECT_EQ(q.header.alignedWidth, sizes[format - 2][2]);
        EXPECT_EQ(q.header.alignedHeight, sizes[format - 2][3]);
    }
}

TEST(PictureHeader, RefusedFrames) {
    EXPECT_EQ(Parse({0x00, 0x00, 0x88}).status, 12);        // version 2
    EXPECT_EQ(Parse({0x00, 0x01, 0x80, 0x00}).status, 12);  // start code 2 or 3
    EXPECT_EQ(Parse({0x00, 0x00}).status, 12);              // shorter than a start code
    EXPECT_EQ(Parse({}).status, 12);
    // Source format 7 is reserved.
    EXPECT_EQ(Parse({0x00, 0x00, 0x80, 0x03, 0x80, 0x00}).status, 12);
}

TEST(PictureHeader, FrameEndingInsideTheHeader) {
    Parsed p = Parse({0x00, 0x00, 0x80, 0x01, 0x85});
    ASSERT_EQ(p.status, 0);
    EXPECT_EQ(p.header.pictureType, 0u);
    EXPECT_EQ(p.header.width, 176u);
    EXPECT_EQ(p.header.quantiser, 0u);
    EXPECT_EQ(p.error, uint32_t{kFifoErrorOutOfData});
    EXPECT_EQ(p.bitPos, 37u);  // the extra-information flag came from bit 36

    // Only the start code: version taken as 0, every later field 0.
    Parsed q = Parse({0x00, 0x00, 0x80});
    ASSERT_EQ(q.status, 0);
    EXPECT_EQ(q.header.version, 0u);
    EXPECT_EQ(q.header.width, 0u);
    EXPECT_EQ(q.error, uint32_t{kFifoErrorOutOfData});
}

TEST(PictureHeader, ExtraInformationCutShortSkipsNothing) {
    veltrane::test::BitWriter w;
    w.Put(1, 17).Put(0, 5).Put(0, 8).Put(4, 3).Put(0, 9 - 1).Put(1, 1).Put(0x2, 3);
    // Flag 1 followed by six bits: the byte cannot be skipped, so the next flag
    // is read from those bits (0: the header ends there).
    Parsed p = Parse(w.bytes());
    ASSERT_EQ(p.status, 0);
    EXPECT_EQ(p.error, uint32_t{kFifoErrorOutOfData});
    EXPECT_EQ(p.header.width, 128u);
}

}  // namespace
