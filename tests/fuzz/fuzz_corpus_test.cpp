// Replays the fuzzing seeds through the same harnesses in the ordinary test
// builds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

#include "fuzz/harnesses.h"

namespace veltrane::fuzz {
namespace {

// The seeds in `directory` by name.
std::map<std::string, std::vector<uint8_t>> Seeds(const char* directory) {
    std::map<std::string, std::vector<uint8_t>> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        seeds[entry.path().filename()].assign(std::istreambuf_iterator<char>(file), {});
    }
    return seeds;
}

// The seeds are mostly valid streams: they reach deep into the decoder, and
// through the plug-in into the blits from its pictures.
TEST(FuzzCorpus, EverySeedRunsCleanly) {
    int decoded = 0, pluginDecoded = 0, blits = 0;
    for (const auto& [name, bytes] : Seeds(VELTRANE_FUZZ_CORPUS_DIR)) {
        const HarnessResult r = RunDecodeHarness(bytes.data(), bytes.size());
        EXPECT_TRUE(r.liveBlocks == 0 && r.foreignFrees == 0 && !r.unexpectedStatus) << name;
        decoded += r.decoded;
    }
    for (const auto& [name, bytes] : Seeds(VELTRANE_PLUGIN_CORPUS_DIR)) {
        const PluginHarnessResult r = RunPluginHarness(bytes.data(), bytes.size());
        EXPECT_TRUE(r.liveBlocks == 0 && r.foreignFrees == 0 && !r.badResult) << name;
        pluginDecoded += r.decoded;
        blits += r.blits;
    }
    EXPECT_GE(decoded, 30);
    EXPECT_GE(pluginDecoded, 8);
    EXPECT_GE(blits, 30);
}

}  // namespace
}  // namespace veltrane::fuzz
