// veltrane info: the frames of an IVF file, their picture headers and, on
// request, their macroblock statistics, as a table or as JSON lines.
#include <cstdio>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "core/macroblock_type.h"
#include "core/picture_header.h"
#include "frame_decoder.h"
#include "host_allocator.h"
#include "ivf.h"
#include "json_line.h"
#include "macroblock_stats.h"
#include "run_summary.h"
#include "veltrane/bitreader.h"

namespace veltrane::tools {

namespace {

constexpr char kUsage[] =
    "Usage: veltrane info IN.ivf [options]\n"
    "\n"
    "IN.ivf may be - (stdin). Prints one row per frame: index, size in bytes, picture type (I "
    "intra, P inter,\n"
    "D disposable inter, E empty), format version, picture size, quantiser and\n"
    "temporal reference. A summary line follows the table.\n"
    "\n"
    "Options:\n"
    "  --mb          add macroblock statistics per picture: macroblocks by type\n"
    "                (intra, intra+q, inter, inter+q, inter 4V, skipped), coded\n"
    "                blocks and the mean motion vector length in pixels\n"
    "  --json        one JSON object per frame instead of the table\n"
    "  -h, --help    show this help\n"
    "\n"
    "Exit status: 0 when the file was read to its end and no frame has an error,\n"
    "1 when a frame has one (it is listed with its error; the listing goes on) or\n"
    "the file is damaged or unreadable, 2 for a usage error.\n";

struct FrameInfo {
    uint32_t index = 0;
    size_t bytes = 0;
    PictureHeader_t header{};
    std::string error;  // empty when the header parsed
    bool haveStats = false;
    MacroblockStats stats;
};

class InfoRun {
public:
    InfoRun(bool json, bool withStats) : json_(json), withStats_(withStats) {}
    ~InfoRun();
    int Run(const std::string& path);

private:
    bool Open(const std::string& path);
    FrameInfo Inspect(uint32_t index, const IvfFrame& frame);
    void PrintTableHeader() const;
    void PrintRow(const FrameInfo& info) const;
    void PrintJson(const FrameInfo& info) const;
    void PrintSummary() const;

