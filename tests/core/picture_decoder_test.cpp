// Whole pictures through H263DecompressFrame: intra, inter, four-vector,
// disposable and type-3 pictures, every source format, both escape versions,
// and frames that are cut short or corrupt.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <set>
#include <vector>

#include "core/decoded_picture.h"
#include "support/stream_builder.h"
#include "veltrane/decoder.h"

namespace veltrane::test {
namespace {

using Bytes = std::vector<uint8_t>;
using MB = Macroblock;

// ---------------------------------------------------------------------------
// Expectations computed independently of the decoder.

// Half-sample prediction of one sample from a reference plane.
int Predict(const Plane& ref, int x, int y, int mvx, int mvy) {
    const int ix = x + (mvx >> 1), iy = y + (mvy >> 1), hx = mvx & 1, hy = mvy & 1;
    const int a = ref.At(ix, iy), b = ref.At(ix + hx, iy);
    const int c = ref.At(ix, iy + hy), d = ref.At(ix + hx, iy + hy);
    if (hx && hy) return (a + b + c + d + 2) >> 2;
    if (hx) return (a + b + 1) >> 1;
    if (hy) return (a + c + 1) >> 1;
    return a;
}

// Chroma component of a one-vector macroblock: half the luma vector, with
// quarter-sample positions moved to the half sample between them.
int ChromaOfOneVector(int v) {
    const int a = std::abs(v);
    const int c = (a >> 1) | (a % 4 != 0 ? 1 : 0);
    return v < 0 ? -c : c;
}

int Saturate(int v) { return std::clamp(v, 0, 255); }

// Predicts the w x h area at (x0, y0) of `plane` from `ref` with vector v.
void PredictArea(Plane& plane, const Plane& ref, int x0, int y0, int w, int h, Vector v) {
    for (int y = y0; y < y0 + h; ++y) {
        for (int x = x0; x < x0 + w; ++x) {
            plane.samples[y * plane.width + x] = static_cast<uint8_t>(Predict(ref, x, y, v.x, v.y));
        }
    }
}

// Expected samples of a picture predicted everywhere with one vector.
Picture PredictWhole(const Picture& ref, Vector v) {
    Picture out = ref;
    const Vector c{ChromaOfOneVector(v.x), ChromaOfOneVector(v.y)};
    PredictArea(out.y, ref.y, 0, 0, ref.y.width, ref.y.height, v);
    PredictArea(out.u, ref.u, 0, 0, ref.u.width, ref.u.height, c);
    PredictArea(out.v, ref.v, 0, 0, ref.v.width, ref.v.height, c);
    return out;
}

// Block b (0..5) of macroblock (mx, my): its plane and origin in samples.
template <typename P>
auto& PlaneOf(P& p, int b) {
    return b < 4 ? p.y : b == 4 ? p.u : p.v;
}
int BlockX(int mx, int b) { return b < 4 ? mx * 16 + 8 * (b & 1) : mx * 8; }
int BlockY(int my, int b) { return b < 4 ? my * 16 + 8 * (b >> 1) : my * 8; }

// Every sample of the 8x8 block equals `value`.
void ExpectFlatBlock(const Picture& pic, int mx, int my, int b, int value) {
    const Plane& plane = PlaneOf(pic, b);
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(plane.At(BlockX(mx, b) + i % 8, BlockY(my, b) + i / 8), value)
            << "macroblock " << mx << "," << my << " block " << b << " sample " << i;
    }
}

// Adds `level` to every sample of a block, saturating.
void AddToBlock(Picture& pic, int mx, int my, int b, int level) {
    Plane& plane = PlaneOf(pic, b);
    for (int i = 0; i < 64; ++i) {
        uint8_t& s = plane.samples[(BlockY(my, b) + i / 8) * plane.width + BlockX(mx, b) + i % 8];
        s = static_cast<uint8_t>(Saturate(s + level));
    }
}

// A textured intra picture: random coefficients in most blocks.
Bytes Textured(int w, int h, uint32_t seed) {
    return RandomStream(seed).Picture(FieldsForSize(w, h, 0, 4), ((w + 15) / 16) * ((h + 15) / 16));
}

// A P picture whose coded macroblocks all carry vector v and no residual.
Bytes UniformVectorPicture(PictureFields fields, int mbCount, Vector v) {
    FrameWriter frame(fields);
    for (int i = 0; i < mbCount; ++i) {
        MB mb;
        mb.kind = MB::kInter;
        if (i == 0) mb.mvd[0] = v;  // every later prediction is v itself
        frame.Add(mb);
    }
    return frame.Bytes();
}

// ---------------------------------------------------------------------------
// The worked examples: one macroblock, stores and `current`.

const Bytes kIntra16 = {0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00,
                        0xA6, 0x64, 0x78, 0x8C, 0xA0, 0xC9, 0x90};
constexpr std::array<uint8_t, 6> kExampleDc = {50, 60, 70, 80, 100, 200};

void ExpectExamplePicture(const Picture& p) {
    for (int b = 0; b < 6; ++b) ExpectFlatBlock(p, 0, 0, b, kExampleDc[b]);
}

TEST(PictureDecoder, ExampleIntraThenSkippedThenDisposablePicture) {
    // The writer produces exactly these bytes, which validates it for the tests below.
    MB mb;
    mb.dc = kExampleDc;
    EXPECT_EQ(FrameWriter(FieldsForSize(16, 16)).Add(mb).Bytes(), kIntra16);

    TestDecoder dec(16, 16);
    ASSERT_TRUE(dec.ok());
    ASSERT_EQ(dec.Decode(kIntra16), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    EXPECT_EQ(dec.yStride, 48);
    EXPECT_EQ(dec.uvStride, 40);
    ExpectExamplePicture(dec.Decoded());
    EXPECT_EQ(dec->current, 1);
    EXPECT_EQ(dec->frameCount, 1);
    EXPECT_EQ(dec->mbQuant[0], 1);

    // Type 1, COD 1: copies the reference into the other store.
    ASSERT_EQ(dec.Decode({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x20, 0xA0}), 0);
    EXPECT_EQ(dec.planes, dec->stores[1]);
    ExpectExamplePicture(dec.Decoded());
    EXPECT_EQ(dec->current, 0);
    EXPECT_EQ(dec->mbTypes[0], 0);

    // Type 2, COD 1: decoded into the free store, which stays free.
    ASSERT_EQ(dec.Decode({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x40, 0xA0}), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    ExpectExamplePicture(dec.Decoded());
    EXPECT_EQ(dec->current, 0);
    EXPECT_EQ(dec->frameCount, 3);
}

TEST(PictureDecoder, StuffingIsSkippedInBothPictureKinds) {
    const Bytes withStuffing = {0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0x80,
                                0x33, 0x32, 0x3C, 0x46, 0x50, 0x64, 0xC8};
    MB mb;
    mb.dc = kExampleDc;
    mb.stuffing = 1;
    EXPECT_EQ(FrameWriter(FieldsForSize(16, 16)).Add(mb).Bytes(), withStuffing);
    TestDecoder dec(16, 16);
    ASSERT_EQ(dec.Decode(withStuffing), 0);
    ExpectExamplePicture(dec.Decoded());

    mb.stuffing = 3;  // several in a row, and DQUANT behind them
    mb.kind = MB::kIntraQ;
    mb.dquant = 3;
    ASSERT_EQ(dec.Decode(FrameWriter(FieldsForSize(16, 16, 0, 7)).Add(mb).Bytes()), 0);
    ExpectExamplePicture(dec.Decoded());
    EXPECT_EQ(dec->mbQuant[0], 9);

    // P picture. Macroblock 0: stuffing, then COD 1. Macroblock 1: two
    // stuffings, then an inter macroblock with vector (2, 0).
    TestDecoder p(32, 16);
    ASSERT_EQ(p.Decode(Textured(32, 16, 7)), 0);
    const Picture ref = p.Decoded();
    FrameWriter frame(FieldsForSize(32, 16, 2));
    frame.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing);
    frame.Skip();
    MB inter;
    inter.kind = MB::kInter;
    inter.mvd[0] = {2, 0};
    inter.stuffing = 2;
    ASSERT_EQ(p.Decode(frame.Add(inter).Bytes()), 0);
    const Picture out = p.Decoded();
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(out.y.At(i % 16, i / 16), ref.y.At(i % 16, i / 16));
        ASSERT_EQ(out.y.At(16 + i % 16, i / 16), ref.y.At(17 + i % 16, i / 16));
    }
    EXPECT_EQ(p->mbTypes[0], 0);
    EXPECT_EQ(p->mbTypes[1], 0);
}

TEST(PictureDecoder, DquantIsClampedToOneAndThirtyOne) {
    MB down;  // DQUANT -2
    down.kind = MB::kIntraQ;
    down.dquant = 1;
    MB up = down;  // +2
    up.dquant = 3;
    MB minusOne = down;
    minusOne.dquant = 0;
    MB interQ = up;
    interQ.kind = MB::kInterQ;
    struct Case {
        uint32_t type, quant;
        std::array<MB, 3> mbs;
        std::array<int, 3> quants;
    };
    // In the P picture a skipped macroblock keeps the entry the last picture wrote.
    const Case cases[] = {{0, 1, {down, MB{}, down}, {1, 1, 1}},
                          {0, 30, {up, up, minusOne}, {31, 31, 30}},
                          {1, 3, {interQ, down, MB{MB::kSkip}}, {5, 3, 30}}};
    TestDecoder dec(48, 16);
    for (const Case& c : cases) {
        FrameWriter frame(FieldsForSize(48, 16, c.type, c.quant));
        for (const MB& mb : c.mbs) frame.Add(mb);
        ASSERT_EQ(dec.Decode(frame.Bytes()), 0);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(dec->mbQuant[i], c.quants[i]) << "quant " << c.quant;
    }
    EXPECT_EQ(dec->mbTypes[0], 1);
    EXPECT_EQ(dec->mbTypes[1], 4);
}

TEST(PictureDecoder, TypeThreePictureDecodesNothingAndBecomesTheReference) {
    TestDecoder dec(176, 144);
    FrameWriter type3(FieldsForSize(176, 144, 3));
    type3.bits().Put(0, 30);  // bits behind the header are never read
    const Bytes frame = type3.Bytes();
    ASSERT_EQ(dec.Decode(frame), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    EXPECT_EQ(dec->current, 1);

    ASSERT_EQ(
        dec.Decode(FlatIntraPicture(FieldsForSize(176, 144), 99, [](int i, int) { return i; })), 0);
    EXPECT_EQ(dec.planes, dec->stores[1]);
    const Picture store0 = dec.Store(0), store1 = dec.Store(1);
    ASSERT_EQ(dec.Decode(frame), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    EXPECT_EQ(dec->current, 1);
    EXPECT_EQ(dec->frameCount, 3);
    EXPECT_EQ(dec.Store(0), store0);  // nothing was written
    EXPECT_EQ(dec.Store(1), store1);
}

TEST(PictureDecoder, FrameOfAnotherSizeIsRefusedWithoutChange) {
    TestDecoder dec(128, 96);
    ASSERT_EQ(dec.Decode(Textured(128, 96, 3)), 0);
    const Picture store0 = dec.Store(0), store1 = dec.Store(1);
    EXPECT_EQ(dec.Decode(Textured(176, 144, 4)), kStatusSizeChanged);
    EXPECT_EQ(dec.planes, nullptr);
    EXPECT_EQ(dec.yStride, -1);
    EXPECT_EQ(dec->current, 1);
    EXPECT_EQ(dec->frameCount, 1);
    EXPECT_EQ(dec.Store(0), store0);
    EXPECT_EQ(dec.Store(1), store1);

    // The header's size is compared, not the macroblock grid.
    auto nine = [](int, int) { return 9; };
    TestDecoder aligned(160, 128), small(160, 120);
    EXPECT_EQ(aligned.Decode(FlatIntraPicture(FieldsForSize(160, 120), 80, nine)),
              kStatusSizeChanged);
    EXPECT_EQ(small.Decode(FlatIntraPicture(FieldsForSize(160, 128), 80, nine)),
              kStatusSizeChanged);
}

TEST(PictureDecoder, EverySourceFormatDecodesItsWholeMacroblockGrid) {
    struct Case {
        uint32_t sourceFormat;
        int width, height;
    };
    const Case cases[] = {{0, 33, 17},   {0, 255, 16}, {1, 272, 20},  {1, 16, 300}, {2, 352, 288},
                          {3, 176, 144}, {4, 128, 96}, {5, 320, 240}, {6, 160, 120}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "format " << c.sourceFormat << " " << c.width << "x" << c.height);
        TestDecoder dec(c.width, c.height);
        ASSERT_TRUE(dec.ok());
        PictureFields fields = FieldsForSize(c.width, c.height);
        ASSERT_EQ(fields.sourceFormat, c.sourceFormat);
        fields.extra = {0xAB, 0x00};
        const int perRow = (c.width + 15) / 16, rows = (c.height + 15) / 16;
        auto dc = [](int i, int b) { return (i * 7 + b * 31) % 254; };
        ASSERT_EQ(dec.Decode(FlatIntraPicture(fields, perRow * rows, dc)), 0);
        EXPECT_EQ(dec->frameCount, 1);
        const Picture p = dec.Decoded();
        EXPECT_EQ(p.y.height, rows * 16);  // 160x120 decodes 128 rows
        for (int i = 0; i < perRow * rows; ++i) {
            for (int b = 0; b < 6; ++b) ExpectFlatBlock(p, i % perRow, i / perRow, b, dc(i, b));
        }
    }
}

// ---------------------------------------------------------------------------
// Inter pictures: samples checked against predictions made from the reference.

class InterPicture : public testing::Test {
protected:
    static constexpr int kWidth = 48, kHeight = 32, kMbCount = 6;

    void SetUp() override {
        ASSERT_TRUE(dec_.ok());
        ASSERT_EQ(dec_.Decode(Textured(kWidth, kHeight, 5)), 0);
        ref_ = dec_.Decoded();
    }
    // Disposable pictures leave the reference in place for the next one.
    static PictureFields Disposable(uint32_t quantiser = 4, uint32_t version = 0) {
        return FieldsForSize(kWidth, kHeight, 2, quantiser, version);
    }

    TestDecoder dec_{kWidth, kHeight};
    Picture ref_;
};

TEST_F(InterPicture, WholeAndHalfSampleVectorsPredictFromTheReference) {
    for (const Vector v : {Vector{4, -6}, Vector{1, 0}, Vector{-1, -1}, Vector{-3, 5},
                           Vector{31, 31}, Vector{-32, -32}}) {
        SCOPED_TRACE(testing::Message() << "vector " << v.x << "," << v.y);
        ASSERT_EQ(dec_.Decode(UniformVectorPicture(Disposable(), kMbCount, v)), 0);
        EXPECT_EQ(dec_.Decoded(), PredictWhole(ref_, v));
        EXPECT_EQ(dec_->mbVectors[kMbCount - 1].vectors[0].x, v.x);
        EXPECT_EQ(dec_->mbVectors[kMbCount - 1].vectors[0].y, v.y);
    }
}

TEST_F(InterPicture, DcResidualsWithEscapesInBothVersions) {
    // Header QUANT 2, then INTER+Q +2 on macroblock 0: the residuals are
    // dequantised at 4, where a DC-only residual equals its LEVEL (at 2 the
    // values would differ). Version 0 escapes carry 8-bit levels, version 1
    // the 11-bit escape as well.
    struct Coded {
        int mb, block, level;
        Event::Form form = Event::kAuto;
    };
    const std::vector<Coded> perVersion[2] = {
        {{0, 0, 5},
         {0, 4, -3},
         {2, 0, -100},
         {2, 1, 127},
         {2, 2, -128},
         {4, 1, 40, Event::kEscapeShort}},
        {{0, 0, 5}, {1, 3, 200}, {2, 5, -120}, {5, 2, -60, Event::kEscapeLong}, {5, 3, 1}}};
    const Vector v{3, -1};
    for (uint32_t version : {0u, 1u}) {
        SCOPED_TRACE(testing::Message() << "version " << version);
        FrameWriter frame(Disposable(2, version));
        Picture expected = PredictWhole(ref_, v);
        for (int i = 0; i < kMbCount; ++i) {
            MB mb;
            mb.kind = i == 0 ? MB::kInterQ : MB::kInter;
            mb.dquant = 3;
            if (i == 0) mb.mvd[0] = v;
            for (const Coded& c : perVersion[version]) {
                if (c.mb == i) mb.blocks[c.block] = {Event{0, c.level, c.form}};
            }
            frame.Add(mb);
        }
        for (const Coded& c : perVersion[version])
            AddToBlock(expected, c.mb % 3, c.mb / 3, c.block, c.level);
        ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
        EXPECT_EQ(dec_->mbQuant[0], 4);
        EXPECT_EQ(dec_.Decoded(), expected);
    }
}

int Median(int a, int b, int c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); }

TEST_F(InterPicture, FourVectorMacroblockPredictsEachLumaBlockAndItsChroma) {
    // Macroblock 0 carries four vectors, the others are skipped. The chroma
    // vector comes from the summed components (14, -19) -> (2, -3).
    const std::array<Vector, 4> v = {{{2, 3}, {5, -7}, {-1, -9}, {8, -6}}};
    // Prediction inside the macroblock: upper left from the (absent)
    // neighbours, upper right from its left vector, the lower two as medians.
    MB mb;
    mb.kind = MB::kInter4V;
    mb.mvd[0] = v[0];
    mb.mvd[1] = {v[1].x - v[0].x, v[1].y - v[0].y};
    mb.mvd[2] = {v[2].x - Median(0, v[0].x, v[1].x), v[2].y - Median(0, v[0].y, v[1].y)};
    mb.mvd[3] = {v[3].x - Median(v[2].x, v[0].x, v[1].x), v[3].y - Median(v[2].y, v[0].y, v[1].y)};
    mb.blocks[3] = {Event{0, 7}};
    ASSERT_EQ(dec_.Decode(FrameWriter(Disposable()).Add(mb).Skip(kMbCount - 1).Bytes()), 0);
    EXPECT_EQ(dec_->mbTypes[0], 2);

    Picture expected = ref_;  // skipped macroblocks copy the reference
    for (int b = 0; b < 4; ++b)
        PredictArea(expected.y, ref_.y, BlockX(0, b), BlockY(0, b), 8, 8, v[b]);
    PredictArea(expected.u, ref_.u, 0, 0, 8, 8, {2, -3});
    PredictArea(expected.v, ref_.v, 0, 0, 8, 8, {2, -3});
    AddToBlock(expected, 0, 0, 3, 7);
    EXPECT_EQ(dec_.Decoded(), expected);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(dec_->mbVectors[0].vectors[k].x, v[k].x);
        EXPECT_EQ(dec_->mbVectors[0].vectors[k].y, v[k].y);
    }
}

