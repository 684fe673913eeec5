// The frame-start check and the picture header: the source formats, extra
// information, refused frames and frames that end inside the header.
#include "core/picture_header.h"

#include <gtest/gtest.h>

#include <array>

#include "support/stream_builder.h"

namespace veltrane::test {
namespace {

struct Parsed {
    int32_t status;
    PictureHeader_t h;
    uint32_t bitPos, error;
};

Parsed Parse(const std::vector<uint8_t>& bytes) {
    const ExactFrame frame(bytes);
    fifo_t fifo{};
    Parsed p{};
    p.status = CheckFrameStart(&fifo, frame.data(), static_cast<int64_t>(frame.size()), &p.h);
    p.bitPos = fifo.bitPos;
    p.error = fifo.error;
    return p;
}

std::vector<uint8_t> Header(const PictureFields& fields) {
    BitWriter w;
    WritePictureHeader(w, fields);
    return w.AlignZero().bytes();
}

// Source formats 0, 1, 2, 3 and 6 (the encoder's round trip checks the sizes of
// the others through the frame inquiry). A frame that ends inside the header gives status 0, the
// fields read so far (the rest 0) and error 4; extra information cut short
// skips nothing.
TEST(PictureHeader, FieldsOfEverySourceFormatAndFramesEndingInsideTheHeader) {
    const struct {
        std::vector<uint8_t> bytes;
        uint32_t version, temporal, width, height, alignedHeight, type, deblocking, quant, bits;
        uint32_t error = 0;
    } cases[] = {
        // The worked examples: QCIF intra at quantiser 10; version 1, 8-bit size
        // 100x60 with one byte of extra information.
        {{0x00, 0x00, 0x80, 0x01, 0x85, 0x3F}, 0, 0, 176, 144, 144, 0, 0, 10, 42},
        {{0x00, 0x00, 0x84, 0x14, 0x32, 0x1E, 0x3F, 0xEA, 0xC0}, 1, 5, 100, 60, 64, 1, 1, 31, 67},
        {Header({0, 7, 1, 288, 240, 2, 0, 3, {}}), 0, 7, 288, 240, 240, 2, 0, 3, 74},
        {Header({0, 0, 2, 0, 0, 3, 0, 1, {}}), 0, 0, 352, 288, 288, 3, 0, 1, 42},
        {Header({0, 0, 6, 0, 0, 0, 0, 1, {9, 9}}), 0, 0, 160, 120, 128, 0, 0, 1, 60},
        {{0x00, 0x00, 0x80, 0x01, 0x85}, 0, 0, 176, 144, 144, 0, 0, 0, 37, kFifoErrorOutOfData},
        {{0x00, 0x00, 0x80}, 0, 0, 0, 0, 0, 0, 0, 0, 24, kFifoErrorOutOfData},
        // Extra-information flag 1, then 6 of its 8 bits.
        {{0x00, 0x00, 0x80, 0x02, 0x00, 0x50}, 0, 0, 128, 96, 96, 0, 0, 0, 43, kFifoErrorOutOfData},
    };
    for (const auto& c : cases) {
        const Parsed p = Parse(c.bytes);
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << ", " << c.bytes.size());
        ASSERT_EQ(p.status, 0);
        const PictureHeader_t& h = p.h;
        EXPECT_EQ((std::array{h.version, h.temporalReference, h.width, h.height, h.alignedWidth,
                              h.alignedHeight, h.pictureType, h.deblocking, h.quantiser, p.bitPos,
                              p.error}),
                  (std::array{c.version, c.temporal, c.width, c.height, (c.width + 15) & ~15u,
                              c.alignedHeight, c.type, c.deblocking, c.quant, c.bits, c.error}));
    }
}

// Bad start code, version 2, reserved format 7, fewer bytes than a start code.
TEST(PictureHeader, RefusedFrames) {
    for (const std::vector<uint8_t>& bytes : {std::vector<uint8_t>{0x00, 0x00, 0x88},
                                              {0x00, 0x01, 0x80, 0x00},
                                              {0x00, 0x00},
                                              {},
                                              {0x00, 0x00, 0x80, 0x03, 0x80, 0x00}}) {
        EXPECT_EQ(Parse(bytes).status, kStatusBadData) << bytes.size();
    }
}

}  // namespace
}  // namespace veltrane::test
