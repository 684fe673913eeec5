// Option parsing for the tool's commands: "--name value", "--name=value",
// "-o value" and plain flags, with positional arguments in between and "--"
// ending the options.
#ifndef VELTRANE_TOOLS_COMMAND_LINE_H
#define VELTRANE_TOOLS_COMMAND_LINE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace veltrane::tools {

struct OptionDef {
    const char* name;  // long name without the dashes, e.g. "frames"
    char shortName;    // e.g. 'o', or 0 for none
    bool takesValue;
};

// Exit statuses shared by all commands.
enum ExitStatus { kExitOk = 0, kExitFailure = 1, kExitUsage = 2 };

class CommandLine {
public:
    explicit CommandLine(std::vector<OptionDef> options);

    // Parses the arguments that follow the command name. "--help" and "-h" are
    // always known; "-" alone is a positional argument (stdin or stdout). An
    // option with a value may be given once. Errors name the offending argument.
    bool Parse(int argc, char** argv, std::string* error);

    bool helpRequested() const { return Has("help"); }
    bool Has(const std::string& name) const { return values_.count(name) != 0; }
    std::string Get(const std::string& name, const std::string& fallback = "") const;
    const std::vector<std::string>& positional() const { return positional_; }

    // Reads an integer option within [min, max]; leaves `value` alone when the
    // option is absent. Errors name the option and the text given.
    bool GetInt(const std::string& name, int64_t min, int64_t max, int64_t* value,
                std::string* error) const;
    bool GetDouble(const std::string& name, double min, double max, double* value,
                   std::string* error) const;

private:
    const OptionDef* Find(const std::string& name) const;
    const OptionDef* FindShort(char name) const;

    std::vector<OptionDef> options_;
    std::map<std::string, std::string> values_;
    std::vector<std::string> positional_;
};

// Parses "WxH" into positive numbers.
bool ParseSize(const std::string& text, int* width, int* height);

}  // namespace veltrane::tools

#endif
