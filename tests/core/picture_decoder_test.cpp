// Whole pictures through H263DecompressFrame: the worked examples, stuffing,
// DQUANT, type-3 pictures, source formats, inter and four-vector prediction,
// and frames that are cut short or corrupt.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <vector>

#include "support/stream_builder.h"
#include "support/test_allocator.h"
#include "veltrane/decoder.h"

namespace veltrane::test {
namespace {

using Bytes = std::vector<uint8_t>;
using MB = Macroblock;

// The visible (aligned) area of one plane. At() clamps its coordinates, which is
// what the replicated border of a reference plane shows.
struct Plane {
    int width = 0, height = 0;
    std::vector<uint8_t> samples;

    int At(int x, int y) const {
        return samples[std::clamp(y, 0, height - 1) * width + std::clamp(x, 0, width - 1)];
    }
    bool operator==(const Plane&) const = default;
};

struct Picture {
    Plane y, u, v;
    bool operator==(const Picture&) const = default;
};

// A decoder on its own TestAllocator; every frame is handed over in a heap
// block of exactly its size. Closing checks that nothing stays allocated.
class TestDecoder {
public:
    TestDecoder(int32_t width, int32_t height) {
        void* decoder = nullptr;
        ok_ = H263DecompressOpen(&decoder, width, height, &allocator_) == 0 && decoder;
        d_ = static_cast<DecodeInstance_t*>(decoder);
    }
    ~TestDecoder() {
        H263DecompressClose(d_);
        EXPECT_EQ(allocator_.liveBlocks(), 0u);
    }
    bool ok() const { return ok_; }
    DecodeInstance_t* operator->() const { return d_; }
    DecodeInstance_t* get() const { return d_; }

    // Decodes the first `size` bytes of `bytes` (all of them by default).
    int32_t Decode(const std::vector<uint8_t>& bytes, size_t size = SIZE_MAX) {
        ExactFrame frame(bytes, size);
        planes = nullptr;
        yStride = uvStride = -1;
        return H263DecompressFrame(d_, frame.data(), static_cast<int32_t>(frame.size()), &planes,
                                   &yStride, &uvStride);
    }
    // The picture whose planes the last successful decode returned, or a store.
    Picture Decoded() const { return Capture(planes); }
    Picture Store(int index) const { return Capture(d_->stores[index]); }

    unsigned char** planes = nullptr;
    int32_t yStride = -1, uvStride = -1;

private:
    Picture Capture(unsigned char* const* p) const {
        auto plane = [](const unsigned char* origin, int stride, int width, int height) {
            Plane out{width, height, {}};
            for (int y = 0; y < height; ++y) {
                out.samples.insert(out.samples.end(), origin + y * stride,
                                   origin + y * stride + width);
            }
            return out;
        };
        const int w = d_->alignedWidth, h = d_->alignedHeight;
        return {plane(p[kPlaneY], d_->yStride, w, h), plane(p[kPlaneU], d_->uvStride, w / 2, h / 2),
                plane(p[kPlaneV], d_->uvStride, w / 2, h / 2)};
    }

    TestAllocator allocator_;
    DecodeInstance_t* d_ = nullptr;
    bool ok_ = false;
};

// Half-sample prediction of one sample from a reference plane.
int Predict(const Plane& ref, int x, int y, Vector v) {
    const int ix = x + (v.x >> 1), iy = y + (v.y >> 1), hx = v.x & 1, hy = v.y & 1;
    // The mean of the (up to) four neighbours; repeating a sample keeps the rounding.
    return (ref.At(ix, iy) + ref.At(ix + hx, iy) + ref.At(ix, iy + hy) + ref.At(ix + hx, iy + hy) +
            2) >>
           2;
}

// Predicts the w x h area at (x0, y0) of `plane` from `ref` with vector v.
void PredictArea(Plane& plane, const Plane& ref, int x0, int y0, int w, int h, Vector v) {
    for (int y = y0; y < y0 + h; ++y) {
        for (int x = x0; x < x0 + w; ++x) {
            plane.samples[y * plane.width + x] = static_cast<uint8_t>(Predict(ref, x, y, v));
        }
    }
}

// Every sample of block b (0..5) of macroblock (mx, my) equals `value`.
void ExpectFlatBlock(const Picture& pic, int mx, int my, int b, int value) {
    const Plane& plane = b < 4 ? pic.y : b == 4 ? pic.u : pic.v;
    const int x0 = b < 4 ? mx * 16 + 8 * (b & 1) : mx * 8,
              y0 = b < 4 ? my * 16 + 8 * (b >> 1) : my * 8;
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(plane.At(x0 + i % 8, y0 + i / 8), value)
            << "macroblock " << mx << "," << my << " block " << b << " sample " << i;
    }
}

// A textured intra picture: random coefficients in most blocks.
Bytes Textured(int w, int h, uint32_t seed) {
    return RandomStream(seed).Picture(FieldsForSize(w, h, 0, 4), ((w + 15) / 16) * ((h + 15) / 16));
}

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
    EXPECT_EQ(dec->mbQuant[0], 1);

