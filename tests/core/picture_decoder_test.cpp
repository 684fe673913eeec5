// Whole pictures through H263DecompressFrame: intra, inter, four-vector,
// disposable and type-3 pictures, every source format, both escape versions,
// and frames that are cut short or corrupt.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <set>
#include <vector>

#include "core/decoded_picture.h"
#include "support/stream_builder.h"
#include "veltrane/bitreader.h"
#include "veltrane/decoder.h"

namespace veltrane::test {
namespace {

using Bytes = std::vector<uint8_t>;
using MB = Macroblock;

// ---------------------------------------------------------------------------
// Expectations computed independently of the decoder.

// Half-sample prediction of one sample from a reference plane.
int Predict(const Plane& ref, int x, int y, int mvx, int mvy) {
    const int ix = x + (mvx >> 1);
    const int iy = y + (mvy >> 1);
    const int hx = mvx & 1;
    const int hy = mvy & 1;
    const int a = ref.At(ix, iy);
    const int b = ref.At(ix + hx, iy);
    const int c = ref.At(ix, iy + hy);
    const int d = ref.At(ix + hx, iy + hy);
    if (hx && hy) return (a + b + c + d + 2) >> 2;
    if (hx) return (a + b + 1) >> 1;
    if (hy) return (a + c + 1) >> 1;
    return a;
}

// Chroma component of a one-vector macroblock: half the luma vector, with
// quarter-sample positions moved to the half sample between them.
int ChromaOfOneVector(int v) {
    const int a = std::abs(v);
    int c = a >> 1;
    if (a % 4 != 0) c |= 1;
    return v < 0 ? -c : c;
}

int Saturate(int v) { return std::clamp(v, 0, 255); }

// Expected samples of a picture predicted everywhere with one vector.
Picture PredictWhole(const Picture& ref, Vector v) {
    Picture out = ref;
    const int cx = ChromaOfOneVector(v.x);
    const int cy = ChromaOfOneVector(v.y);
    for (int y = 0; y < ref.y.height; ++y) {
        for (int x = 0; x < ref.y.width; ++x) {
            out.y.samples[y * ref.y.width + x] =
                static_cast<uint8_t>(Predict(ref.y, x, y, v.x, v.y));
        }
    }
    for (int y = 0; y < ref.u.height; ++y) {
        for (int x = 0; x < ref.u.width; ++x) {
            out.u.samples[y * ref.u.width + x] = static_cast<uint8_t>(Predict(ref.u, x, y, cx, cy));
            out.v.samples[y * ref.v.width + x] = static_cast<uint8_t>(Predict(ref.v, x, y, cx, cy));
        }
    }
    return out;
}

constexpr int kZigzag[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                             12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                             35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                             58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

int Dequantise(int level, int q) {
    const int a = q % 2 ? q : q - 1;
    if (level > 0) return std::min(2 * q * level + a, 2047);
    if (level < 0) return std::max(2 * q * level - a, -2048);
    return 0;
}

// Floating-point inverse DCT of a block given as TCOEF events (plus an intra DC).
std::array<double, 64> InverseDct(const std::vector<Event>& events, int q, int intraDc = -1) {
    std::array<double, 64> f{};
    int scan = 0;
    if (intraDc >= 0) {
        f[0] = 8.0 * intraDc;
        scan = 1;
    }
    for (const Event& e : events) {
        scan += e.run;
        f[kZigzag[scan]] = Dequantise(e.level, q);
        ++scan;
    }
    std::array<double, 64> out{};
    const double pi = std::numbers::pi;
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            double sum = 0;
            for (int v = 0; v < 8; ++v) {
                for (int u = 0; u < 8; ++u) {
                    const double cu = u == 0 ? std::numbers::sqrt2 / 2 : 1.0;
                    const double cv = v == 0 ? std::numbers::sqrt2 / 2 : 1.0;
                    sum += cu * cv / 4 * f[v * 8 + u] * std::cos((2 * x + 1) * u * pi / 16) *
                           std::cos((2 * y + 1) * v * pi / 16);
                }
            }
            out[y * 8 + x] = sum;
        }
    }
    return out;
}

// A one-coefficient inter block: at QUANT 4 the DC-only residual equals LEVEL.
std::vector<Event> DcResidual(int level, Event::Form form = Event::kAuto) {
    return {Event{0, level, form}};
}

// Luma and chroma origins of block b (0..5) of macroblock (mx, my), in samples.
struct BlockPos {
    Plane Picture::*plane;
    int x, y;
};
BlockPos BlockOf(int mx, int my, int b) {
    if (b < 4) return {&Picture::y, mx * 16 + 8 * (b & 1), my * 16 + 8 * (b >> 1)};
    return {b == 4 ? &Picture::u : &Picture::v, mx * 8, my * 8};
}

// Every sample of the 8x8 block equals `value`.
void ExpectFlatBlock(const Picture& pic, int mx, int my, int b, int value) {
    const BlockPos pos = BlockOf(mx, my, b);
    const Plane& plane = pic.*pos.plane;
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            ASSERT_EQ(plane.At(pos.x + x, pos.y + y), value)
                << "macroblock " << mx << "," << my << " block " << b << " at " << x << "," << y;
        }
    }
}