    bool json_;
    bool withStats_;
    HostAllocator allocator_;
    IvfReader reader_;
    fifo_t* fifo_ = nullptr;
    MacroblockStatsCollector stats_{&allocator_};  // decodes the frames for --mb
    RunSummary summary_;
    uint64_t bytes_ = 0;
    uint32_t frames_ = 0;
};

InfoRun::~InfoRun() { CloseFifo(fifo_); }

bool InfoRun::Open(const std::string& path) {
    std::string error;
    if (!reader_.Open(path, &error)) {
        ReportError(error);
        return false;
    }
    OpenFifo(&allocator_, &fifo_);
    if (fifo_ == nullptr ||
        (withStats_ && !stats_.Open(reader_.header().width, reader_.header().height))) {
        ReportError(reader_.name() + ": out of memory");
        return false;
    }
    return true;
}

FrameInfo InfoRun::Inspect(uint32_t index, const IvfFrame& frame) {
    FrameInfo info;
    info.index = index;
    info.bytes = frame.data.size();
    const int32_t status = CheckFrameStart(fifo_, frame.data.data(),
                                           static_cast<int64_t>(frame.data.size()), &info.header);
    const uint32_t readerError = GetLastFifoError(fifo_);
    if (status != kStatusOk) {
        info.error = DescribeStatus(status);
    } else if (readerError != 0) {
        info.error = "picture header cut short";
    } else if (withStats_) {
        info.stats = stats_.Collect(frame.data.data(), static_cast<uint32_t>(frame.data.size()));
        info.haveStats = true;
        if (info.stats.status != kStatusOk) {
            info.error = "macroblock layer: " + DescribeStatus(info.stats.status);
        }
    }
    return info;
}

void InfoRun::PrintTableHeader() const {
    std::printf("%6s %8s %-4s %3s %11s %3s %4s", "frame", "bytes", "type", "ver", "size", "q",
                "tref");
    if (withStats_) {
        std::printf(" %6s %6s %6s %6s %6s %6s %6s %6s", "intra", "intraq", "inter", "interq", "4v",
                    "skip", "coded", "mvlen");
    }
    std::printf("\n");
}

void InfoRun::PrintRow(const FrameInfo& info) const {
    if (!info.error.empty() && !info.haveStats) {
        std::printf("%6u %8zu error: %s\n", info.index, info.bytes, info.error.c_str());
        return;
    }
    const PictureHeader_t& h = info.header;
    const std::string size = std::to_string(h.width) + "x" + std::to_string(h.height);
    std::printf("%6u %8zu %-4s %3u %11s %3u %4u", info.index, info.bytes,
                PictureTypeLetter(h.pictureType), h.version, size.c_str(), h.quantiser,
                h.temporalReference);
    if (info.haveStats) {
        const MacroblockStats& s = info.stats;
        std::printf(" %6u %6u %6u %6u %6u %6u %6u %6.2f", s.byType[kMacroblockIntra],
                    s.byType[kMacroblockIntraQ], s.byType[kMacroblockInter],
                    s.byType[kMacroblockInterQ], s.byType[kMacroblockInter4V],
                    s.byType[kSkippedMacroblock], s.codedBlocks, s.meanVectorLength());
        if (!info.error.empty()) std::printf("  error: %s", info.error.c_str());
    }
    std::printf("\n");
}

void InfoRun::PrintJson(const FrameInfo& info) const {
    JsonLine line;
    line.Add("frame", info.index).Add("bytes", static_cast<uint64_t>(info.bytes));
    if (info.error.empty() || info.haveStats) {
        AddPictureHeader(line, info.header);
    }
    if (info.haveStats) {
        const MacroblockStats& s = info.stats;
        line.Add("mb_intra", s.byType[kMacroblockIntra])
            .Add("mb_intra_q", s.byType[kMacroblockIntraQ])
            .Add("mb_inter", s.byType[kMacroblockInter])
            .Add("mb_inter_q", s.byType[kMacroblockInterQ])
            .Add("mb_inter_4v", s.byType[kMacroblockInter4V])
            .Add("mb_skipped", s.byType[kSkippedMacroblock])
            .Add("coded_blocks", s.codedBlocks)
            .Add("mean_vector_length", s.meanVectorLength());
    }
    if (!info.error.empty()) line.Add("error", info.error);
    std::printf("%s\n", line.str().c_str());
}

void InfoRun::PrintSummary() const {
    const IvfFileHeader& h = reader_.header();
    const double seconds = static_cast<double>(frames_) * h.scale / h.rate;
    std::printf("%s (I %u, P %u, D %u, E %u), %s, %llu bytes, %.1f kbit/s at %.3g fps\n",
                CountOf(frames_, "frame", "frames").c_str(), summary_.byType[0], summary_.byType[1],
                summary_.byType[2], summary_.byType[3],
                CountOf(summary_.errors, "error", "errors").c_str(),
                static_cast<unsigned long long>(bytes_),
                seconds > 0 ? static_cast<double>(bytes_) * 8 / seconds / 1000 : 0.0,
                static_cast<double>(h.rate) / h.scale);
}

int InfoRun::Run(const std::string& path) {
    if (!Open(path)) return kExitFailure;
    const IvfFileHeader& h = reader_.header();
    if (!json_) {
        std::printf("%s: %ux%u, time base %u/%u, %u frames announced\n", reader_.name().c_str(),
                    h.width, h.height, h.rate, h.scale, h.frameCount);
        PrintTableHeader();
    }
    IvfFrame frame;
    for (;;) {
        std::string error;
        const IvfRead read = reader_.ReadFrame(&frame, &error);
        if (read == IvfRead::kEnd) break;
        if (read == IvfRead::kError) {
            std::fflush(stdout);
            ReportError(error);
            if (!json_) PrintSummary();
            return kExitFailure;
        }
        const FrameInfo info = Inspect(reader_.framesRead() - 1, frame);
        ++frames_;
        bytes_ += info.bytes;
        if (info.error.empty()) {
            ++summary_.byType[info.header.pictureType & 3];
        } else {
            ++summary_.errors;
        }
        json_ ? PrintJson(info) : PrintRow(info);
    }
    if (!json_) PrintSummary();
    return summary_.errors == 0 ? kExitOk : kExitFailure;
}

}  // namespace

int RunInfo(int argc, char** argv) {
    CommandLine line({{"mb", 0, false}, {"json", 0, false}});
    std::string error;
    if (!line.Parse(argc, argv, &error)) return UsageError("info", error);
    if (line.helpRequested()) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (line.positional().size() != 1) return UsageError("info", "expected exactly one input file");
    InfoRun run(line.Has("json"), line.Has("mb"));
    return run.Run(line.positional()[0]);
}

}  // namespace veltrane::tools
