#include "y4m.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "temp_dir.h"

namespace veltrane::tools {
namespace {

// Pictures of an odd size read back as written; damaged headers and pictures are
// refused with the file's name, and the frame's when one is at fault.
TEST(Y4mTest, RoundTripOfOddSizedPicturesAndDamagedFiles) {
    test::TempDir dir;
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
    // "YUV4MPEG2 W5 H3 F30000:1001 Ip A1:1 C420jpeg\n"; chroma planes of a 5x3 picture are 3x2.
    EXPECT_EQ(std::filesystem::file_size(path), 45u + 2 * (6 + 15 + 6 + 6));
    Y4mReader reader;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    EXPECT_EQ(reader.header().rateNumerator, 30000u);
    EXPECT_EQ(reader.header().rateDenominator, 1001u);
    YuvPicture read;
    for (const YuvPicture& p : pictures) {
        ASSERT_EQ(reader.ReadPicture(&read, &error), Y4mRead::kPicture);
        EXPECT_TRUE(read.y == p.y && read.u == p.u && read.v == p.v);
    }
    EXPECT_EQ(reader.ReadPicture(&read, &error), Y4mRead::kEnd);

    // A header line, a whole picture of 2x2, then `rest`: the header's chroma tag
    // and rate when all reads well, else the error.
    const std::string frame = "FRAME\nxxxxxx";
    for (const auto& [line, rest, result] :
         {std::tuple<const char*, std::string, const char*>{
              "YUV4MPEG2 W2 H2 F30:1 It A0:0 C420mpeg2 XYSCSS=420", frame, "420mpeg2 30:1"},
          {"YUV4MPEG2 W2 H2", "", "420jpeg 25:1"},  // no C or F tag
          {"YUV4MPEG2 W2 H2", "FRAME\nxxx", "frame 1: truncated picture data"},
          {"YUV4MPEG2 W2 H2", "FRAMX\nxxxxxx", "frame 1: missing FRAME marker"},
          {"YUV4MPEG2 W2 H2", "FRAME", "frame 1: truncated or overlong FRAME line"},
          {"YUV4MPEG2X W2 H2", "", "not a YUV4MPEG2 file"},
          {"YUV4MPEG2 W2", "", "missing or unsupported picture size"},
          {"YUV4MPEG2 Wx H2", "", "bad header field 'Wx'"},
          {"YUV4MPEG2 W2 H2 F25:0", "", "bad header field 'F25:0'"},
          {"YUV4MPEG2 W2 H2 C420p10", "", "unsupported chroma format 'C420p10'"}}) {
        std::ofstream(path) << line << "\n" << frame << rest;
        Y4mReader damaged;
        YuvPicture picture;
        error.clear();
        if (damaged.Open(path, &error)) {
            while (damaged.ReadPicture(&picture, &error) == Y4mRead::kPicture) {
            }
        }
        const Y4mHeader& h = damaged.header();
        const std::string tags = h.chroma + " " + std::to_string(h.rateNumerator) + ":" +
                                 std::to_string(h.rateDenominator);
        EXPECT_EQ(error.empty() ? tags : error.substr(0, error.find(" (")),
                  error.empty() ? result : path + ": " + result)
            << line;
    }
}

}  // namespace
}  // namespace veltrane::tools
