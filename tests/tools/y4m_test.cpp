#include "y4m.h"

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace veltrane::tools {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

// Pictures of an odd size read back as written; damaged files name the frame.
TEST(Y4mTest, RoundTripOfOddSizedPicturesAndDamagedFiles) {
    TempDir dir;
    const std::string path = dir.File("a.y4m");
    Y4mWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Open(
        path, {.width = 5, .height = 3, .rateNumerator = 30000, .rateDenominator = 1001}, &error))
        << error;
    YuvPicture pictures[2];
    uint8_t next = 0;  // every sample differs from those of the other planes
    for (YuvPicture& p : pictures) {
        p.Resize(5, 3);
        for (auto* plane : {&p.y, &p.u, &p.v}) {
            for (uint8_t& sample : *plane) sample = next++;
        }
        ASSERT_TRUE(writer.WritePicture(p, &error));
    }
    ASSERT_TRUE(writer.Close(&error));
    // Chroma planes of a 5x3 picture are 3x2.
    const std::string headerLine = "YUV4MPEG2 W5 H3 F30000:1001 Ip A1:1 C420jpeg\n";
    EXPECT_EQ(ReadBytes(path).size(), headerLine.size() + 2 * (6 + 15 + 6 + 6));

    Y4mReader reader;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    EXPECT_EQ(reader.header().rateNumerator, 30000u);
    EXPECT_EQ(reader.header().rateDenominator, 1001u);
    YuvPicture read;
    for (const YuvPicture& p : pictures) {
        ASSERT_EQ(reader.ReadPicture(&read, &error), Y4mRead::kPicture);
        EXPECT_EQ(read.y, p.y);
        EXPECT_EQ(read.u, p.u);
        EXPECT_EQ(read.v, p.v);
    }
    EXPECT_EQ(reader.ReadPicture(&read, &error), Y4mRead::kEnd);

    const std::string start = "YUV4MPEG2 W2 H2 F25:1\nFRAME\n" + std::string(6, 'x');
    for (const auto& [rest, message] :
         {std::pair<std::string, const char*>{"FRAME\nxxx", "frame 1: truncated picture data"},
          {"FRAMX\n" + std::string(6, 'x'), "frame 1: missing FRAME marker"},
          {"FRAME", "frame 1: truncated or overlong FRAME line"}}) {
        const std::string content = start + rest;
        WriteBytes(path, std::vector<uint8_t>(content.begin(), content.end()));
        Y4mReader damaged;
        ASSERT_TRUE(damaged.Open(path, &error)) << error;
        ASSERT_EQ(damaged.ReadPicture(&read, &error), Y4mRead::kPicture);
        EXPECT_EQ(damaged.ReadPicture(&read, &error), Y4mRead::kError);
        EXPECT_EQ(error, path + ": " + message);
    }
}

TEST(Y4mTest, HeaderParsing) {
    Y4mHeader h;
    std::string error;
    ASSERT_TRUE(
        ParseY4mHeader("YUV4MPEG2 W176 H144 F25:1 It A0:0 C420mpeg2 XYSCSS=420", &h, &error));
    EXPECT_EQ(h.width, 176);
    EXPECT_EQ(h.chroma, "420mpeg2");
    ASSERT_TRUE(ParseY4mHeader("YUV4MPEG2 W2 H2", &h, &error));  // no C tag: 4:2:0
    EXPECT_EQ(h.chroma, "420jpeg");
    EXPECT_EQ(h.rateNumerator, 25u);
    for (const auto& [line, reason] :
         {std::pair{"YUV4MPEG2X W2 H2", "not a YUV4MPEG2 file"},
          {"YUV4MPEG2 W2", "missing or unsupported picture size"},
          {"YUV4MPEG2 W0 H2", "missing or unsupported picture size"},
          {"YUV4MPEG2 Wx H2", "bad header field 'Wx'"},
          {"YUV4MPEG2 W2 H2 F25:0", "bad header field 'F25:0'"},
          {"YUV4MPEG2 W2 H2 C420p10", "unsupported chroma format 'C420p10'"}}) {
        EXPECT_FALSE(ParseY4mHeader(line, &h, &error)) << line;
        EXPECT_NE(error.find(reason), std::string::npos) << line << ": " << error;
    }
}

}  // namespace
}  // namespace veltrane::tools