// A textured intra picture: every block carries random coefficients.
Bytes TexturedIntraPicture(const PictureFields& fields, int mbCount, uint32_t seed) {
    RandomStream random(seed);
    FrameWriter frame(fields);
    for (int i = 0; i < mbCount; ++i) {
        MB mb;
        for (int b = 0; b < 6; ++b) {
            mb.dc[b] = static_cast<uint8_t>(random.Uniform(40, 220));
            mb.blocks[b] = random.RandomEvents();
        }
        frame.Add(mb);
    }
    return frame.Bytes();
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

void ExpectExamplePicture(const Picture& p) {
    ExpectFlatBlock(p, 0, 0, 0, 50);
    ExpectFlatBlock(p, 0, 0, 1, 60);
    ExpectFlatBlock(p, 0, 0, 2, 70);
    ExpectFlatBlock(p, 0, 0, 3, 80);
    ExpectFlatBlock(p, 0, 0, 4, 100);
    ExpectFlatBlock(p, 0, 0, 5, 200);
}

TEST(PictureDecoder, OneMacroblockIntraPictureFromFourteenBytes) {
    // The writer produces exactly these bytes, which validates it for the tests below.
    MB mb;
    mb.dc = {50, 60, 70, 80, 100, 200};
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
}

TEST(PictureDecoder, SkippedMacroblocksCopyTheReferenceAndDisposablesStayOut) {
    TestDecoder dec(16, 16);
    ASSERT_TRUE(dec.ok());
    ASSERT_EQ(dec.Decode(kIntra16), 0);

    ASSERT_EQ(dec.Decode({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x20, 0xA0}), 0);  // type 1, COD 1
    EXPECT_EQ(dec.planes, dec->stores[1]);
    ExpectExamplePicture(dec.Decoded());
    EXPECT_EQ(dec->current, 0);
    EXPECT_EQ(dec->mbTypes[0], 0);

    ASSERT_EQ(dec.Decode({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x40, 0xA0}), 0);  // type 2, COD 1
    EXPECT_EQ(dec.planes, dec->stores[0]);
    ExpectExamplePicture(dec.Decoded());
    EXPECT_EQ(dec->current, 0);
    EXPECT_EQ(dec->frameCount, 3);
}

TEST(PictureDecoder, StuffingBeforeAnIntraMacroblockIsSkipped) {
    const Bytes withStuffing = {0x00, 0x00, 0x80, 0x00, 0x08, 0x08, 0x00, 0x80,
                                0x33, 0x32, 0x3C, 0x46, 0x50, 0x64, 0xC8};
    MB mb;
    mb.dc = {50, 60, 70, 80, 100, 200};
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
}

TEST(PictureDecoder, StuffingBeforeAPMacroblockRestartsItWithItsCod) {
    TestDecoder dec(32, 16);
    ASSERT_TRUE(dec.ok());
    const Bytes intra = TexturedIntraPicture(FieldsForSize(32, 16), 2, 7);
    ASSERT_EQ(dec.Decode(intra), 0);
    const Picture ref = dec.Decoded();

    // Macroblock 0: stuffing, then COD 1. Macroblock 1: two stuffings, then an
    // inter macroblock with vector (2, 0).
    FrameWriter frame(FieldsForSize(32, 16, 2));
    frame.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing);
    frame.Skip();
    MB mb;
    mb.kind = MB::kInter;
    mb.mvd[0] = {2, 0};
    mb.stuffing = 2;
    frame.Add(mb);
    ASSERT_EQ(dec.Decode(frame.Bytes()), 0);
    const Picture out = dec.Decoded();
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            ASSERT_EQ(out.y.At(x, y), ref.y.At(x, y));
            ASSERT_EQ(out.y.At(16 + x, y), ref.y.At(16 + x + 1, y));
        }
    }
    EXPECT_EQ(dec->mbTypes[0], 0);
    EXPECT_EQ(dec->mbTypes[1], 0);
}

TEST(PictureDecoder, DquantIsClampedToOneAndThirtyOne) {
    TestDecoder dec(48, 16);
    ASSERT_TRUE(dec.ok());
    MB down;
    down.kind = MB::kIntraQ;
    down.dquant = 1;  // -2
    MB plain;
    ASSERT_EQ(
        dec.Decode(FrameWriter(FieldsForSize(48, 16, 0, 1)).Add(down).Add(plain).Add(down).Bytes()),
        0);
    EXPECT_EQ(dec->mbQuant[0], 1);
    EXPECT_EQ(dec->mbQuant[1], 1);
    EXPECT_EQ(dec->mbQuant[2], 1);

    MB up = down;
    up.dquant = 3;  // +2
    MB minusOne = down;
    minusOne.dquant = 0;
    ASSERT_EQ(
        dec.Decode(FrameWriter(FieldsForSize(48, 16, 0, 30)).Add(up).Add(up).Add(minusOne).Bytes()),
        0);
    EXPECT_EQ(dec->mbQuant[0], 31);
    EXPECT_EQ(dec->mbQuant[1], 31);
    EXPECT_EQ(dec->mbQuant[2], 30);

    // P picture: INTER+Q and INTRA+Q change the running quantiser; a skipped
    // macroblock leaves its entry as the last picture wrote it.
    MB interQ;
    interQ.kind = MB::kInterQ;
    interQ.dquant = 3;
    MB intraQ = down;
    ASSERT_EQ(
        dec.Decode(FrameWriter(FieldsForSize(48, 16, 1, 3)).Add(interQ).Add(intraQ).Skip().Bytes()),
        0);
    EXPECT_EQ(dec->mbQuant[0], 5);
    EXPECT_EQ(dec->mbQuant[1], 3);
    EXPECT_EQ(dec->mbQuant[2], 30);
    EXPECT_EQ(dec->mbTypes[0], 1);
    EXPECT_EQ(dec->mbTypes[1], 4);
}

