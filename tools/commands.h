// The tool's commands. Each takes the arguments after its own name and returns
// the process exit status (see ExitStatus in command_line.h).
#ifndef VELTRANE_TOOLS_COMMANDS_H
#define VELTRANE_TOOLS_COMMANDS_H

#include <string>

namespace veltrane::tools {

int RunDecode(int argc, char** argv);
int RunInfo(int argc, char** argv);
int RunEncode(int argc, char** argv);
int RunBench(int argc, char** argv);
int RunAnalyze(int argc, char** argv);

// Prints "veltrane: MESSAGE" on stderr.
void ReportError(const std::string& message);
// Prints a usage error and the hint to ask for help; returns kExitUsage.
int UsageError(const std::string& command, const std::string& message);

}  // namespace veltrane::tools

#endif
