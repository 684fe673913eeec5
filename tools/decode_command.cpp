// veltrane decode: every picture of an IVF file into a Y4M or raw I420 file (or
// stdout), PNG files, or an MD5 of the pictures.
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "file_streams.h"
#include "frame_decoder.h"
#include "host_allocator.h"
#include "ivf.h"
#include "picture_sink.h"
#include "progress_bar.h"
#include "run_summary.h"

namespace veltrane::tools {

namespace {

constexpr char kUsage[] =
    "Usage: veltrane decode IN.ivf -o OUT [options]\n"
    "       veltrane decode IN.ivf --md5 [options]\n"
    "\n"
    "Decodes every frame of IN.ivf (- reads stdin). OUT ending in .y4m gives one\n"
    "YUV4MPEG2 file (4:2:0, C420jpeg), .yuv raw planar I420, a pattern such as\n"
    "frame%04d.png one PNG per frame (named by the frame's index in IN), and -\n"
    "writes Y4M (or I420 with --i420) to stdout.\n"
    "A frame that fails to decode is reported and its picture is the last good one\n"
    "again, as a player would show it; the rest of the file still decodes.\n"
    "Messages, the progress bar and the summary line go to stderr.\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT    output file, PNG pattern or - for stdout\n"
    "  --i420              raw I420 instead of Y4M (for -o - or a name without .yuv)\n"
    "  --md5               print the MD5 of the pictures as raw I420 on stdout\n"
    "                      (\"DIGEST  IN\", as md5sum prints it); -o is then optional\n"
    "  --skip N            decode the first N frames but write no picture for them\n"
    "  --limit N           write at most N pictures, then stop\n"
    "  --frames N          the same as --limit N\n"
    "  --alpha ALPHA.ivf   alpha stream decoded in lockstep; its luma becomes the\n"
    "                      alpha channel of PNG output\n"
    "  --strict            stop at the first frame that fails\n"
    "  -q, --quiet         no progress bar and no summary line\n"
    "  -h, --help          show this help\n"
    "\n"
    "Exit status: 0 when every frame decoded and every picture was written, 1 when\n"
    "any frame failed (all that could be decoded is still written), the file is\n"
    "damaged or unreadable, or a write failed, 2 for a usage error.\n";

struct DecodeOptions {
    std::string input;
    std::string output;  // empty: no pictures, only the MD5
    OutputFormat format = OutputFormat::kY4m;
    std::string alpha;
    int64_t skip = 0;
    int64_t limit = -1;  // -1: no limit
    bool md5 = false;
    bool strict = false;
    bool quiet = false;
};

class DecodeRun {
public:
    explicit DecodeRun(const DecodeOptions& options)
        : options_(options), colour_(&allocator_), alpha_(&allocator_) {}

    int Run();

private:
    bool OpenInputs();
    void CreateSinks();
    // Decodes and writes one frame pair; false when the run must stop.
    bool DecodeFrame(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame);
    // Decodes the frame into the last good picture; false with `error` set when
    // the frame cannot be shown.
    bool DecodePicture(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame,
                       std::string* error);
    // A black picture of the IVF header's size for failed frames before the
    // first good picture; false when that size is no picture size.
    bool MakeFallbackPicture();
    bool WritePicture(uint32_t index);
    bool ReadAlphaFrame(uint32_t index, IvfFrame* alphaFrame);
    void Report(const std::string& message);
    int Finish(bool stopped);