TEST(PictureDecoder, TypeThreePictureDecodesNothingAndBecomesTheReference) {
    TestDecoder dec(176, 144);
    ASSERT_TRUE(dec.ok());
    FrameWriter type3(FieldsForSize(176, 144, 3));
    type3.bits().Put(0, 30);  // bits behind the header are never read
    const Bytes frame = type3.Bytes();

    ASSERT_EQ(dec.Decode(frame), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    EXPECT_EQ(dec->current, 1);

    const Bytes intra = FlatIntraPicture(FieldsForSize(176, 144), 99, [](int i, int) { return i; });
    ASSERT_EQ(dec.Decode(intra), 0);
    EXPECT_EQ(dec.planes, dec->stores[1]);
    const Picture store0 = dec.Store(0);
    const Picture store1 = dec.Store(1);
    ASSERT_EQ(dec.Decode(frame), 0);
    EXPECT_EQ(dec.planes, dec->stores[0]);
    EXPECT_EQ(dec->current, 1);
    EXPECT_EQ(dec->frameCount, 3);
    EXPECT_EQ(dec.Store(0), store0);  // nothing was written
    EXPECT_EQ(dec.Store(1), store1);
}

TEST(PictureDecoder, FrameOfAnotherSizeIsRefusedWithoutChange) {
    TestDecoder dec(128, 96);
    ASSERT_TRUE(dec.ok());
    ASSERT_EQ(dec.Decode(TexturedIntraPicture(FieldsForSize(128, 96), 48, 3)), 0);
    const Picture store0 = dec.Store(0);
    const Picture store1 = dec.Store(1);

    const Bytes other = TexturedIntraPicture(FieldsForSize(176, 144), 99, 4);
    EXPECT_EQ(dec.Decode(other), kStatusSizeChanged);
    EXPECT_EQ(dec.planes, nullptr);
    EXPECT_EQ(dec.yStride, -1);
    EXPECT_EQ(dec->current, 1);
    EXPECT_EQ(dec->frameCount, 1);
    EXPECT_EQ(dec.Store(0), store0);
    EXPECT_EQ(dec.Store(1), store1);

    // The header's size is compared, not the macroblock grid.
    TestDecoder aligned(160, 128);
    EXPECT_EQ(
        aligned.Decode(FlatIntraPicture(FieldsForSize(160, 120), 80, [](int, int) { return 9; })),
        kStatusSizeChanged);
    TestDecoder small(160, 120);
    EXPECT_EQ(
        small.Decode(FlatIntraPicture(FieldsForSize(160, 128), 80, [](int, int) { return 9; })),
        kStatusSizeChanged);
}

struct FormatCase {
    uint32_t sourceFormat;
    int width;
    int height;
};

TEST(PictureDecoder, EverySourceFormatDecodesItsWholeMacroblockGrid) {
    const FormatCase cases[] = {{0, 33, 17},  {0, 255, 16},  {1, 272, 20},
                                {1, 16, 300}, {2, 352, 288}, {3, 176, 144},
                                {4, 128, 96}, {5, 320, 240}, {6, 160, 120}};
    for (const FormatCase& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "format " << c.sourceFormat << " " << c.width << "x" << c.height);
        TestDecoder dec(c.width, c.height);
        ASSERT_TRUE(dec.ok());
        PictureFields fields = FieldsForSize(c.width, c.height);
        ASSERT_EQ(fields.sourceFormat, c.sourceFormat);
        fields.extra = {0xAB, 0x00};
        const int perRow = (c.width + 15) / 16;
        const int rows = (c.height + 15) / 16;
        auto dc = [](int i, int b) { return (i * 7 + b * 31) % 254; };
        ASSERT_EQ(dec.Decode(FlatIntraPicture(fields, perRow * rows, dc)), 0);
        EXPECT_EQ(dec->frameCount, 1);
        EXPECT_EQ(dec->current, 1);
        const Picture p = dec.Decoded();
        EXPECT_EQ(p.y.height, rows * 16);  // 160x120 decodes 128 rows
        for (int i = 0; i < perRow * rows; ++i) {
            for (int b = 0; b < 6; ++b) ExpectFlatBlock(p, i % perRow, i / perRow, b, dc(i, b));
        }
    }
}

