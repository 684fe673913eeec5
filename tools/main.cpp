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
    {"decode", "decode IN.ivf into Y4M, raw I420, PNG pictures or an MD5",
     veltrane::tools::RunDecode},
    {"info", "list the frames of IN.ivf and their headers", veltrane::tools::RunInfo},
    {"encode", "encode a Y4M file or a test pattern into an IVF file", veltrane::tools::RunEncode},
    {"bench", "measure decoding speed on IN.ivf", veltrane::tools::RunBench},
    {"analyze", "draw macroblock overlays of IN.ivf or write an HTML report",
     veltrane::tools::RunAnalyze},
};

void PrintUsage(std::FILE* out) {
    std::fprintf(out,
                 "Usage: veltrane COMMAND [options]\n"
                 "       veltrane help COMMAND\n"
                 "       veltrane --version\n\nCommands:\n");
    for (const Command& c : kCommands) std::fprintf(out, "  %-8s %s\n", c.name, c.summary);
    std::fprintf(out,
                 "\nFile arguments may be - for stdin or stdout. 'veltrane help COMMAND'\n"
                 "describes the options of a command. Exit status: 0 success, 1 failure,\n"
                 "2 usage error.\n");
}

const Command* FindCommand(const std::string& name) {
    for (const Command& c : kCommands) {
        if (name == c.name) return &c;
    }
    return nullptr;
}

int UnknownCommand(const std::string& name) {
    veltrane::tools::ReportError("unknown command '" + name + "' (see 'veltrane --help')");
    return veltrane::tools::kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintUsage(stderr);
        return veltrane::tools::kExitUsage;
    }
    const std::string name = argv[1];
    if (name == "--version") {
        std::printf("veltrane %s\n", VELTRANE_VERSION);
        return veltrane::tools::kExitOk;
    }
    if (name == "help" && argc > 2) {
        const Command* command = FindCommand(argv[2]);
        if (command == nullptr) return UnknownCommand(argv[2]);
        char help[] = "--help";
        char* helpArgs[] = {help, nullptr};
        return command->run(1, helpArgs);
    }
    if (name == "--help" || name == "-h" || name == "help") {
        PrintUsage(stdout);
        return veltrane::tools::kExitOk;
    }
    const Command* command = FindCommand(name);
    if (command == nullptr) return UnknownCommand(name);
    return command->run(argc - 2, argv + 2);
}
