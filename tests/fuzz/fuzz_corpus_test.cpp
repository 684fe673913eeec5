// Replays the fuzzing seeds through the same harnesses in the ordinary test
// builds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_harness.h"
#include "fuzz/plugin_harness.h"

namespace veltrane::fuzz {
namespace {

// Calls `run` with the name and bytes of every seed in `directory`; returns
// their number.
template <typename Run>
size_t ForEachSeed(const char* directory, const Run& run) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (!entry.is_regular_file()) continue;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
        run(bytes);
        ++count;
    }
    return count;
}

TEST(FuzzCorpus, EverySeedRunsCleanly) {
    int decoded = 0;
    EXPECT_GE(ForEachSeed(VELTRANE_FUZZ_CORPUS_DIR,
                          [&](const std::vector<uint8_t>& bytes) {
                              const HarnessResult result =
                                  RunDecodeHarness(bytes.data(), bytes.size());
                              EXPECT_EQ(result.liveBlocks, 0u);
                              EXPECT_EQ(result.foreignFrees, 0);
                              EXPECT_FALSE(result.unexpectedStatus);
                              decoded += result.decoded;
                          }),
              5u);
    // The seeds are mostly valid streams: they reach deep into the decoder.
    EXPECT_GE(decoded, 30);

    int blits = 0;
    decoded = 0;
    EXPECT_GE(ForEachSeed(VELTRANE_PLUGIN_CORPUS_DIR,
                          [&](const std::vector<uint8_t>& bytes) {
                              const PluginHarnessResult result =
                                  RunPluginHarness(bytes.data(), bytes.size());
                              EXPECT_EQ(result.liveBlocks, 0u);
                              EXPECT_EQ(result.foreignFrees, 0);
                              EXPECT_FALSE(result.badResult);
                              decoded += result.decoded;
                              blits += result.blits;
                          }),
              4u);
    // The seeds decode through the plug-in and blit from the pictures.
    EXPECT_GE(decoded, 8);
    EXPECT_GE(blits, 30);
}

}  // namespace
}  // namespace veltrane::fuzz