TEST(PictureDecoder, AllSkippedPictureReproducesTheReference) {
    TestDecoder dec(176, 144);
    ASSERT_TRUE(dec.ok());
    ASSERT_EQ(dec.Decode(TexturedIntraPicture(FieldsForSize(176, 144), 99, 11)), 0);
    const Picture ref = dec.Decoded();
    for (int i = 0; i < 99; ++i) dec->mbTypes[i] = 3;
    ASSERT_EQ(dec.Decode(FrameWriter(FieldsForSize(176, 144, 1)).Skip(99).Bytes()), 0);
    EXPECT_EQ(dec.planes, dec->stores[1]);
    EXPECT_EQ(dec.Decoded(), ref);
    for (int i = 0; i < 99; ++i) ASSERT_EQ(dec->mbTypes[i], 0);
    EXPECT_EQ(dec->current, 0);
    EXPECT_EQ(dec->frameCount, 2);
}

// ---------------------------------------------------------------------------
// Inter pictures: samples checked against predictions made from the reference.

class InterPicture : public testing::Test {
protected:
    static constexpr int kWidth = 48;
    static constexpr int kHeight = 32;
    static constexpr int kMbCount = 6;

    void SetUp() override {
        ASSERT_TRUE(dec_.ok());
        ASSERT_EQ(dec_.Decode(TexturedIntraPicture(FieldsForSize(kWidth, kHeight), kMbCount, 5)),
                  0);
        ref_ = dec_.Decoded();
    }
    // Disposable pictures leave the reference in place for the next one.
    PictureFields Disposable(uint32_t quantiser = 4, uint32_t version = 0) const {
        return FieldsForSize(kWidth, kHeight, 2, quantiser, version);
    }

    TestDecoder dec_{kWidth, kHeight};
    Picture ref_;
};

TEST_F(InterPicture, WholeAndHalfSampleVectorsPredictFromTheReference) {
    const Vector vectors[] = {{0, 0},   {4, -6}, {-2, 2}, {1, 0},   {0, 1},     {1, 1},
                              {-1, -1}, {-3, 5}, {7, -9}, {31, 31}, {-32, -32}, {-31, 30}};
    for (const Vector& v : vectors) {
        SCOPED_TRACE(testing::Message() << "vector " << v.x << "," << v.y);
        ASSERT_EQ(dec_.Decode(UniformVectorPicture(Disposable(), kMbCount, v)), 0);
        EXPECT_EQ(dec_.Decoded(), PredictWhole(ref_, v));
        EXPECT_EQ(dec_->mbVectors[kMbCount - 1].vectors[0].x, v.x);
        EXPECT_EQ(dec_->mbVectors[kMbCount - 1].vectors[0].y, v.y);
    }
}

TEST_F(InterPicture, DcResidualsAddAndSaturate) {
    // QUANT 4 makes a DC-only residual equal to its LEVEL. Version 1 allows the
    // 11-bit escape for levels beyond 127.
    const Vector v{3, -1};
    FrameWriter frame(Disposable(4, 1));
    struct Coded {
        int mb, block, level;
        Event::Form form;
    };
    const Coded coded[] = {{0, 0, 5, Event::kAuto},         {0, 4, -3, Event::kAuto},
                           {1, 3, 200, Event::kAuto},       {2, 5, -120, Event::kAuto},
                           {4, 1, 40, Event::kEscapeShort}, {5, 2, -60, Event::kEscapeLong},
                           {5, 3, 1, Event::kAuto}};
    for (int i = 0; i < kMbCount; ++i) {
        MB mb;
        mb.kind = MB::kInter;
        if (i == 0) mb.mvd[0] = v;
        for (const Coded& c : coded) {
            if (c.mb == i) mb.blocks[c.block] = DcResidual(c.level, c.form);
        }
        frame.Add(mb);
    }
    ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
    Picture expected = PredictWhole(ref_, v);
    for (const Coded& c : coded) {
        const BlockPos pos = BlockOf(c.mb % 3, c.mb / 3, c.block);
        Plane& plane = expected.*pos.plane;
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                uint8_t& s = plane.samples[(pos.y + y) * plane.width + pos.x + x];
                s = static_cast<uint8_t>(Saturate(s + c.level));
            }
        }
    }
    EXPECT_EQ(dec_.Decoded(), expected);
}

TEST_F(InterPicture, VersionZeroEscapeCarriesAnEightBitLevel) {
    FrameWriter frame(Disposable(4, 0));
    for (int i = 0; i < kMbCount; ++i) {
        MB mb;
        mb.kind = MB::kInter;
        if (i == 2) {
            mb.blocks[0] = DcResidual(-100);
            mb.blocks[1] = DcResidual(127);
            mb.blocks[2] = DcResidual(-128);
        }
        frame.Add(mb);
    }
    ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
    const Picture out = dec_.Decoded();
    const int levels[3] = {-100, 127, -128};
    for (int b = 0; b < 3; ++b) {
        const BlockPos pos = BlockOf(2, 0, b);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                ASSERT_EQ(out.y.At(pos.x + x, pos.y + y),
                          Saturate(ref_.y.At(pos.x + x, pos.y + y) + levels[b]));
            }
        }
    }
    // The macroblocks behind the escapes were still parsed in step.
    EXPECT_EQ(out.y.At(47, 31), ref_.y.At(47, 31));
}

