// veltrane: decode, inspect, encode and benchmark streams from the command line.
#include <cstdio>
#include <cstring>
#include <string>

#include "command_line.h"
#include "commands.h"

namespace {

struct Command {
    const char* name;
    const char* summary;
    int (*run)(int argc, char** argv);
};

const Command kCommands[] = {
    {"decode", "decode IN.ivf into a Y4M file or PNG pictures", veltrane::tools::RunDecode},
    {"info", "list the frames of IN.ivf and their headers", veltrane::tools::RunInfo},
    {"encode", "encode a Y4M file or a test pattern into an IVF file", veltrane::tools::RunEncode},
    {"bench", "measure decoding speed on IN.ivf", veltrane::tools::RunBench},
};

void PrintUsage(std::FILE* out) {
    std::fprintf(out, "Usage: veltrane COMMAND [options]\n\nCommands:\n");
    for (const Command& c : kCommands) std::fprintf(out, "  %-8s %s\n", c.name, c.summary);
    std::fprintf(out, "\n'veltrane COMMAND --help' describes the options of a command.\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintUsage(stderr);
        return veltrane::tools::kExitUsage;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        PrintUsage(stdout);
        return veltrane::tools::kExitOk;
    }
    for (const Command& c : kCommands) {
        if (name == c.name) return c.run(argc - 2, argv + 2);
    }
    veltrane::tools::ReportError("unknown command '" + name + "' (see 'veltrane --help')");
    return veltrane::tools::kExitUsage;
}