TEST_F(InterPicture, IntraMacroblocksOfAPPictureUseThePatternUninverted) {
    FrameWriter frame(Disposable(6));
    MB intra;
    intra.kind = MB::kIntraQ;
    intra.dquant = 2;  // 6 + 1
    intra.dc = {10, 20, 30, 255, 50, 60};
    intra.blocks[1] = {Event{0, 0, Event::kEscapeShort}};  // coded, but flat
    frame.Add(intra);
    MB inter;
    inter.kind = MB::kInter;
    for (int i = 1; i < kMbCount; ++i) frame.Add(inter);
    ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
    const Picture out = dec_.Decoded();
    const int dcs[6] = {10, 20, 30, 128, 50, 60};
    for (int b = 0; b < 6; ++b) ExpectFlatBlock(out, 0, 0, b, dcs[b]);
    EXPECT_EQ(dec_->mbTypes[0], 4);
    EXPECT_EQ(dec_->mbQuant[0], 7);
    EXPECT_EQ(out.y.At(20, 20), ref_.y.At(20, 20));
}

TEST_F(InterPicture, DisposablePictureIsShownButNeverReferenced) {
    ASSERT_EQ(dec_.Decode(UniformVectorPicture(Disposable(), kMbCount, {6, 4})), 0);
    EXPECT_EQ(dec_.planes, dec_->stores[1]);
    EXPECT_EQ(dec_->current, 1);
    // The next P picture predicts from the intra picture again, and becomes the reference.
    const PictureFields p = FieldsForSize(kWidth, kHeight, 1);
    ASSERT_EQ(dec_.Decode(UniformVectorPicture(p, kMbCount, {-2, 0})), 0);
    EXPECT_EQ(dec_.planes, dec_->stores[1]);
    const Picture second = dec_.Decoded();
    EXPECT_EQ(second, PredictWhole(ref_, {-2, 0}));
    EXPECT_EQ(dec_->current, 0);
    ASSERT_EQ(dec_.Decode(UniformVectorPicture(p, kMbCount, {0, 3})), 0);
    EXPECT_EQ(dec_.planes, dec_->stores[0]);
    EXPECT_EQ(dec_.Decoded(), PredictWhole(second, {0, 3}));
}

