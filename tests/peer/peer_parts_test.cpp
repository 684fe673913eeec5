// The peer benchmark's parts: ratio statistics, the stream list, the real
// coefficient blocks, libjpeg-turbo's set-up and both whole-stream decoders.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <random>

#include "encoded_stream.h"
#include "interleaved_comparison.h"
#include "jpeg_islow.h"
#include "support/test_allocator.h"
#include "mpeg2_decoding.h"
#include "real_blocks.h"
#include "stream_list.h"
#include "temp_dir.h"
#include "veltrane/recon.h"
#include "veltrane_decoding.h"

namespace veltrane::peer {
namespace {

using tools::test::TempDir;

TEST(Quantile, InterpolatesBetweenSortedValues) {
    struct Case {
        std::vector<double> values;
        double q, expected;
    } cases[] = {
        {{}, 0.5, 0},
        {{7}, 0.25, 7},
        {{3, 1, 2}, 0.5, 2},
        {{4, 1, 3, 2}, 0.5, 2.5},
        {{4, 1, 3, 2}, 0.25, 1.75},
        {{4, 1, 3, 2}, 1.0, 4},
    };
    for (const Case& c : cases) EXPECT_DOUBLE_EQ(Quantile(c.values, c.q), c.expected);
}

TEST(CompareInterleaved, RunsBothSidesTheSameNumberOfTimes) {
    int ours = 0, theirs = 0;
    const Comparison result = CompareInterleaved(
        {5, 0.0}, [&] { ++ours; }, [&] { ++theirs; });
    EXPECT_EQ(result.rounds, 5);
    EXPECT_EQ(ours, theirs);
    EXPECT_EQ(ours, 1 + 5 * result.passesPerRound);  // one warm-up pass each
}

TEST(StreamList, ParsesPairsAndNamesTheBadLine) {
    TempDir dir;
    const std::string path = dir.File("streams.txt");
    std::ofstream(path) << "# comment\ncif 352 288 100 0.2 a.ivf a.m2v a.y4m\n";
    std::vector<StreamPair> pairs;
    std::string error;
    ASSERT_TRUE(ParseStreamList(path, &pairs, &error)) << error;
    ASSERT_EQ(pairs.size(), 1u);
    EXPECT_EQ(pairs[0].name, "cif");
    EXPECT_EQ(pairs[0].width, 352);
    EXPECT_DOUBLE_EQ(pairs[0].targetBpp, 0.2);
    EXPECT_EQ(pairs[0].sourcePath, "a.y4m");
    pairs[0].frames = 10;
    EXPECT_DOUBLE_EQ(pairs[0].BitsPerPixel(352 * 288 * 10 / 8), 1.0);

    for (const char* bad : {"cif 352 288 100 0.2 a.ivf a.m2v\n",          // a field short
                            "cif 352 288 100 0.2 a.ivf a.m2v a.y4m x\n",  // one too many
                            "cif 8 288 100 0.2 a.ivf a.m2v a.y4m\n",      // too small
                            "cif 352 288 0 0.2 a.ivf a.m2v a.y4m\n"}) {   // no pictures
        std::ofstream(path) << "cif 352 288 100 0.2 a.ivf a.m2v a.y4m\n" << bad;
        pairs.clear();
        EXPECT_FALSE(ParseStreamList(path, &pairs, &error)) << bad;
        EXPECT_NE(error.find("line 2"), std::string::npos) << error;
    }
    std::ofstream(path) << "# nothing\n";
    pairs.clear();
    EXPECT_FALSE(ParseStreamList(path, &pairs, &error));
    EXPECT_NE(error.find("lists no streams"), std::string::npos) << error;
}

// A 64x64 picture of noise-like texture, shifted right by `shift` samples.
tools::YuvPicture Texture(int shift) {
    tools::YuvPicture picture;
    picture.Resize(64, 64);
    auto value = [](int x, int y) {
        return static_cast<uint8_t>(128 + 60 * std::sin(x * 0.9 + y * 0.4) +
                                    30 * std::cos(y * 1.3));
    };
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) picture.y[y * 64 + x] = value(x - shift, y);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            picture.u[y * 32 + x] = picture.v[y * 32 + x] = value(2 * x - shift, 2 * y);
    return picture;
}

TEST(RealBlocks, TransformChoiceFollowsTheLastCoefficient) {
    EXPECT_EQ(ChooseInterTransform(0), InterTransform::kDcOnly);
    EXPECT_EQ(ChooseInterTransform(1), InterTransform::kCorner);
    EXPECT_EQ(ChooseInterTransform(8), InterTransform::kCorner);
    EXPECT_EQ(ChooseInterTransform(9), InterTransform::kFull);
    EXPECT_EQ(ChooseInterTransform(63), InterTransform::kFull);
}

TEST(RealBlocks, IntraBlocksCarryDecoderRangeCoefficientsAndMotionLeavesNoResidual) {
    const RealBlocks blocks = MakeRealBlocks({Texture(0), Texture(2)}, 2, {4}, 1000);
    ASSERT_FALSE(blocks.intra.empty());
    for (const CoefficientBlock& block : blocks.intra) {
        EXPECT_EQ(block[0] % 8, 0);
        EXPECT_GE(block[0], 8);
        EXPECT_LE(block[0], 8 * 254);
        for (int32_t c : block) {
            EXPECT_GE(c, -2048);
            EXPECT_LE(c, 2047);
        }
    }
    // The motion search finds the two-sample shift: only the left column of
    // macroblocks, where new texture enters, leaves residuals (at most 2 luma and
    // 2 chroma blocks in each of its 4 macroblocks, of 96 blocks in all).
    EXPECT_LE(blocks.inter.size(), 16u);

    // A flat picture has no AC energy: no coded intra block.
    tools::YuvPicture flat;
    flat.MakeBlack(64, 64);
    EXPECT_TRUE(MakeRealBlocks({flat}, 1, {4}, 1000).intra.empty());
    // The limit holds for each kind.
    EXPECT_EQ(MakeRealBlocks({Texture(0)}, 1, {1}, 5).intra.size(), 5u);
}

TEST(JpegIslow, SelectedRoutineEqualsPlainCAndOurIntraTransform) {
    JpegIslow jpeg;
    std::string error;
    ASSERT_TRUE(jpeg.Open(&error)) << error;
    EXPECT_NE(jpeg.SelectedInstructionSet(), "");

    // A DC-only block: coefficient 8 x (v - 128) gives v everywhere.
    int16_t dc[64] = {8 * (200 - 128)};
    uint8_t out[64];
    jpeg.Selected(dc, out, 8);
    for (uint8_t sample : out) EXPECT_EQ(sample, 200);

    std::mt19937 random(9);
    std::uniform_int_distribution<int> ac(-300, 300);
    for (int trial = 0; trial < 200; ++trial) {
        int32_t ours[64];
        int16_t theirs[64];
        for (int i = 0; i < 64; ++i) ours[i] = i < 20 ? ac(random) : 0;
        ours[0] = 8 * 128 + ac(random);
        for (int i = 0; i < 64; ++i) theirs[i] = static_cast<int16_t>(ours[i]);
        theirs[0] = static_cast<int16_t>(theirs[0] - 8 * 128);
        uint8_t a[64], b[64], c[64];
        jpeg.Selected(theirs, a, 8);
        jpeg.PlainC(theirs, b, 8);
        InvDctFixedPointIntra(ours, c, 8);
        ASSERT_EQ(0, std::memcmp(a, b, 64)) << "trial " << trial;
        ASSERT_EQ(0, std::memcmp(a, c, 64)) << "trial " << trial;
    }
}

TEST(WholeStreamDecoders, CountPicturesAndFailures) {
    test::TestAllocator allocator;
    std::vector<std::vector<uint8_t>> frames;
    for (auto& picture : tools::test::EncodeTestPattern(tools::test::Config(48, 32), 4))
        frames.push_back(picture.frame.data);
    int visits = 0;
    const PictureVisitor count = [&](const PlanarPicture& p) {
        EXPECT_EQ(p.width, 48);
        EXPECT_EQ(p.height, 32);
        ++visits;
    };
    OurDecodeResult ours = DecodeOurStream(frames, 48, 32, &allocator, nullptr, &count);
    EXPECT_TRUE(ours.opened);
    EXPECT_EQ(ours.decoded, 4);
    EXPECT_EQ(ours.failed, 0);
    EXPECT_EQ(visits, 4);

    frames[2] = {0xDE, 0xAD, 0xBE, 0xEF};
    ours = DecodeOurStream(frames, 48, 32, &allocator, nullptr);
    EXPECT_EQ(ours.decoded, 3);
    EXPECT_EQ(ours.failed, 1);
    EXPECT_EQ(ours.firstError, 12);

    // libmpeg2 finds no picture in bytes that hold none.
    const Mpeg2DecodeResult theirs = DecodeTheirStream(frames[0]);
    EXPECT_TRUE(theirs.opened);
    EXPECT_EQ(theirs.pictures, 0);
    EXPECT_FALSE(Mpeg2Acceleration().empty());
}

}  // namespace
}  // namespace veltrane::peer
