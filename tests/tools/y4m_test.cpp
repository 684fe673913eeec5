#include "y4m.h"

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace veltrane::tools {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

YuvPicture Numbered(int width, int height, uint8_t base) {
    YuvPicture p;
    p.Resize(width, height);
    for (size_t i = 0; i < p.y.size(); ++i) p.y[i] = static_cast<uint8_t>(base + i);
    for (size_t i = 0; i < p.u.size(); ++i) p.u[i] = static_cast<uint8_t>(base + 100 + i);
    for (size_t i = 0; i < p.v.size(); ++i) p.v[i] = static_cast<uint8_t>(base + 200 + i);
    return p;
}

TEST(Y4mTest, RoundTripOfOddSizedPictures) {
    TempDir dir;
    const std::string path = dir.File("a.y4m");
    Y4mHeader header;
    header.width = 5;
    header.height = 3;
    header.rateNumerator = 30000;
    header.rateDenominator = 1001;
    Y4mWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Open(path, header, &error)) << error;
    const YuvPicture pictures[] = {Numbered(5, 3, 0), Numbered(5, 3, 7)};
    for (const YuvPicture& p : pictures) ASSERT_TRUE(writer.WritePicture(p, &error));
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

    const struct {
        const char* line;
        const char* reason;
    } bad[] = {{"YUV4MPEG2X W2 H2", "not a YUV4MPEG2 file"},
               {"YUV4MPEG2 W2", "missing or unsupported picture size"},
               {"YUV4MPEG2 W0 H2", "missing or unsupported picture size"},
               {"YUV4MPEG2 Wx H2", "bad header field 'Wx'"},
               {"YUV4MPEG2 W2 H2 F25:0", "bad header field 'F25:0'"},
               {"YUV4MPEG2 W2 H2 C420p10", "unsupported chroma format 'C420p10'"}};
    for (const auto& c : bad) {
        EXPECT_FALSE(ParseY4mHeader(c.line, &h, &error)) << c.line;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.line << ": " << error;
    }
}

TEST(Y4mTest, DamagedFilesNameTheFrame) {
    TempDir dir;
    const std::string path = dir.File("bad.y4m");
    const std::string start = "YUV4MPEG2 W2 H2 F25:1\nFRAME\n" + std::string(6, 'x');
    const struct {
        std::string rest;
        const char* message;
    } cases[] = {{"FRAME\nxxx", "frame 1: truncated picture data"},
                 {"FRAMX\n" + std::string(6, 'x'), "frame 1: missing FRAME marker"},
                 {"FRAME", "frame 1: truncated or overlong FRAME line"}};
    for (const auto& c : cases) {
        const std::string content = start + c.rest;
        WriteBytes(path, std::vector<uint8_t>(content.begin(), content.end()));
        Y4mReader reader;
        std::string error;
        ASSERT_TRUE(reader.Open(path, &error)) << error;
        YuvPicture picture;
        ASSERT_EQ(reader.ReadPicture(&picture, &error), Y4mRead::kPicture);
        EXPECT_EQ(reader.ReadPicture(&picture, &error), Y4mRead::kError);
        EXPECT_EQ(error, path + ": " + c.message);
    }
}

}  // namespace
}  // namespace veltrane::tools