TEST_F(InterPicture, AcResidualFollowsTheInverseTransform) {
    const Vector v{1, 1};
    const std::vector<Event> luma = {{0, 4}, {1, -3}, {5, 2}, {2, 1}};
    const std::vector<Event> chroma = {{2, 5}, {0, -1}};
    FrameWriter frame(Disposable(3));
    for (int i = 0; i < kMbCount; ++i) {
        MB mb;
        mb.kind = MB::kInter;
        if (i == 0) mb.mvd[0] = v;
        if (i == 4) {
            mb.blocks[3] = luma;
            mb.blocks[5] = chroma;
        }
        frame.Add(mb);
    }
    ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
    const Picture out = dec_.Decoded();
    const Picture pred = PredictWhole(ref_, v);
    const auto lumaResidual = InverseDct(luma, 3);
    const auto chromaResidual = InverseDct(chroma, 3);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const int lx = 16 + 8 + x;
            const int ly = 16 + 8 + y;
            EXPECT_NEAR(out.y.At(lx, ly),
                        Saturate(static_cast<int>(
                            std::lround(pred.y.At(lx, ly) + lumaResidual[y * 8 + x]))),
                        1);
            const int cx = 8 + x;
            const int cy = 8 + y;
            EXPECT_NEAR(out.v.At(cx, cy),
                        Saturate(static_cast<int>(
                            std::lround(pred.v.At(cx, cy) + chromaResidual[y * 8 + x]))),
                        1);
            ASSERT_EQ(out.u.At(cx, cy), pred.u.At(cx, cy));
        }
    }
}

int Median(int a, int b, int c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); }

TEST_F(InterPicture, FourVectorMacroblocksPredictEachLumaBlockAndTheirChroma) {
    // 32x32 picture: four-vector macroblocks at 0 (top left) and 3 (bottom
    // right), the others skipped. Chroma vectors from the summed components:
    // macroblock 0 sums (14, -19) -> (2, -3); macroblock 3 sums (2, 13) -> (0, 1).
    TestDecoder dec(32, 32);
    ASSERT_TRUE(dec.ok());
    ASSERT_EQ(dec.Decode(TexturedIntraPicture(FieldsForSize(32, 32), 4, 21)), 0);
    const Picture ref = dec.Decoded();

    const std::array<Vector, 4> v0 = {{{2, 3}, {5, -7}, {-1, -9}, {8, -6}}};
    const std::array<Vector, 4> v3 = {{{-4, 10}, {6, 0}, {1, -2}, {-1, 5}}};
    // Prediction inside a four-vector macroblock: upper left from the
    // neighbours, upper right from its left vector when nothing lies above,
    // the lower two as medians of the macroblock's own vectors.
    MB mb0;
    mb0.kind = MB::kInter4V;
    mb0.mvd[0] = v0[0];
    mb0.mvd[1] = {v0[1].x - v0[0].x, v0[1].y - v0[0].y};
    mb0.mvd[2] = {v0[2].x - Median(0, v0[0].x, v0[1].x), v0[2].y - Median(0, v0[0].y, v0[1].y)};
    mb0.mvd[3] = {v0[3].x - Median(v0[2].x, v0[0].x, v0[1].x),
                  v0[3].y - Median(v0[2].y, v0[0].y, v0[1].y)};
    MB mb3;
    mb3.kind = MB::kInter4V;
    mb3.mvd[0] = v3[0];  // left, above: skipped (0); above right: none
    mb3.mvd[1] = {v3[1].x - Median(v3[0].x, 0, 0), v3[1].y - Median(v3[0].y, 0, 0)};
    mb3.mvd[2] = {v3[2].x - Median(0, v3[0].x, v3[1].x), v3[2].y - Median(0, v3[0].y, v3[1].y)};
    mb3.mvd[3] = {v3[3].x - Median(v3[2].x, v3[0].x, v3[1].x),
                  v3[3].y - Median(v3[2].y, v3[0].y, v3[1].y)};
    mb3.blocks[2] = DcResidual(7);
    ASSERT_EQ(
        dec.Decode(FrameWriter(FieldsForSize(32, 32, 1, 4)).Add(mb0).Skip(2).Add(mb3).Bytes()), 0);
    EXPECT_EQ(dec->mbTypes[0], 2);
    EXPECT_EQ(dec->mbTypes[3], 2);
    const Picture out = dec.Decoded();

    Picture expected = ref;  // skipped macroblocks 1 and 2 copy the reference
    auto predictMb = [&](int mx, int my, const std::array<Vector, 4>& v, Vector c) {
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x) {
                const Vector& bv = v[(y / 8) * 2 + x / 8];
                const int px = mx * 16 + x;
                const int py = my * 16 + y;
                expected.y.samples[py * 32 + px] =
                    static_cast<uint8_t>(Predict(ref.y, px, py, bv.x, bv.y));
            }
        }
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                const int px = mx * 8 + x;
                const int py = my * 8 + y;
                expected.u.samples[py * 16 + px] =
                    static_cast<uint8_t>(Predict(ref.u, px, py, c.x, c.y));
                expected.v.samples[py * 16 + px] =
                    static_cast<uint8_t>(Predict(ref.v, px, py, c.x, c.y));
            }
        }
    };
    predictMb(0, 0, v0, {2, -3});
    predictMb(1, 1, v3, {0, 1});
    for (int y = 24; y < 32; ++y) {
        for (int x = 16; x < 24; ++x) {
            uint8_t& s = expected.y.samples[y * 32 + x];
            s = static_cast<uint8_t>(Saturate(s + 7));
        }
    }
    EXPECT_EQ(out, expected);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(dec->mbVectors[0].vectors[k].x, v0[k].x);
        EXPECT_EQ(dec->mbVectors[3].vectors[k].y, v3[k].y);
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
    for (int i = 1; i < kMbCount; ++i) {
        MB mb;
        mb.kind = MB::kInter;
        frame.Add(mb);
    }
    ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
    const Picture out = dec_.Decoded();
    const int dcs[6] = {10, 20, 30, 128, 50, 60};
    for (int b = 0; b < 6; ++b) ExpectFlatBlock(out, 0, 0, b, dcs[b]);
    EXPECT_EQ(dec_->mbTypes[0], 4);
    EXPECT_EQ(dec_->mbQuant[0], 7);
    EXPECT_EQ(out.y.At(20, 20), ref_.y.At(20, 20));
}

