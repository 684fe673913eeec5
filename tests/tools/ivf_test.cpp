#include "ivf.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>

#include "byte_order.h"
#include "temp_dir.h"

namespace veltrane::tools {
namespace {

// The written file reads back; damaged headers, truncation and frame counts
// that disagree with the file: every error names the file, and the frame when
// one is at fault.
TEST(IvfTest, RoundTripAndDamagedFilesNameTheFileAndFrame) {
    test::TempDir dir;
    const std::string path = dir.File("bad.ivf");
    IvfWriter writer;
    std::string error;
    ASSERT_TRUE(
        writer.Open(path, {.width = 176, .height = 144, .rate = 30000, .scale = 1001}, &error))
        << error;
    // Three frames of different sizes, one empty.
    const std::vector<uint8_t> a = {0, 0, 0x80, 1, 2}, b = {9};
    EXPECT_TRUE(writer.WriteFrame(a.data(), 5, 0, &error));
    EXPECT_TRUE(writer.WriteFrame(nullptr, 0, 7, &error));
    EXPECT_TRUE(writer.WriteFrame(b.data(), 1, 0x123456789ull, &error));
    ASSERT_TRUE(writer.Close(&error)) << error;
    using Bytes = std::vector<uint8_t>;
    std::ifstream in(path, std::ios::binary);
    const Bytes good{std::istreambuf_iterator<char>(in), {}};
    const auto cut = [](size_t keep) { return [keep](Bytes& b) { b.resize(keep); }; };
    const auto count = [](uint32_t n) { return [n](Bytes& b) { StoreLe32(&b[24], n); }; };
    const struct {
        std::function<void(Bytes&)> damage;
        size_t framesBefore;
        const char* message;
    } cases[] = {
        {[](Bytes& b) { b[0] = 'X'; }, 0, "no DKIF signature"},
        {[](Bytes& b) { b[4] = 1; }, 0, "unsupported IVF version 1"},
        {[](Bytes& b) { b[6] = 16; }, 0, "header size 16, expected 32"},
        {[](Bytes& b) { b[11] = 'X'; }, 0, "fourcc 'VLTX'"},
        {[](Bytes& b) { StoreLe32(&b[16], 0); }, 0, "time base 0/1001"},
        {[](Bytes& b) { StoreLe32(&b[20], 0); }, 0, "time base 30000/0"},
        {cut(20), 0, "shorter than the 32-byte file header"},
        {cut(32 + 17 + 12 + 5), 2, "frame 2: truncated frame header (5 of 12 bytes)"},
        // A huge frame size is reported, not allocated.
        {[](Bytes& b) { StoreLe32(&b[32], 0xFFFFFFF0u); }, 0,
         "frame 0: truncated: frame of 4294967280 bytes"},
        {count(4), 3, "file ends after 3 frames, header announces 4"},
        {count(2), 2, "frame 2: more frames than the 2 the header announces"},
        {count(0), 3, nullptr},  // written as a stream: any count is fine
        {[](Bytes&) {}, 3, nullptr},
    };
    for (const auto& c : cases) {
        Bytes bytes = good;
        c.damage(bytes);
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<char*>(bytes.data()), long(bytes.size()));
        // Every frame up to the first failure.
        IvfReader reader;
        std::vector<IvfFrame> frames;
        IvfFrame frame;
        error.clear();
        if (reader.Open(path, &error)) {
            while (reader.ReadFrame(&frame, &error) == IvfRead::kFrame) frames.push_back(frame);
        }
        EXPECT_EQ(frames.size(), c.framesBefore) << error;
        if (c.message == nullptr) {
            EXPECT_EQ(error, "");
            EXPECT_EQ(frames[0].data, a);
            EXPECT_TRUE(frames[1].data.empty());
            EXPECT_EQ(frames[2].timestamp, 0x123456789ull);
        } else {
            EXPECT_EQ(error.rfind(path + ": ", 0), 0u) << error;
            EXPECT_NE(error.find(c.message), std::string::npos) << error;
        }
    }
}

}  // namespace
}  // namespace veltrane::tools
