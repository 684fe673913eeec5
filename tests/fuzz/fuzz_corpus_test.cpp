// Replays the fuzzing seeds through the same harness in the ordinary test builds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_harness.h"
#include "fuzz/plugin_harness.h"
#include "support/stream_builder.h"

namespace veltrane::fuzz {
namespace {

std::vector<std::filesystem::path> Seeds(const char* directory = VELTRANE_FUZZ_CORPUS_DIR) {
    std::vector<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.is_regular_file()) seeds.push_back(entry.path());
    }
    return seeds;
}

std::vector<uint8_t> ReadSeed(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(FuzzCorpus, EverySeedRunsCleanly) {
    const auto seeds = Seeds();
    ASSERT_GE(seeds.size(), 5u);
    int decoded = 0;
    for (const auto& path : seeds) {
        SCOPED_TRACE(path.filename().string());
        const std::vector<uint8_t> bytes = ReadSeed(path);
        const HarnessResult result = RunDecodeHarness(bytes.data(), bytes.size());
        EXPECT_EQ(result.liveBlocks, 0u);
        EXPECT_EQ(result.foreignFrees, 0);
        EXPECT_FALSE(result.unexpectedStatus);
        decoded += result.decoded;
    }
    // The seeds are mostly valid streams: they reach deep into the decoder.
    EXPECT_GE(decoded, 30);
}

TEST(FuzzCorpus, EveryPluginSeedRunsCleanly) {
    const auto seeds = Seeds(VELTRANE_PLUGIN_CORPUS_DIR);
    ASSERT_GE(seeds.size(), 4u);
    int decoded = 0;
    int blits = 0;
    for (const auto& path : seeds) {
        SCOPED_TRACE(path.filename().string());
        const std::vector<uint8_t> bytes = ReadSeed(path);
        const PluginHarnessResult result = RunPluginHarness(bytes.data(), bytes.size());
        EXPECT_EQ(result.liveBlocks, 0u);
        EXPECT_EQ(result.foreignFrees, 0);
        EXPECT_FALSE(result.badResult);
        decoded += result.decoded;
        blits += result.blits;
    }
    // The seeds decode through the plug-in and blit from the pictures.
    EXPECT_GE(decoded, 8);
    EXPECT_GE(blits, 30);
}

TEST(FuzzCorpus, SizeChangeReopensTheSessionsAndLengthsAreClamped) {
    // 16x16 session, then a 128x96 frame (type 3: no macroblock data), then a
    // frame whose length prefix runs past the end of the input.
    const std::vector<uint8_t> type3 = test::FrameWriter(test::FieldsForSize(128, 96, 3)).Bytes();
    std::vector<uint8_t> input = MakeHarnessInput(4, {type3});
    input.insert(input.end(), {0xFF, 0xFF, 0x00, 0x00});
    const HarnessResult result = RunDecodeHarness(input.data(), input.size());
    EXPECT_EQ(result.frames, 2);
    EXPECT_EQ(result.reopened, 1);
    EXPECT_EQ(result.decoded, 1);
    EXPECT_EQ(result.liveBlocks, 0u);
}

}  // namespace
}  // namespace veltrane::fuzz
