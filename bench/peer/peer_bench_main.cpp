// veltrane_peer_bench: libveltrane side by side with the libraries people would
// otherwise pick, on natural content, interleaved in one process.
//
//   veltrane_peer_bench STREAMS.txt [--rounds N] [--min-time SECONDS] [--quick] [--only PART]
//
// STREAMS.txt comes from make_streams.sh. Prints the checks, each comparison as
// it finishes, then the Markdown tables of the streams and of the results.
// Exit status 1 when a check fails, 2 on a usage error.
#include <libyuv.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "jpeg_islow.h"
#include "mpeg2_decoding.h"
#include "peer_sections.h"
#include "support/test_allocator.h"

namespace {

constexpr char kUsage[] =
    "Usage: veltrane_peer_bench STREAMS.txt [--rounds N] [--min-time SECONDS] [--quick] [--only "
    "PART]\n"
    "  --rounds N          timed rounds per comparison (default 15; --quick: 3)\n"
    "  --min-time SECONDS  least time of each side in one round (default 0.05; --quick: 0.002)\n"
    "  --only PART         only one part: decode, bgra or idct\n";

int UsageError(const std::string& message) {
    std::fprintf(stderr, "veltrane_peer_bench: %s\n%s", message.c_str(), kUsage);
    return 2;
}

std::string LibyuvCpu() {
    std::string names;
    const struct {
        int flag;
        const char* name;
    } kFlags[] = {{libyuv::kCpuHasSSE2, "SSE2"},         {libyuv::kCpuHasSSSE3, "SSSE3"},
                  {libyuv::kCpuHasAVX2, "AVX2"},         {libyuv::kCpuHasAVX512BW, "AVX512BW"},
                  {libyuv::kCpuHasAVX512VL, "AVX512VL"}, {libyuv::kCpuHasNEON, "NEON"}};
    for (const auto& flag : kFlags)
        if (libyuv::TestCpuFlag(flag.flag))
            names += std::string(names.empty() ? "" : " ") + flag.name;
    return names.empty() ? "none (plain C)" : names;
}

}  // namespace

int main(int argc, char** argv) {
    std::string listPath;
    veltrane::peer::TimingPlan plan;
    bool quick = false, roundsGiven = false, timeGiven = false;
    std::string only;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--quick") {
            quick = true;
        } else if (arg == "--rounds" && i + 1 < argc) {
            plan.rounds = std::atoi(argv[++i]);
            if (plan.rounds < 1 || plan.rounds > 10000) return UsageError("--rounds: 1 to 10000");
            roundsGiven = true;
        } else if (arg == "--min-time" && i + 1 < argc) {
            plan.minSecondsPerSide = std::atof(argv[++i]);
            if (!(plan.minSecondsPerSide > 0 && plan.minSecondsPerSide <= 60))
                return UsageError("--min-time: above 0, at most 60 seconds");
            timeGiven = true;
        } else if (arg == "--only" && i + 1 < argc) {
            only = argv[++i];
            if (only != "decode" && only != "bgra" && only != "idct")
                return UsageError("--only: decode, bgra or idct");
        } else if (!arg.empty() && arg[0] == '-') {
            return UsageError("unknown option or missing value: '" + arg + "'");
        } else if (listPath.empty()) {
            listPath = arg;
        } else {
            return UsageError("more than one stream list: '" + arg + "'");
        }
    }
    if (listPath.empty()) return UsageError("the stream list is required");
    if (quick && !roundsGiven) plan.rounds = 3;
    if (quick && !timeGiven) plan.minSecondsPerSide = 0.002;

    std::vector<veltrane::peer::StreamPair> pairs;
    std::string error;
    if (!veltrane::peer::ParseStreamList(listPath, &pairs, &error) ||
        !veltrane::peer::LoadStreams(&pairs, &error)) {
        std::fprintf(stderr, "veltrane_peer_bench: %s\n", error.c_str());
        return 1;
    }
    veltrane::peer::JpegIslow jpeg;
    std::string jpegRoutine;
    if (!jpeg.Open(&error)) {
        jpegRoutine = "not available: " + error;
    } else {
        const std::string set = jpeg.SelectedInstructionSet();
        jpegRoutine = set == "C" ? "plain C (jpeg_idct_islow)"
                                 : "SIMD (not the exported C jpeg_idct_islow: its SIMD entry, "
                                   "which takes " +
                                       set + " on this CPU)";
    }
    std::printf(
        "libmpeg2 acceleration: %s\nlibyuv CPU flags: %s\n"
        "libjpeg-turbo islow routine: %s\n%d rounds, at least %s of each side per round\n",
        veltrane::peer::Mpeg2Acceleration().c_str(), LibyuvCpu().c_str(), jpegRoutine.c_str(),
        plan.rounds, veltrane::peer::FormatSeconds(plan.minSecondsPerSide).c_str());

    veltrane::test::TestAllocator allocator;
    veltrane::peer::Report report;
    const veltrane::peer::BenchContext context{&pairs, plan, &allocator, &report};
    std::printf("\nstreams:\n");
    const std::string streamTable = veltrane::peer::CheckStreamPairs(context);
    if (only.empty() || only == "decode") {
        std::printf("\nwhole decodes:\n");
        veltrane::peer::CompareWholeDecoding(context);
    }
    if (only.empty() || only == "bgra") {
        std::printf("\nBGRA conversion:\n");
        veltrane::peer::CompareBgraConversion(context);
    }
    if (only.empty() || only == "idct") {
        std::printf("\ninverse DCT:\n");
        veltrane::peer::CompareInverseDct(context);
    }

    std::printf(
        "\n%s\n%s\nratio = our time / their time, median of %d interleaved rounds; "
        "below 1 we are faster. Spread: first to third quartile of the ratios.\n",
        streamTable.c_str(), report.Table().c_str(), plan.rounds);
    if (report.failures() > 0) {
        std::printf("%d of %d checks FAILED\n", report.failures(), report.checks());
        return 1;
    }
    std::printf("all %d checks hold\n", report.checks());
    return 0;
}
