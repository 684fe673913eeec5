#include "command_line.h"

#include <charconv>
#include <cstdlib>

namespace veltrane::tools {

namespace {

bool ParseInt64(const std::string& text, int64_t* value) {
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, *value);
    return !text.empty() && ec == std::errc() && ptr == end;
}

}  // namespace

CommandLine::CommandLine(std::vector<OptionDef> options) : options_(std::move(options)) {
    options_.push_back({"help", 'h', false});
}

const OptionDef* CommandLine::Find(const std::string& name) const {
    for (const OptionDef& option : options_) {
        if (name == option.name) return &option;
    }
    return nullptr;
}

const OptionDef* CommandLine::FindShort(char name) const {
    for (const OptionDef& option : options_) {
        if (option.shortName != 0 && option.shortName == name) return &option;
    }
    return nullptr;
}

bool CommandLine::Parse(int argc, char** argv, std::string* error) {
    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            positional_.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const OptionDef* option = nullptr;
        std::string value;
        bool hasInlineValue = false;
        if (arg[1] == '-') {
            const size_t equals = arg.find('=');
            option =
                Find(arg.substr(2, equals == std::string::npos ? std::string::npos : equals - 2));
            if (equals != std::string::npos) {
                value = arg.substr(equals + 1);
                hasInlineValue = true;
            }
        } else if (arg.size() == 2) {
            option = FindShort(arg[1]);
        }
        if (option == nullptr) {
            *error = "unknown option '" + arg + "'";
            return false;
        }
        if (!option->takesValue) {
            if (hasInlineValue) {
                *error = "option '--" + std::string(option->name) + "' takes no value";
                return false;
            }
        } else if (!hasInlineValue) {
            if (i + 1 >= argc) {
                *error = "option '" + arg + "' needs a value";
                return false;
            }
            value = argv[++i];
        }
        // A second value would silently override the first; scripts that build
        // command lines get told instead.
        if (option->takesValue && Has(option->name)) {
            *error = "option '--" + std::string(option->name) + "' given twice";
            return false;
        }
        values_[option->name] = value;
    }
    return true;
}

std::string CommandLine::Get(const std::string& name, const std::string& fallback) const {
    const auto it = values_.find(name);
    return it == values_.end() ? fallback : it->second;
}

bool CommandLine::GetInt(const std::string& name, int64_t min, int64_t max, int64_t* value,
                         std::string* error) const {
    if (!Has(name)) return true;
    const std::string text = Get(name);
    int64_t parsed = 0;
    if (!ParseInt64(text, &parsed) || parsed < min || parsed > max) {
        *error = "--" + name + ": '" + text + "' is not a whole number from " +
                 std::to_string(min) + " to " + std::to_string(max);
        return false;
    }
    *value = parsed;
    return true;
}

bool CommandLine::GetDouble(const std::string& name, double min, double max, double* value,
                            std::string* error) const {
    if (!Has(name)) return true;
    const std::string text = Get(name);
    char* end = nullptr;
    const double parsed = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || !(parsed >= min && parsed <= max)) {
        *error = "--" + name + ": '" + text + "' is not a number from " + std::to_string(min) +
                 " to " + std::to_string(max);
        return false;
    }
    *value = parsed;
    return true;
}

bool ParseSize(const std::string& text, int* width, int* height) {
    const size_t x = text.find('x');
    if (x == std::string::npos) return false;
    int64_t w = 0, h = 0;
    if (!ParseInt64(text.substr(0, x), &w) || !ParseInt64(text.substr(x + 1), &h)) return false;
    if (w <= 0 || h <= 0 || w > 65535 || h > 65535) return false;
    *width = static_cast<int>(w);
    *height = static_cast<int>(h);
    return true;
}

}  // namespace veltrane::tools
