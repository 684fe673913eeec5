// veltrane bench: decoding speed on one IVF file, held in memory, with and
// without the conversion of every picture into BGRA.
#include <chrono>
#include <cstdio>
#include <vector>

#include "bgra_picture.h"
#include "command_line.h"
#include "commands.h"
#include "file_streams.h"
#include "frame_decoder.h"
#include "host_allocator.h"
#include "ivf.h"
#include "run_summary.h"

namespace veltrane::tools {

namespace {

constexpr char kUsage[] =
    "Usage: veltrane bench IN.ivf [options]\n"
    "\n"
    "IN.ivf may be - (stdin). Decodes the whole file again and again from memory, first without "
    "and then\n"
    "with conversion of every picture into BGRA, and prints pictures per second\n"
    "and megapixels per second for both. Each pass opens a fresh decoder session.\n"
    "\n"
    "Options:\n"
    "  --seconds S   run each mode for at least S seconds (default 2)\n"
    "  --runs N      run each mode exactly N passes over the file instead\n"
    "  -h, --help    show this help\n"
    "\n"
    "Exit status: 0 when every frame decoded, 1 when a frame failed or the file is\n"
    "damaged or unreadable, 2 for a usage error.\n";

using Clock = std::chrono::steady_clock;

struct BenchResult {
    uint64_t pictures = 0;
    uint64_t pixels = 0;
    uint64_t failures = 0;
    uint32_t passes = 0;
    double seconds = 0;
};

// One pass over all frames; adds its pictures, pixels and failures to `result`.
bool DecodePass(const std::vector<IvfFrame>& frames, const IvfFileHeader& header, bool convert,
                BenchResult* result) {
    HostAllocator allocator;
    FrameDecoder decoder(&allocator);
    if (!decoder.Open(header.width, header.height)) return false;
    BgraPicture image;
    for (const IvfFrame& frame : frames) {
        const int32_t status =
            decoder.Decode(frame.data.data(), static_cast<uint32_t>(frame.data.size()),
                           convert ? &image : nullptr);
        if (status != kStatusOk) {
            ++result->failures;
            continue;
        }
        ++result->pictures;
        result->pixels += static_cast<uint64_t>(decoder.width()) * decoder.height();
    }
    return true;
}

bool RunMode(const std::vector<IvfFrame>& frames, const IvfFileHeader& header, bool convert,
             int64_t runs, double seconds, BenchResult* result) {
    const Clock::time_point start = Clock::now();
    for (;;) {
        if (!DecodePass(frames, header, convert, result)) return false;
        ++result->passes;
        result->seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (runs > 0 ? result->passes >= runs : result->seconds >= seconds) return true;
    }
}

void PrintResult(const char* mode, const BenchResult& r) {
    const double s = r.seconds > 0 ? r.seconds : 1e-9;
    std::printf("%-14s %u passes, %llu pictures in %.3f s: %.1f pictures/s, %.2f MP/s", mode,
                r.passes, static_cast<unsigned long long>(r.pictures), r.seconds, r.pictures / s,
                static_cast<double>(r.pixels) / 1e6 / s);
    if (r.failures != 0) {
        std::printf(" (%llu frames failed)", static_cast<unsigned long long>(r.failures));
    }
    std::printf("\n");
}

bool LoadFrames(const std::string& path, IvfFileHeader* header, std::vector<IvfFrame>* frames) {
    IvfReader reader;
    std::string error;
    if (!reader.Open(path, &error)) {
        ReportError(error);
        return false;
    }
    *header = reader.header();
    IvfFrame frame;
    for (;;) {
        const IvfRead read = reader.ReadFrame(&frame, &error);
        if (read == IvfRead::kEnd) break;
        if (read == IvfRead::kError) {
            ReportError(error);
            return false;
        }
        frames->push_back(frame);
    }
    if (frames->empty()) {
        ReportError(reader.name() + ": no frames to decode");
        return false;
    }
    return true;
}

}  // namespace

int RunBench(int argc, char** argv) {
    CommandLine line({{"seconds", 0, true}, {"runs", 0, true}});
    std::string error;
    if (!line.Parse(argc, argv, &error)) return UsageError("bench", error);
    if (line.helpRequested()) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (line.positional().size() != 1) {
        return UsageError("bench", "expected exactly one input file");
    }
    if (line.Has("seconds") && line.Has("runs")) {
        return UsageError("bench", "--seconds and --runs both say how long to run; give one");
    }
    double seconds = 2.0;
    int64_t runs = 0;
    if (!line.GetDouble("seconds", 0.0, 3600.0, &seconds, &error) ||
        !line.GetInt("runs", 1, 1000000, &runs, &error)) {
        return UsageError("bench", error);
    }
    const std::string name = InputName(line.positional()[0]);
    IvfFileHeader header;
    std::vector<IvfFrame> frames;
    if (!LoadFrames(line.positional()[0], &header, &frames)) return kExitFailure;
    std::printf("%s: %zu frames, %ux%u\n", name.c_str(), frames.size(), header.width,
                header.height);
    BenchResult decodeOnly, withBgra;
    if (!RunMode(frames, header, false, runs, seconds, &decodeOnly) ||
        !RunMode(frames, header, true, runs, seconds, &withBgra)) {
        ReportError(name + ": cannot open a decoder session");
        return kExitFailure;
    }
    PrintResult("decode only:", decodeOnly);
    PrintResult("decode + BGRA:", withBgra);
    if (decodeOnly.failures != 0) {
        ReportError(name + ": " +
                    CountOf(decodeOnly.failures / decodeOnly.passes, "frame", "frames") +
                    " of the file failed to decode");
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace veltrane::tools
