#include <cstdio>

#include "command_line.h"
#include "commands.h"

namespace veltrane::tools {

void ReportError(const std::string& message) {
    std::fprintf(stderr, "veltrane: %s\n", message.c_str());
}

int UsageError(const std::string& command, const std::string& message) {
    std::fprintf(stderr, "veltrane %s: %s (see 'veltrane %s --help')\n", command.c_str(),
                 message.c_str(), command.c_str());
    return kExitUsage;
}

}  // namespace veltrane::tools
