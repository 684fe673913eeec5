#include "command_line.h"

#include <gtest/gtest.h>

namespace veltrane::tools {
namespace {

// Parses a space-separated argument string.
bool Parse(CommandLine* line, std::string args, std::string* error) {
    static std::vector<std::string> storage;
    storage.clear();
    for (size_t start = 0; start < args.size();) {
        const size_t end = args.find(' ', start);
        storage.push_back(args.substr(start, end - start));
        start = end == std::string::npos ? args.size() : end + 1;
    }
    std::vector<char*> argv;
    for (std::string& s : storage) argv.push_back(s.data());
    return line->Parse(static_cast<int>(argv.size()), argv.data(), error);
}

CommandLine Make() {
    return CommandLine({{"output", 'o', true}, {"frames", 0, true}, {"strict", 0, false}});
}

TEST(CommandLineTest, OptionFormsAndPositionals) {
    CommandLine line = Make();
    std::string error;
    ASSERT_TRUE(Parse(&line, "in.ivf -o out.y4m --frames=12 --strict -- --not-an-option", &error))
        << error;
    EXPECT_EQ(line.positional(), (std::vector<std::string>{"in.ivf", "--not-an-option"}));
    EXPECT_EQ(line.Get("output"), "out.y4m");
    EXPECT_TRUE(line.Has("strict"));
    EXPECT_FALSE(line.helpRequested());
    int64_t frames = -1;
    EXPECT_TRUE(line.GetInt("frames", 0, 100, &frames, &error));
    EXPECT_EQ(frames, 12);
}

TEST(CommandLineTest, ErrorsNameTheArgument) {
    const struct {
        const char* args;
        const char* message;
    } cases[] = {{"in --bogus", "unknown option '--bogus'"},
                 {"in -x", "unknown option '-x'"},
                 {"in --strict=1", "option '--strict' takes no value"},
                 {"in -o", "option '-o' needs a value"}};
    for (const auto& c : cases) {
        CommandLine line = Make();
        std::string error;
        EXPECT_FALSE(Parse(&line, c.args, &error)) << c.args;
        EXPECT_EQ(error, c.message);
    }
    CommandLine line = Make();
    std::string error;
    ASSERT_TRUE(Parse(&line, "--frames 1x -h", &error));
    EXPECT_TRUE(line.helpRequested());
    int64_t frames = 3;
    EXPECT_FALSE(line.GetInt("frames", 0, 100, &frames, &error));
    EXPECT_EQ(error, "--frames: '1x' is not a whole number from 0 to 100");
    EXPECT_EQ(frames, 3);
}

TEST(CommandLineTest, ParseSize) {
    int w = 0, h = 0;
    EXPECT_TRUE(ParseSize("176x144", &w, &h));
    EXPECT_EQ(w, 176);
    EXPECT_EQ(h, 144);
    for (const char* bad : {"176", "x144", "176x", "0x10", "-4x4", "70000x2", "4x4x4"}) {
        EXPECT_FALSE(ParseSize(bad, &w, &h)) << bad;
    }
}

}  // namespace
}  // namespace veltrane::tools