TEST_F(InterPicture, InterQChangesTheQuantiserBeforeTheResidual) {
    // Header QUANT 2, DQUANT +2: the residual is dequantised at 4, where a
    // DC-only residual equals its LEVEL (at 2 it would come out as 5, not 9).
    FrameWriter frame(Disposable(2));
    MB mb;
    mb.kind = MB::kInterQ;
    mb.dquant = 3;
    mb.blocks[0] = DcResidual(9);
    frame.Add(mb);
    for (int i = 1; i < kMbCount; ++i) frame.Skip();
    ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
    EXPECT_EQ(dec_->mbQuant[0], 4);
    const Picture out = dec_.Decoded();
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) ASSERT_EQ(out.y.At(x, y), Saturate(ref_.y.At(x, y) + 9));
    }
    EXPECT_EQ(out.y.At(8, 0), ref_.y.At(8, 0));
}

TEST_F(InterPicture, DisposablePictureIsShownButNeverReferenced) {
    ASSERT_EQ(dec_->current, 1);
    ASSERT_EQ(dec_.Decode(UniformVectorPicture(Disposable(), kMbCount, {6, 4})), 0);
    EXPECT_EQ(dec_.planes, dec_->stores[1]);
    EXPECT_EQ(dec_->current, 1);
    // The next P picture predicts from the intra picture again.
    ASSERT_EQ(
        dec_.Decode(UniformVectorPicture(FieldsForSize(kWidth, kHeight, 1), kMbCount, {-2, 0})), 0);
    EXPECT_EQ(dec_.planes, dec_->stores[1]);
    EXPECT_EQ(dec_.Decoded(), PredictWhole(ref_, {-2, 0}));
    EXPECT_EQ(dec_->current, 0);
    // And that picture is now the reference.
    const Picture second = dec_.Decoded();
    ASSERT_EQ(
        dec_.Decode(UniformVectorPicture(FieldsForSize(kWidth, kHeight, 1), kMbCount, {0, 3})), 0);
    EXPECT_EQ(dec_.planes, dec_->stores[0]);
    EXPECT_EQ(dec_.Decoded(), PredictWhole(second, {0, 3}));
}

// ---------------------------------------------------------------------------
// Intra blocks with coefficients in both format versions.

TEST(PictureVersions, CodedIntraBlocksFollowTheInverseTransformInBothVersions) {
    for (uint32_t version : {0u, 1u}) {
        SCOPED_TRACE(testing::Message() << "version " << version);
        const int q = 5;
        MB mb;
        mb.dc = {128, 77, 60, 255, 90, 140};
        mb.blocks[0] = {{0, 3}, {2, -2}, {0, 40, Event::kEscapeShort}, {3, -9}};
        mb.blocks[2] = {{1, -1}, {0, -50, Event::kEscapeShort}};
        mb.blocks[3] = {{0, 2}, {0, 1}};
        mb.blocks[5] = {{4, 3}};
        if (version == 1) {
            mb.blocks[0].push_back({0, 700, Event::kEscapeLong});  // clamps to 2047
            mb.blocks[3].push_back({1, -20, Event::kEscapeLong});
        } else {
            mb.blocks[0].push_back({0, 127, Event::kEscapeShort});
            mb.blocks[3].push_back({1, -20, Event::kEscapeShort});
        }
        TestDecoder dec(16, 16);
        ASSERT_EQ(dec.Decode(FrameWriter(FieldsForSize(16, 16, 0, q, version)).Add(mb).Bytes()), 0);
        const Picture out = dec.Decoded();
        for (int b = 0; b < 6; ++b) {
            const int dc = mb.dc[b] == 255 ? 128 : mb.dc[b];
            if (mb.blocks[b].empty()) {
                ExpectFlatBlock(out, 0, 0, b, dc);
                continue;
            }
            const auto expected = InverseDct(mb.blocks[b], q, dc);
            const BlockPos pos = BlockOf(0, 0, b);
            const Plane& plane = out.*pos.plane;
            for (int i = 0; i < 64; ++i) {
                ASSERT_NEAR(plane.At(pos.x + i % 8, pos.y + i / 8),
                            Saturate(static_cast<int>(std::lround(expected[i]))), 1)
                    << "block " << b << " sample " << i;
            }
        }
    }
}