    // Type 1, COD 1: copies the reference into the other store. Type 2, COD 1:
    // decoded into the free store, which stays free.
    const struct {
        uint8_t typeByte;
        int store, current;
    } followers[] = {{0x20, 1, 0}, {0x40, 0, 0}};
    for (const auto& f : followers) {
        ASSERT_EQ(dec.Decode({0x00, 0x00, 0x80, 0x00, 0x08, 0x08, f.typeByte, 0xA0}), 0);
        EXPECT_EQ(dec.planes, dec->stores[f.store]);
        ExpectExamplePicture(dec.Decoded());
        EXPECT_EQ(dec->current, f.current);
    }
    EXPECT_EQ(dec->mbTypes[0], 0);
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
    MB inter;
    inter.kind = MB::kInter;
    inter.mvd[0] = {2, 0};
    inter.stuffing = 2;
    ASSERT_EQ(p.Decode(frame.Skip().Add(inter).Bytes()), 0);
    const Picture out = p.Decoded();
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(out.y.At(i % 16, i / 16), ref.y.At(i % 16, i / 16));
        ASSERT_EQ(out.y.At(16 + i % 16, i / 16), ref.y.At(17 + i % 16, i / 16));
    }
    EXPECT_EQ(p->mbTypes[1], 0);

    // A frame that ends right after a stuffing code, or where no MCBPC code
    // begins, fails (and does not hang): five extra-information bytes end an
    // intra frame right after the stuffing code, 58 + 5 * 9 + 9 = 112 bits.
    for (uint32_t type : {0u, 1u}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        for (const bool atEnd : {true, false}) {
            PictureFields fields = FieldsForSize(16, 16, type);
            if (atEnd) fields.extra = {1, 2, 3, 4, 5};
            FrameWriter f(fields);
            if (type == 0) {
                f.bits().Code(McbpcIntraCodes, kMcbpcIntraStuffing);
            } else {
                f.bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing);
            }
            if (atEnd && type == 0) {
                ASSERT_EQ(f.bits().bitCount(), 112u);
            }
            if (!atEnd) f.bits().Put(0, type != 0 ? 10 : 9).Put(0xFFFFFFFF, 32).Put(0xFFFFFFFF, 32);
            const int32_t status = dec.Decode(f.Bytes());
            EXPECT_TRUE(atEnd ? status == kStatusOutOfData || status == kStatusBadData
                              : status == kStatusBadData)
                << status;
        }
    }
    EXPECT_EQ(dec->frameCount, 2);
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
    const struct {
        uint32_t sourceFormat;
        int width, height;
    } cases[] = {{0, 33, 17},   {0, 255, 16}, {1, 272, 20},  {1, 16, 300}, {2, 352, 288},
                 {3, 176, 144}, {4, 128, 96}, {5, 320, 240}, {6, 160, 120}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height);
        TestDecoder dec(c.width, c.height);
        ASSERT_TRUE(dec.ok());
        PictureFields fields = FieldsForSize(c.width, c.height);
        ASSERT_EQ(fields.sourceFormat, c.sourceFormat);
        fields.extra = {0xAB, 0x00};
        const int perRow = (c.width + 15) / 16, rows = (c.height + 15) / 16;
        auto dc = [](int i, int b) { return (i * 7 + b * 31) % 254; };
        ASSERT_EQ(dec.Decode(FlatIntraPicture(fields, perRow * rows, dc)), 0);
        const Picture p = dec.Decoded();
        EXPECT_EQ(p.y.height, rows * 16);  // 160x120 decodes 128 rows
        for (int i = 0; i < perRow * rows; ++i) {
            for (int b = 0; b < 6; ++b) ExpectFlatBlock(p, i % perRow, i / perRow, b, dc(i, b));
        }
    }
}

// Inter pictures against predictions made from a textured reference. They are
// disposable, so every one predicts from the same intra picture.
class InterPicture : public testing::Test {
protected:
    static constexpr int kWidth = 48, kHeight = 32, kMbCount = 6;

