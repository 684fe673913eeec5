#include "command_line.h"

#include <gtest/gtest.h>

namespace veltrane::tools {
namespace {

// Parses the given arguments; unknown options and bad numbers are covered end
// to end by the tool's tests.
bool Parse(CommandLine* line, std::vector<std::string> args, std::string* error) {
    std::vector<char*> argv;
    for (std::string& s : args) argv.push_back(s.data());
    return line->Parse(static_cast<int>(argv.size()), argv.data(), error);
}

CommandLine Make() {
    return CommandLine({{"output", 'o', true}, {"frames", 0, true}, {"strict", 0, false}});
}

TEST(CommandLineTest, OptionFormsAndPositionals) {
    CommandLine line = Make();
    std::string error;
    ASSERT_TRUE(
        Parse(&line,
              {"in.ivf", "-o", "out.y4m", "--frames=12", "--strict", "-h", "--", "--not-an-option"},
              &error))
        << error;
    EXPECT_EQ(line.positional(), (std::vector<std::string>{"in.ivf", "--not-an-option"}));
    EXPECT_EQ(line.Get("output"), "out.y4m");
    EXPECT_TRUE(line.Has("strict"));
    EXPECT_TRUE(line.helpRequested());
    int64_t frames = -1;
    EXPECT_TRUE(line.GetInt("frames", 0, 100, &frames, &error));
    EXPECT_EQ(frames, 12);
}

TEST(CommandLineTest, ErrorsNameTheArgument) {
    for (const auto& [arg, message] :
         {std::pair{"--strict=1", "option '--strict' takes no value"},
          std::pair{"-o", "option '-o' needs a value"}, std::pair{"-x", "unknown option '-x'"}}) {
        CommandLine line = Make();
        std::string error;
        EXPECT_FALSE(Parse(&line, {"in", arg}, &error)) << arg;
        EXPECT_EQ(error, message);
    }
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