    const DecodeOptions& options_;
    HostAllocator allocator_;
    IvfReader reader_;
    IvfReader alphaReader_;
    FrameDecoder colour_;
    FrameDecoder alpha_;
    std::vector<std::unique_ptr<PictureSink>> sinks_;
    bool needBgra_ = false;
    bool needYuv_ = false;
    std::optional<ProgressBar> progress_;
    // The last good picture, in the forms the sinks want.
    bool havePicture_ = false;
    YuvPicture yuv_;
    BgraPicture bgra_;
    BgraPicture scratch_;  // decoding target, so a failed frame leaves bgra_ alone
    RunSummary summary_;
};

void DecodeRun::Report(const std::string& message) {
    if (progress_) progress_->Clear();
    ReportError(message);
}

bool DecodeRun::OpenInputs() {
    std::string error;
    if (!reader_.Open(options_.input, &error) ||
        (!options_.alpha.empty() && !alphaReader_.Open(options_.alpha, &error))) {
        Report(error);
        return false;
    }
    // Sessions start at the header's size when it is one; FrameDecoder falls
    // back to a small session for anything else and resizes on the first frame.
    const IvfFileHeader& header = reader_.header();
    if (!colour_.Open(header.width, header.height) ||
        (!options_.alpha.empty() &&
         !alpha_.Open(alphaReader_.header().width, alphaReader_.header().height))) {
        Report(reader_.name() + ": cannot open a decoder session (out of memory)");
        return false;
    }
    return true;
}

void DecodeRun::CreateSinks() {
    if (!options_.output.empty()) {
        SinkOptions sinkOptions;
        sinkOptions.output = options_.output;
        sinkOptions.format = options_.format;
        sinkOptions.withAlpha = !options_.alpha.empty();
        sinkOptions.rateNumerator = reader_.header().rate;
        sinkOptions.rateDenominator = reader_.header().scale;
        sinks_.push_back(CreatePictureSink(sinkOptions));
    }
    if (options_.md5) sinks_.push_back(CreateMd5Sink(reader_.name()));
    for (const auto& sink : sinks_) {
        (sink->wantsBgra() ? needBgra_ : needYuv_) = true;
    }
}

bool DecodeRun::ReadAlphaFrame(uint32_t index, IvfFrame* alphaFrame) {
    std::string error;
    switch (alphaReader_.ReadFrame(alphaFrame, &error)) {
        case IvfRead::kFrame:
            return true;
        case IvfRead::kEnd:
            Report(alphaReader_.name() + ": frame " + std::to_string(index) +
                   ": alpha stream ends before the colour stream");
            return false;
        case IvfRead::kError:
            Report(error);
            return false;
    }
    return false;
}

bool DecodeRun::DecodePicture(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame,
                              std::string* error) {
    const std::string where = ": frame " + std::to_string(index) + ": ";
    // Without alpha the picture is converted by the decode call itself.
    BgraPicture* image = needBgra_ && alphaFrame == nullptr ? &scratch_ : nullptr;
    const int32_t status =
        colour_.Decode(frame.data.data(), static_cast<uint32_t>(frame.data.size()), image);
    std::string colourError;
    if (status != kStatusOk) {
        colourError = reader_.name() + where + DescribeStatus(status);
        if (!colour_.refusedSize().empty() &&
            (status == kStatusCannotOpen || status == kStatusEmptyPicture)) {
            colourError += " (" + colour_.refusedSize() + ")";
        }
    }
    if (alphaFrame != nullptr) {
        const int32_t alphaStatus = alpha_.Decode(
            alphaFrame->data.data(), static_cast<uint32_t>(alphaFrame->data.size()), nullptr);
        // Always refresh the alpha plane: a reopened alpha session frees the old one.
        colour_.UseAlphaFrom(alpha_);
        if (status == kStatusOk && alphaStatus != kStatusOk) {
            *error = alphaReader_.name() + where + DescribeStatus(alphaStatus);
            return false;
        }
        if (status == kStatusOk &&
            (alpha_.width() != colour_.width() || alpha_.height() != colour_.height())) {
            *error = alphaReader_.name() + where + "alpha picture " +
                     std::to_string(alpha_.width()) + "x" + std::to_string(alpha_.height()) +
                     " does not match the colour picture " + std::to_string(colour_.width()) + "x" +
                     std::to_string(colour_.height());
            return false;
        }
    }
    if (status != kStatusOk) {
        *error = colourError;
        return false;
    }
    if (alphaFrame != nullptr) {
        colour_.Convert(&bgra_);
    } else if (needBgra_) {
        std::swap(bgra_, scratch_);
    }
    if (needYuv_) colour_.CopyPicture(&yuv_);
    havePicture_ = true;
    return true;
}

bool DecodeRun::MakeFallbackPicture() {
    const IvfFileHeader& header = reader_.header();
    // The header's size is only a claim: anything a session could not hold would
    // make one damaged frame cost gigabytes of black.
    if (!IsDecodableSize(header.width, header.height)) return false;
    if (needYuv_) yuv_.MakeBlack(header.width, header.height);
    if (needBgra_) bgra_.Resize(header.width, header.height);
    havePicture_ = true;
    return true;
}

bool DecodeRun::WritePicture(uint32_t index) {
    for (const auto& sink : sinks_) {
        std::string error;
        if (!sink->Write(index, yuv_, bgra_, &error)) {
            Report(error);
            ++summary_.errors;
            return false;
        }
    }
    ++summary_.pictures;
    return true;
}

bool DecodeRun::DecodeFrame(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame) {
    std::string error;
    const bool decoded = DecodePicture(index, frame, alphaFrame, &error);
    if (!decoded) {
        ++summary_.errors;
        if (!havePicture_ && !MakeFallbackPicture()) {
            const IvfFileHeader& header = reader_.header();
            error += "; no picture written for it (none decoded yet, and the file header's " +
                     std::to_string(header.width) + "x" + std::to_string(header.height) +
                     " is no picture size)";
        }
        Report(error);
        if (options_.strict) return false;
    }
    if (index < options_.skip || !havePicture_) return true;
    if (decoded) {
        summary_.CountPicture(colour_.pictureType(), colour_.width(), colour_.height());
    } else {
        ++summary_.repeated;
    }
    return WritePicture(index);
}

int DecodeRun::Finish(bool stopped) {
    for (const auto& sink : sinks_) {
        std::string error;
        if (!sink->Finish(&error)) {
            Report(error);
            ++summary_.errors;
        }
    }
    if (progress_) progress_->Clear();
    if (!options_.quiet) {
        std::fprintf(stderr, "%s: %s\n", reader_.name().c_str(), FormatSummary(summary_).c_str());
    }
    return stopped || summary_.errors != 0 ? kExitFailure : kExitOk;
}

int DecodeRun::Run() {
    const auto start = std::chrono::steady_clock::now();
    if (!OpenInputs()) return kExitFailure;
    CreateSinks();
    const int64_t end = options_.limit < 0 ? -1 : options_.skip + options_.limit;
    uint32_t total = reader_.header().frameCount;
    if (end >= 0 && (total == 0 || end < total)) total = static_cast<uint32_t>(end);
    if (!options_.quiet) progress_.emplace("decoding", total);
    bool stopped = false;
    IvfFrame frame;
    IvfFrame alphaFrame;
    const bool withAlpha = !options_.alpha.empty();
    for (uint32_t index = 0; end < 0 || index < end; ++index) {
        std::string error;
        const IvfRead read = reader_.ReadFrame(&frame, &error);
        if (read == IvfRead::kEnd) break;
        if (read == IvfRead::kError) {
            Report(error);
            ++summary_.errors;
            stopped = true;
            break;
        }
        if (withAlpha && !ReadAlphaFrame(index, &alphaFrame)) {
            ++summary_.errors;
            stopped = true;
            break;
        }
        if (!DecodeFrame(index, frame, withAlpha ? &alphaFrame : nullptr)) {
            stopped = true;
            break;
        }
        if (progress_) progress_->Update(index + 1);
    }
    summary_.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return Finish(stopped);
}

// Checks the options and their combinations; every refusal is a usage error.
bool ReadDecodeOptions(const CommandLine& line, DecodeOptions* options, std::string* error) {
    if (line.positional().size() != 1) {
        *error = "expected exactly one input file (- for stdin)";
        return false;
    }
    options->input = line.positional()[0];
    options->output = line.Get("output");
    options->alpha = line.Get("alpha");
    options->md5 = line.Has("md5");
    options->strict = line.Has("strict");
    options->quiet = line.Has("quiet");
    if (line.Has("frames") && line.Has("limit")) {
        *error = "--frames and --limit are the same option; give one";
        return false;
    }
    if (!line.GetInt("skip", 0, UINT32_MAX, &options->skip, error) ||
        !line.GetInt("limit", 0, UINT32_MAX, &options->limit, error) ||
        !line.GetInt("frames", 0, UINT32_MAX, &options->limit, error)) {
        return false;
    }
    if (options->output.empty()) {
        if (!options->md5) {
            *error = "missing -o OUT (or --md5)";
            return false;
        }
        if (line.Has("i420") || !options->alpha.empty()) {
            *error = std::string(line.Has("i420") ? "--i420" : "--alpha") + " needs -o OUT";
            return false;
        }
    } else if (!ParseOutputFormat(options->output, line.Has("i420"), !options->alpha.empty(),
                                  &options->format, error)) {
        return false;
    }
    if (options->md5 && IsStdStream(options->output)) {
        *error = "--md5 prints on stdout, where -o - already writes the pictures";
        return false;
    }
    if (IsStdStream(options->input) && IsStdStream(options->alpha)) {
        *error = "stdin can feed IN or --alpha, not both";
        return false;
    }
    return true;
}

}  // namespace

int RunDecode(int argc, char** argv) {
    CommandLine line({{"output", 'o', true},
                      {"i420", 0, false},
                      {"md5", 0, false},
                      {"skip", 0, true},
                      {"limit", 0, true},
                      {"frames", 0, true},
                      {"alpha", 0, true},
                      {"strict", 0, false},
                      {"quiet", 'q', false}});
    std::string error;
    if (!line.Parse(argc, argv, &error)) return UsageError("decode", error);
    if (line.helpRequested()) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    DecodeOptions options;
    if (!ReadDecodeOptions(line, &options, &error)) return UsageError("decode", error);
    DecodeRun run(options);
    return run.Run();
}

}  // namespace veltrane::tools