// ---------------------------------------------------------------------------
// Corrupt and truncated frames.

TEST(PictureBadInput, FailedLookupOrTheEndAfterStuffingEndsThePicture) {
    auto stuffed = [](int w, int h, uint32_t type, const Bytes& extra) {
        PictureFields fields = FieldsForSize(w, h, type);
        fields.extra = extra;
        FrameWriter frame(fields);
        if (type == 0) {
            frame.bits().Code(McbpcIntraCodes, kMcbpcIntraStuffing);
        } else {
            frame.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing);
        }
        return frame;
    };
    const std::set<int32_t> failures = {kStatusOutOfData, kStatusBadData};
    for (uint32_t type : {0u, 1u, 2u}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        // Nine zero bits (in P pictures after COD 0) begin no MCBPC code; enough
        // bits follow for every field. With 99 macroblocks the data runs out later.
        TestDecoder dec(16, 16), large(176, 144);
        FrameWriter noCode = stuffed(16, 16, type, {}), largeNoCode = stuffed(176, 144, type, {});
        for (FrameWriter* f : {&noCode, &largeNoCode}) {
            f->bits().Put(0, type != 0 ? 10 : 9).Put(0xFFFFFFFF, 32).Put(0xFFFFFFFF, 32);
        }
        EXPECT_EQ(dec.Decode(noCode.Bytes()), kStatusBadData);
        EXPECT_TRUE(failures.count(large.Decode(largeNoCode.Bytes())));
        // Five extra-information bytes end an intra frame right after the
        // stuffing code: 58 + 5 * 9 + 9 = 112 bits.
        FrameWriter atEnd = stuffed(16, 16, type, {1, 2, 3, 4, 5});
        if (type == 0) {
            ASSERT_EQ(atEnd.bits().bitCount(), 112u);
        }
        EXPECT_TRUE(failures.count(dec.Decode(atEnd.Bytes())));
        EXPECT_EQ(dec->frameCount, 0);
        EXPECT_EQ(large->frameCount, 0);
    }
}