    void SetUp() override {
        ASSERT_TRUE(dec_.ok());
        ASSERT_EQ(dec_.Decode(Textured(kWidth, kHeight, 5)), 0);
        ref_ = dec_.Decoded();
    }

    TestDecoder dec_{kWidth, kHeight};
    PictureFields disposable_ = FieldsForSize(kWidth, kHeight, 2, 4);
    Picture ref_;
};

// Chroma component of a one-vector macroblock: half the luma vector, with
// quarter-sample positions moved to the half sample between them.
int ChromaOfOneVector(int v) {
    const int a = std::abs(v), c = (a >> 1) | (a % 4 != 0 ? 1 : 0);
    return v < 0 ? -c : c;
}

TEST_F(InterPicture, OneVectorMacroblocksPredictFromTheReference) {
    for (const Vector v :
         {Vector{4, -6}, Vector{-1, -1}, Vector{-3, 5}, Vector{31, 31}, Vector{-32, -32}}) {
        SCOPED_TRACE(testing::Message() << "vector " << v.x << "," << v.y);
        FrameWriter frame(disposable_);
        for (int i = 0; i < kMbCount; ++i) {
            MB mb;
            mb.kind = MB::kInter;
            if (i == 0) mb.mvd[0] = v;  // every later prediction is v itself
            frame.Add(mb);
        }
        ASSERT_EQ(dec_.Decode(frame.Bytes()), 0);
        Picture expected = ref_;
        const Vector c{ChromaOfOneVector(v.x), ChromaOfOneVector(v.y)};
        PredictArea(expected.y, ref_.y, 0, 0, kWidth, kHeight, v);
        PredictArea(expected.u, ref_.u, 0, 0, kWidth / 2, kHeight / 2, c);
        PredictArea(expected.v, ref_.v, 0, 0, kWidth / 2, kHeight / 2, c);
        EXPECT_EQ(dec_.Decoded(), expected);
        EXPECT_EQ(dec_->mbVectors[kMbCount - 1].vectors[0].x, v.x);
        EXPECT_EQ(dec_->mbVectors[kMbCount - 1].vectors[0].y, v.y);
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
    ASSERT_EQ(dec_.Decode(FrameWriter(disposable_).Add(mb).Skip(kMbCount - 1).Bytes()), 0);
    EXPECT_EQ(dec_->mbTypes[0], 2);

    Picture expected = ref_;  // skipped macroblocks copy the reference
    for (int b = 0; b < 4; ++b)
        PredictArea(expected.y, ref_.y, 8 * (b & 1), 8 * (b >> 1), 8, 8, v[b]);
    PredictArea(expected.u, ref_.u, 0, 0, 8, 8, {2, -3});
    PredictArea(expected.v, ref_.v, 0, 0, 8, 8, {2, -3});
    EXPECT_EQ(dec_.Decoded(), expected);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(dec_->mbVectors[0].vectors[k].x, v[k].x);
        EXPECT_EQ(dec_->mbVectors[0].vectors[k].y, v[k].y);
    }
}

TEST(PictureBadInput, FailedReadsReturnFourOrTwelveAndKeepTheLastType) {
    // Out of data: MCBPC and CBPY fine, then only three INTRADC bytes.
    FrameWriter shortFrame(FieldsForSize(16, 16));
    shortFrame.bits().Code(McbpcIntraCodes, 0).Code(CbpyCodes, 0).Put(0x102030, 24);
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
    for (int32_t size : {-1, 0}) {  // refused before anything is read
        unsigned char** planes = nullptr;
        EXPECT_EQ(H263DecompressFrame(dec.get(), kIntra16.data(), size, &planes, &dec.yStride,
                                      &dec.uvStride),
                  kStatusBadData);
        EXPECT_EQ(planes, nullptr);
    }

    // Macroblock 0 INTER+Q; macroblock 1: stuffing, then an MCBPC that begins
    // no code. Macroblock 1 keeps type 1; the stuffing value (type 5) would
    // have ended the picture with 44.
    TestDecoder p(48, 16);
    ASSERT_EQ(p.Decode(Textured(48, 16, 2)), 0);
    FrameWriter frame(FieldsForSize(48, 16, 1, 8));
    MB interQ;
    interQ.kind = MB::kInterQ;
    frame.Add(interQ).bits().Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing).Put(0, 10);
    p->mbTypes[1] = 9;
    EXPECT_EQ(p.Decode(frame.Bytes()), kStatusBadData);
    EXPECT_EQ(p->mbTypes[1], 1);
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