TEST(PictureVersions, RunPastTheLastCoefficientLeavesTheIntraBlockAsItWas) {
    TestDecoder dec(16, 16);
    ASSERT_EQ(dec.Decode(kIntra16), 0);
    ASSERT_EQ(dec.Decode(kIntra16), 0);  // store 1 holds the example too
    MB mb;
    mb.dc = {1, 2, 3, 4, 5, 6};
    mb.blocks[1] = {{40, 1, Event::kEscapeShort}, {30, 1, Event::kEscapeShort}};
    ASSERT_EQ(dec.Decode(FrameWriter(FieldsForSize(16, 16)).Add(mb).Bytes()), 0);
    const Picture out = dec.Decoded();
    ExpectFlatBlock(out, 0, 0, 0, 1);
    ExpectFlatBlock(out, 0, 0, 1, 60);  // abandoned: the store keeps its old samples
    ExpectFlatBlock(out, 0, 0, 2, 3);
    ExpectFlatBlock(out, 0, 0, 5, 6);
}

// ---------------------------------------------------------------------------
// Corrupt and truncated frames.

PictureFields Fields16(uint32_t type = 0) { return FieldsForSize(16, 16, type); }

// Intra: stuffing, then nine zero bits, which begin no MCBPC code. P: COD 0,
// stuffing, COD 0, nine zero bits. Enough bits follow for every fixed field.
void WriteStuffingThenNoCode(FrameWriter& frame, bool pPicture) {
    if (pPicture) {
        frame.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing).Put(0, 1);
    } else {
        frame.bits().Code(McbpcIntraCodes, kMcbpcIntraStuffing);
    }
    frame.bits().Put(0, 9).Put(0xFFFFFFFF, 32).Put(0xFFFFFFFF, 32);
}

TEST(PictureBadInput, StuffingFollowedByNoCodeEndsThePicture) {
    TestDecoder dec(16, 16);
    for (uint32_t type : {0u, 1u, 2u}) {
        FrameWriter frame(Fields16(type));
        WriteStuffingThenNoCode(frame, type != 0);
        EXPECT_EQ(dec.Decode(frame.Bytes()), kStatusBadData) << "type " << type;
    }
    // 99 macroblocks, the data running out on the way: still ends, with 4 or 12.
    TestDecoder large(176, 144);
    for (uint32_t type : {0u, 1u}) {
        FrameWriter frame(FieldsForSize(176, 144, type));
        WriteStuffingThenNoCode(frame, type != 0);
        const int32_t status = large.Decode(frame.Bytes());
        EXPECT_TRUE(status == kStatusOutOfData || status == kStatusBadData) << status;
    }
    EXPECT_EQ(dec->frameCount, 0);
    EXPECT_EQ(large->frameCount, 0);
}

TEST(PictureBadInput, FrameEndingRightAfterStuffingEnds) {
    // Five extra-information bytes put the end of the stuffing code on a byte
    // boundary: 58 + 5 * 9 + 9 = 112 bits.
    for (uint32_t type : {0u, 1u, 2u}) {
        PictureFields fields = Fields16(type);
        fields.extra = {1, 2, 3, 4, 5};
        FrameWriter frame(fields);
        if (type == 0) {
            frame.bits().Code(McbpcIntraCodes, kMcbpcIntraStuffing);
        } else {
            frame.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing);
        }
        const Bytes bytes = frame.Bytes();
        ASSERT_EQ(bytes.size() * 8, frame.bits().bitCount());
        TestDecoder dec(16, 16);
        const int32_t status = dec.Decode(bytes);
        EXPECT_TRUE(status == kStatusOutOfData || status == kStatusBadData) << status;
        EXPECT_EQ(dec->frameCount, 0);
    }
}

