// Whole pictures through H263DecompressFrame: the worked example, stuffing,
// DQUANT limits, type-3 pictures, frames of another size, failed reads, and
// every prefix of a frame. Prediction itself is checked by the encoder's
// round trip and the motion compensation tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "support/test_decoder.h"

namespace veltrane::test {
namespace {

using Bytes = std::vector<uint8_t>;
using MB = Macroblock;

Bytes Textured(int w, int h, uint32_t seed) {
    return RandomStream(seed).Picture(FieldsForSize(w, h, 0, 4));
}

const Bytes kIntra16 = {0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00,
                        0xA6, 0x64, 0x78, 0x8C, 0xA0, 0xC9, 0x90};
constexpr std::array<uint8_t, 6> kExampleDc = {50, 60, 70, 80, 100, 200};

// The 16x16 example: every block flat at its DC value.
void ExpectExamplePicture(const TestDecoder& dec) {
    for (int b = 0; b < 6; ++b) {
        const int plane = b < 4 ? 0 : b - 3, x0 = b < 4 ? 8 * (b & 1) : 0,
                  y0 = b < 4 ? 4 * (b & 2) : 0;
        for (int i = 0; i < 64; ++i)
            ASSERT_EQ(dec.At(plane, x0 + i % 8, y0 + i / 8), kExampleDc[b]) << "block " << b;
    }
}

TEST(PictureDecoder, ExampleIntraThenSkippedThenDisposablePicture) {
    EXPECT_EQ(FrameWriter(FieldsForSize(16, 16)).Add({.dc = kExampleDc}).Bytes(),
              kIntra16);  // the writer agrees

    TestDecoder dec(16, 16);
    ASSERT_EQ(dec.Decode(kIntra16), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    ExpectExamplePicture(dec);
    EXPECT_EQ(dec->current, 1);
    EXPECT_EQ(dec->mbQuant[0], 1);
    // Type 1, COD 1: the reference copied into the other store, which becomes the
    // reference. Type 2, COD 1: decoded into the free store, which stays free.
    const struct {
        uint8_t typeByte;
        int store, current;
    } followers[] = {{0x20, 1, 0}, {0x40, 0, 0}};
    for (const auto& f : followers) {
        ASSERT_EQ(dec.Decode({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, f.typeByte, 0xA0}), 0);
        EXPECT_EQ(dec.planes, dec->stores[f.store]);
        ExpectExamplePicture(dec);
        EXPECT_EQ(dec->current, f.current);
    }
    EXPECT_EQ(dec->mbTypes[0], 0);
    EXPECT_EQ(dec->frameCount, 3);
}

TEST(PictureDecoder, StuffingIsSkippedInBothPictureKinds) {
    const Bytes withStuffing = {0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0x80,
                                0x33, 0x32, 0x3C, 0x46, 0x50, 0x64, 0xC8};
    MB mb{.dc = kExampleDc, .stuffing = 1};
    EXPECT_EQ(FrameWriter(FieldsForSize(16, 16)).Add(mb).Bytes(), withStuffing);
    TestDecoder dec(16, 16);
    ASSERT_EQ(dec.Decode(withStuffing), 0);
    ExpectExamplePicture(dec);
    mb.stuffing = 3;  // several in a row, and DQUANT behind them
    mb.kind = MB::kIntraQ;
    mb.dquant = 3;
    ASSERT_EQ(dec.Decode(FrameWriter(FieldsForSize(16, 16, 0, 7)).Add(mb).Bytes()), 0);
    ExpectExamplePicture(dec);
    EXPECT_EQ(dec->mbQuant[0], 9);

    // Disposable P pictures: macroblock 0 stuffing then COD 1, macroblock 1 two
    // stuffings then one vector give the picture the same macroblocks give without.
    TestDecoder p(32, 16);
    ASSERT_EQ(p.Decode(Textured(32, 16, 7)), 0);
    MB inter{MB::kInter};
    inter.mvd[0] = {2, 0};
    Bytes pictures[2];
    for (int stuffing : {0, 2}) {
        FrameWriter frame(FieldsForSize(32, 16, 2));
        if (stuffing) PutStuffing(frame.bits(), true);
        inter.stuffing = stuffing;
        ASSERT_EQ(p.Decode(frame.Skip().Add(inter).Bytes()), 0);
        pictures[stuffing / 2] = p.Decoded();
    }
    EXPECT_EQ(pictures[0], pictures[1]);

    // A frame that ends right after a stuffing code (five extra-information bytes
    // put it at 112 bits), or where no MCBPC code begins, fails and does not hang.
    for (uint32_t type : {0u, 1u}) {
        for (const bool atEnd : {true, false}) {
            PictureFields fields = FieldsForSize(16, 16, type);
            if (atEnd) fields.extra = {1, 2, 3, 4, 5};
            FrameWriter f(fields);
            PutStuffing(f.bits(), type != 0);
            if (!atEnd) f.bits().Put(0, type != 0 ? 10 : 9).Put(0xFFFFFFFF, 32).Put(0xFFFFFFFF, 32);
            const int32_t status = dec.Decode(f.Bytes());
            EXPECT_TRUE(status == kStatusBadData || (atEnd && status == kStatusOutOfData))
                << "type " << type << " status " << status;
        }
    }
    EXPECT_EQ(dec->frameCount, 2);
}

TEST(PictureDecoder, DquantIsClampedToOneAndThirtyOne) {
    // DQUANT -2, +2 and -1.
    const MB down{MB::kIntraQ, 1}, up{MB::kIntraQ, 3}, minusOne{MB::kIntraQ, 0};
    const MB interQ{MB::kInterQ, 3};
    const struct {
        uint32_t type, quant;
        std::array<MB, 3> mbs;
        std::array<int, 3> quants;
    } cases[] = {{0, 1, {down, MB{}, down}, {1, 1, 1}},
                 {0, 30, {up, up, minusOne}, {31, 31, 30}},
                 // A skipped macroblock keeps the entry the last picture wrote.
                 {1, 3, {interQ, down, MB{MB::kSkip}}, {5, 3, 30}}};
    TestDecoder dec(48, 16);
    for (const auto& c : cases) {
        FrameWriter frame(FieldsForSize(48, 16, c.type, c.quant));
        for (const MB& mb : c.mbs) frame.Add(mb);
        ASSERT_EQ(dec.Decode(frame.Bytes()), 0);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(dec->mbQuant[i], c.quants[i]) << "quant " << c.quant;
    }
    EXPECT_EQ(dec->mbTypes[0], 1);
    EXPECT_EQ(dec->mbTypes[1], 4);
}

// Type 3 reads nothing behind the header, writes nothing, and its store (whatever
// it holds) becomes the reference. A frame of another size changes nothing, even
// one of the same macroblock grid.
TEST(PictureDecoder, TypeThreeAndFramesOfAnotherSize) {
    TestDecoder dec(160, 128);
    FrameWriter type3(FieldsForSize(160, 128, 3));
    type3.bits().Put(0, 30);
    ASSERT_EQ(dec.Decode(Textured(160, 128, 3)), 0);
    const Bytes store0 = dec.Store(0), store1 = dec.Store(1);
    ASSERT_EQ(dec.Decode(type3.Bytes()), 0);
    EXPECT_EQ(dec.planes, dec->stores[1]);
    EXPECT_EQ(dec.Decode(Textured(160, 120, 4)), kStatusSizeChanged);
    EXPECT_EQ(dec->current, 0);
    EXPECT_EQ(dec->frameCount, 2);
    EXPECT_EQ(dec.Store(0), store0);
    EXPECT_EQ(dec.Store(1), store1);
}

TEST(PictureDecoder, BadCodesReturnTwelveAndKeepTheLastType) {
    FrameWriter badCbpy(FieldsForSize(16, 16));  // a CBPY pattern that begins no code
    badCbpy.bits().Code(McbpcIntraCodes, 0).Bits("000000").Put(0xFFFFFFFF, 32).Put(0xFFFF, 16);
    FrameWriter badMvd(FieldsForSize(16, 16, 1));  // an MVD that begins no code
    badMvd.bits().Put(0, 1).Code(McbpcInterCodes, 0).Code(CbpyCodes, 15).Put(0, 13).Put(0xFF, 8);
    TestDecoder dec(16, 16);
    EXPECT_EQ(dec.Decode(badCbpy.Bytes()), kStatusBadData);
    EXPECT_EQ(dec.Decode(kIntra16), 0);
    EXPECT_EQ(dec.Decode(badMvd.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->frameCount, 1);
    EXPECT_EQ(dec->current, 1);
    // Macroblock 1: stuffing, then an MCBPC that begins no code. It keeps type 1;
    // the stuffing value (type 5) would have ended the picture with 44.
    TestDecoder p(48, 16);
    ASSERT_EQ(p.Decode(Textured(48, 16, 2)), 0);
    FrameWriter frame(FieldsForSize(48, 16, 1, 8));
    PutStuffing(frame.Add(MB{MB::kInterQ}).bits(), true).Put(0, 10);
    p->mbTypes[1] = 9;
    EXPECT_EQ(p.Decode(frame.Bytes()), kStatusBadData);
    EXPECT_EQ(p->mbTypes[1], 1);
}

// Every proper prefix of a disposable picture (which leaves the reference as it
// is) fails, and afterwards the whole picture decodes as before. A prefix that
// ends inside the header leaves the reader's error 4, which the next picture reports.
TEST(PictureDecoder, TruncatedFramesFailAndLeaveTheDecoderIntact) {
    RandomStream random(77);
    const Bytes intra = random.Picture(FieldsForSize(48, 32, 0, 6));
    const Bytes disposable = random.Picture(FieldsForSize(48, 32, 2, 6, 1));
    TestDecoder dec(48, 32);
    ASSERT_EQ(dec.Decode(intra), 0);
    ASSERT_EQ(dec.Decode(disposable), 0);
    const Bytes expected = dec.Decoded();
    for (size_t n = 0; n < disposable.size(); ++n) {
        SCOPED_TRACE(testing::Message() << "prefix of " << n << " bytes");
        const int32_t failure = dec.Decode(disposable, n);
        ASSERT_TRUE(failure == kStatusOutOfData || failure == kStatusBadData ||
                    failure == kStatusSizeChanged)
            << failure;
        if (failure == kStatusSizeChanged) {
            ASSERT_EQ(dec.Decode(disposable), kStatusOutOfData);
        }
        ASSERT_EQ(dec.Decode(disposable), 0);
        ASSERT_EQ(dec.Decoded(), expected);
    }
}

}  // namespace
}  // namespace veltrane::test
