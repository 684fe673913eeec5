#include "ivf.h"

#include <gtest/gtest.h>

#include "byte_order.h"
#include "temp_dir.h"

namespace veltrane::tools {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

// Writes three frames of different sizes (one empty) and returns the file's bytes.
std::vector<uint8_t> WriteSample(const std::string& path) {
    IvfFileHeader header;
    header.width = 176;
    header.height = 144;
    header.rate = 30000;
    header.scale = 1001;
    IvfWriter writer;
    std::string error;
    EXPECT_TRUE(writer.Open(path, header, &error)) << error;
    const std::vector<uint8_t> a = {0, 0, 0x80, 1, 2}, b = {9};
    EXPECT_TRUE(writer.WriteFrame(a.data(), 5, 0, &error));
    EXPECT_TRUE(writer.WriteFrame(nullptr, 0, 7, &error));
    EXPECT_TRUE(writer.WriteFrame(b.data(), 1, 0x123456789ull, &error));
    EXPECT_TRUE(writer.Close(&error)) << error;
    return ReadBytes(path);
}

// Reads all frames; returns the error of the first failure, or "" at a clean end.
std::string ReadAll(const std::string& path, std::vector<IvfFrame>* frames) {
    IvfReader reader;
    std::string error;
    if (!reader.Open(path, &error)) return error;
    IvfFrame frame;
    for (;;) {
        switch (reader.ReadFrame(&frame, &error)) {
            case IvfRead::kFrame:
                frames->push_back(frame);
                break;
            case IvfRead::kEnd:
                return "";
            case IvfRead::kError:
                return error;
        }
    }
}

TEST(IvfTest, RoundTripKeepsHeaderFramesAndTimestamps) {
    TempDir dir;
    const std::string path = dir.File("a.ivf");
    const std::vector<uint8_t> bytes = WriteSample(path);
    // Layout: 32-byte header, then 12 + 5, 12 + 0 and 12 + 1 bytes.
    ASSERT_EQ(bytes.size(), 32u + 17 + 12 + 13);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "DKIF");
    EXPECT_EQ(std::string(bytes.begin() + 8, bytes.begin() + 12), "VLTR");
    EXPECT_EQ(LoadLe16(&bytes[6]), 32);
    EXPECT_EQ(LoadLe32(&bytes[24]), 3u);  // frame count filled in on close

    IvfReader reader;
    std::string error;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    EXPECT_EQ(reader.header().width, 176);
    EXPECT_EQ(reader.header().height, 144);
    EXPECT_EQ(reader.header().rate, 30000u);
    EXPECT_EQ(reader.header().scale, 1001u);
    std::vector<IvfFrame> frames;
    ASSERT_EQ(ReadAll(path, &frames), "");
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[0].data, (std::vector<uint8_t>{0, 0, 0x80, 1, 2}));
    EXPECT_TRUE(frames[1].data.empty());
    EXPECT_EQ(frames[1].timestamp, 7u);
    EXPECT_EQ(frames[2].timestamp, 0x123456789ull);
}

TEST(IvfTest, RejectsBadFileHeaders) {
    TempDir dir;
    const std::string path = dir.File("a.ivf");
    const std::vector<uint8_t> good = WriteSample(path);
    struct Case {
        size_t offset;
        uint8_t value;
        const char* message;
    } cases[] = {{0, 'X', "no DKIF signature"},
                 {4, 1, "unsupported IVF version 1"},
                 {6, 16, "header size 16"},
                 {11, 'X', "fourcc 'VLTX'"},
                 {16, 0, nullptr}};
    for (const Case& c : cases) {
        std::vector<uint8_t> bytes = good;
        bytes[c.offset] = c.value;
        if (c.message == nullptr) std::fill(bytes.begin() + 16, bytes.begin() + 20, 0);  // rate 0
        WriteBytes(path, bytes);
        IvfReader reader;
        std::string error;
        EXPECT_FALSE(reader.Open(path, &error)) << c.offset;
        EXPECT_EQ(error.rfind(path + ": ", 0), 0u) << error;
        EXPECT_NE(error.find(c.message ? c.message : "time base 0/1001"), std::string::npos)
            << error;
    }
    WriteBytes(path, std::vector<uint8_t>(good.begin(), good.begin() + 20));
    IvfReader reader;
    std::string error;
    EXPECT_FALSE(reader.Open(path, &error));
    EXPECT_NE(error.find("shorter than the 32-byte file header"), std::string::npos);
    EXPECT_FALSE(reader.Open(dir.File("missing.ivf"), &error));
    EXPECT_NE(error.find("missing.ivf: cannot open"), std::string::npos);
}

TEST(IvfTest, TruncationNamesTheFileAndFrame) {
    TempDir dir;
    const std::string path = dir.File("cut.ivf");
    const std::vector<uint8_t> good = WriteSample(path);
    // Cut inside frame 2's header, then inside frame 0's data.
    struct Case {
        size_t keep;
        size_t framesBefore;
        const char* message;
    } cases[] = {{32 + 17 + 12 + 5, 2, "frame 2: truncated frame header (5 of 12 bytes)"},
                 {32 + 12 + 3, 0, "frame 0: truncated: frame of 5 bytes, only 3 left in the file"}};
    for (const Case& c : cases) {
        WriteBytes(path, std::vector<uint8_t>(good.begin(), good.begin() + c.keep));
        std::vector<IvfFrame> frames;
        const std::string error = ReadAll(path, &frames);
        EXPECT_EQ(frames.size(), c.framesBefore);
        EXPECT_EQ(error, path + ": " + c.message);
    }
}

TEST(IvfTest, FrameCountMustMatchTheHeaderUnlessUnknown) {
    TempDir dir;
    const std::string path = dir.File("count.ivf");
    std::vector<uint8_t> bytes = WriteSample(path);
    std::vector<IvfFrame> frames;

    StoreLe32(&bytes[24], 4);
    WriteBytes(path, bytes);
    EXPECT_EQ(ReadAll(path, &frames), path + ": file ends after 3 frames, header announces 4");

    StoreLe32(&bytes[24], 2);
    WriteBytes(path, bytes);
    frames.clear();
    EXPECT_EQ(ReadAll(path, &frames),
              path + ": frame 2: more frames than the 2 the header announces");
    EXPECT_EQ(frames.size(), 2u);

    StoreLe32(&bytes[24], 0);  // written as a stream: any count is fine
    WriteBytes(path, bytes);
    frames.clear();
    EXPECT_EQ(ReadAll(path, &frames), "");
    EXPECT_EQ(frames.size(), 3u);
}

TEST(IvfTest, OversizedFrameSizeDoesNotAllocate) {
    TempDir dir;
    const std::string path = dir.File("huge.ivf");
    std::vector<uint8_t> bytes = WriteSample(path);
    StoreLe32(&bytes[32], 0xFFFFFFF0u);
    WriteBytes(path, bytes);
    std::vector<IvfFrame> frames;
    EXPECT_NE(ReadAll(path, &frames).find("frame 0: truncated: frame of 4294967280 bytes"),
              std::string::npos);
}

}  // namespace
}  // namespace veltrane::tools