TEST(PictureBadInput, FailedLookupKeepsTheLastTypeAndNeverTheStuffing) {
    TestDecoder dec(48, 16);
    ASSERT_EQ(dec.Decode(Textured(48, 16, 2)), 0);
    // Macroblock 0 INTER+Q; macroblock 1: stuffing, then an MCBPC that begins
    // no code. Macroblock 1 keeps type 1; the stuffing value (type 5) would
    // have ended the picture with 44.
    FrameWriter frame(FieldsForSize(48, 16, 1, 8));
    MB interQ;
    interQ.kind = MB::kInterQ;
    frame.Add(interQ).bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing).Put(0, 10);
    dec->mbTypes[1] = 9;
    EXPECT_EQ(dec.Decode(frame.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->mbTypes[0], 1);
    EXPECT_EQ(dec->mbTypes[1], 1);

    // A failure before any MCBPC of the picture was read counts as MCBPC 0.
    FrameWriter first(FieldsForSize(48, 16, 1, 8));
    first.bits().Put(0, 30).Put(0, 20);
    dec->mbTypes[0] = 9;
    EXPECT_EQ(dec.Decode(first.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->mbTypes[0], 0);
    EXPECT_EQ(dec->frameCount, 1);
}

TEST(PictureBadInput, LastFailedReadDecidesBetweenFourAndTwelve) {
    // Out of data: MCBPC and CBPY fine, then only three INTRADC bytes.
    FrameWriter shortFrame(FieldsForSize(16, 16));
    shortFrame.bits().Code(McbpcIntraCodes, 0).Code(CbpyCodes, 0).Put(0x102030, 24);
    EXPECT_EQ(shortFrame.bits().bitCount() % 8, 7u);
    // A CBPY pattern that begins no code, followed by enough bits for the blocks.
    FrameWriter badCbpy(FieldsForSize(16, 16));
    badCbpy.bits().Code(McbpcIntraCodes, 0).Bits("000000").Put(0xFFFFFFFF, 32).Put(0xFFFF, 16);
    // A P macroblock whose MVD begins no code.
    FrameWriter badMvd(FieldsForSize(16, 16, 1));
    badMvd.bits().Put(0, 1).Code(McbpcInterCodes, 0).Code(CbpyCodes, 15).Put(0, 13).Put(0xFF, 8);

    TestDecoder dec(16, 16);
    EXPECT_EQ(dec.Decode(shortFrame.Bytes()), kStatusOutOfData);
    EXPECT_EQ(dec.Decode(badCbpy.Bytes()), kStatusBadData);
    EXPECT_EQ(dec.Decode(kIntra16), 0);
    EXPECT_EQ(dec.Decode(badMvd.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->frameCount, 1);
    EXPECT_EQ(dec->current, 1);

    // Negative and zero sizes are refused before anything is read.
    int32_t ys = 0, uvs = 0;
    for (int32_t size : {-1, 0}) {
        unsigned char** planes = nullptr;
        EXPECT_EQ(H263DecompressFrame(dec.get(), kIntra16.data(), size, &planes, &ys, &uvs),
                  kStatusBadData);
        EXPECT_EQ(planes, nullptr);
    }
    EXPECT_EQ(dec->frameCount, 1);
}

// Every proper prefix of a frame fails, and afterwards the decoder produces
// exactly what a fresh decoder produces. A prefix that ends inside the header
// leaves the reader's error 4 behind, which the next picture reports.
TEST(PictureBadInput, TruncatedFramesFailAndLeaveTheDecoderIntact) {
    const int w = 48, h = 32, mbs = 6;
    RandomStream random(77);
    const Bytes intra = random.Picture(FieldsForSize(w, h, 0, 6), mbs);
    const Bytes inter = random.Picture(FieldsForSize(w, h, 1, 6, 1), mbs);

    TestDecoder fresh(w, h);
    ASSERT_EQ(fresh.Decode(intra), 0);
    const Picture intraPicture = fresh.Decoded();
    ASSERT_EQ(fresh.Decode(inter), 0);
    const Picture interPicture = fresh.Decoded();

    const std::set<int32_t> failures = {kStatusOutOfData, kStatusBadData, kStatusSizeChanged};
    TestDecoder dec(w, h);
    // Fails on the first n bytes of `frame`, then decodes it whole.
    auto cutThenWhole = [&](const Bytes& frame, size_t n, const Picture& expected) {
        const int32_t failure = dec.Decode(frame, n);
        ASSERT_TRUE(failures.count(failure)) << failure;
        if (failure == kStatusSizeChanged) {
            ASSERT_EQ(dec.Decode(frame), kStatusOutOfData);  // the stale header error
        }
        ASSERT_EQ(dec.Decode(frame), 0);
        ASSERT_EQ(dec.Decoded(), expected);
    };
    for (size_t n = 0; n < std::max(intra.size(), inter.size()); ++n) {
        SCOPED_TRACE(testing::Message() << "prefix of " << n << " bytes");
        if (n < intra.size()) {
            cutThenWhole(intra, n, intraPicture);
        } else {
            ASSERT_EQ(dec.Decode(intra), 0);
        }
        if (n < inter.size()) cutThenWhole(inter, n, interPicture);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
}  // namespace veltrane::test