TEST(PictureBadInput, LastFailedReadDecidesBetweenFourAndTwelve) {
    // Out of data: MCBPC and CBPY fine, then only three INTRADC bytes.
    FrameWriter shortFrame(Fields16());
    shortFrame.bits().Code(McbpcIntraCodes, 0).Code(CbpyCodes, 0).Put(0x102030, 24);
    EXPECT_EQ(shortFrame.bits().bitCount() % 8, 7u);
    // A CBPY pattern that begins no code, followed by enough bits for the blocks.
    FrameWriter badCbpy(Fields16());
    badCbpy.bits().Code(McbpcIntraCodes, 0).Bits("000000").Put(0xFFFFFFFF, 32).Put(0xFFFF, 16);
    // A P macroblock whose MVD begins no code.
    FrameWriter badMvd(Fields16(1));
    badMvd.bits().Put(0, 1).Code(McbpcInterCodes, 0).Code(CbpyCodes, 15).Put(0, 13).Put(0xFF, 8);

    TestDecoder dec(16, 16);
    EXPECT_EQ(dec.Decode(shortFrame.Bytes()), kStatusOutOfData);
    EXPECT_EQ(dec.Decode(badCbpy.Bytes()), kStatusBadData);
    EXPECT_EQ(dec.Decode(kIntra16), 0);
    EXPECT_EQ(dec.Decode(badMvd.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->frameCount, 1);
    EXPECT_EQ(dec->current, 1);
}

TEST(PictureBadInput, FailedLookupKeepsTheLastValueAndNeverTheStuffing) {
    TestDecoder dec(48, 16);
    ASSERT_EQ(dec.Decode(TexturedIntraPicture(FieldsForSize(48, 16), 3, 2)), 0);
    // Macroblock 0 INTER+Q; macroblock 1: stuffing, then an MCBPC that begins
    // no code. Macroblock 1 keeps type 1; the stuffing value (type 5) would
    // have ended the picture with 44.
    FrameWriter frame(FieldsForSize(48, 16, 1, 8));
    MB interQ;
    interQ.kind = MB::kInterQ;
    interQ.dquant = 2;
    frame.Add(interQ);
    frame.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing).Put(0, 10);
    dec->mbTypes[1] = 9;
    EXPECT_EQ(dec.Decode(frame.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->mbTypes[0], 1);
    EXPECT_EQ(dec->mbTypes[1], 1);

    // A failure before any MCBPC of the picture was read counts as MCBPC 0.
    FrameWriter first(FieldsForSize(48, 16, 1, 8));
    first.bits().Put(0, 1).Put(0, 9).Put(0, 20).Put(0, 20);
    dec->mbTypes[0] = 9;
    EXPECT_EQ(dec.Decode(first.Bytes()), kStatusBadData);
    EXPECT_EQ(dec->mbTypes[0], 0);
    EXPECT_EQ(dec->frameCount, 1);
}

TEST(PictureBadInput, FramesTooShortForAStartCodeOrWithBadSizes) {
    TestDecoder dec(16, 16);
    const uint8_t bytes[] = {0x00, 0x00, 0x80};
    unsigned char** planes = nullptr;
    int32_t ys = 0;
    int32_t uvs = 0;
    EXPECT_EQ(H263DecompressFrame(dec.get(), bytes, -1, &planes, &ys, &uvs), kStatusBadData);
    EXPECT_EQ(H263DecompressFrame(dec.get(), bytes, 0, &planes, &ys, &uvs), kStatusBadData);
    EXPECT_EQ(dec.Decode({0x00, 0x00}), kStatusBadData);
    EXPECT_EQ(dec.Decode({0x00, 0x01, 0x80, 0x00}), kStatusBadData);  // start code 2
    EXPECT_EQ(dec.Decode({0x00, 0x00, 0x88, 0x00}), kStatusBadData);  // version 2
    EXPECT_EQ(planes, nullptr);
    EXPECT_EQ(dec->frameCount, 0);
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
    // Decodes a whole frame after a failed prefix of `failure` status.
    auto decodeAfter = [&](const Bytes& frame, int32_t failure) {
        if (failure == kStatusSizeChanged) {
            EXPECT_EQ(dec.Decode(frame), kStatusOutOfData);  // the stale header error
        }
        return dec.Decode(frame);
    };
    for (size_t n = 0; n < std::max(intra.size(), inter.size()); ++n) {
        SCOPED_TRACE(testing::Message() << "prefix of " << n << " bytes");
        if (n < intra.size()) {
            const int32_t failure = dec.Decode(intra, n);
            ASSERT_TRUE(failures.count(failure)) << failure;
            ASSERT_EQ(decodeAfter(intra, failure), 0);
            ASSERT_EQ(dec.Decoded(), intraPicture);
        } else {
            ASSERT_EQ(dec.Decode(intra), 0);
        }
        if (n < inter.size()) {
            const int32_t failure = dec.Decode(inter, n);
            ASSERT_TRUE(failures.count(failure)) << failure;
            ASSERT_EQ(decodeAfter(inter, failure), 0);
            ASSERT_EQ(dec.Decoded(), interPicture);
        }
    }
}

TEST(PictureBadInput, RandomMacroblockDataNeverBreaksTheDecoder) {
    struct Size {
        int w, h;
    };
    for (const Size s : {Size{16, 16}, Size{33, 17}}) {
        TestDecoder dec(s.w, s.h);
        TestDecoder fresh(s.w, s.h);
        const int mbs = ((s.w + 15) / 16) * ((s.h + 15) / 16);
        RandomStream random(s.w);
        const Bytes intra = random.Picture(FieldsForSize(s.w, s.h, 0, 9), mbs);
        ASSERT_EQ(fresh.Decode(intra), 0);
        const Picture expected = fresh.Decoded();
        std::mt19937 rng(1234);
        for (int i = 0; i < 300; ++i) {
            const uint32_t type = rng() % 4;
            const uint32_t quantiser = rng() % 32;
            const uint32_t version = rng() % 2;
            FrameWriter frame(FieldsForSize(s.w, s.h, type, quantiser, version));
            const int length = static_cast<int>(rng() % 64);
            for (int k = 0; k < length; ++k) frame.bits().Put(rng() & 0xFF, 8);
            const int32_t status = dec.Decode(frame.Bytes());
            ASSERT_TRUE(status == 0 || status == kStatusOutOfData || status == kStatusBadData)
                << "frame " << i << " status " << status;
        }
        ASSERT_EQ(dec.Decode(intra), 0);
        EXPECT_EQ(dec.Decoded(), expected);
    }
}

}  // namespace
}  // namespace veltrane::test
