// veltrane decode: every picture of an IVF file into a Y4M file or PNG files.
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

#include "command_line.h"
#include "commands.h"
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
    "\n"
    "Decodes every frame of IN.ivf. OUT ending in .y4m gives one YUV4MPEG2 file\n"
    "(4:2:0, C420jpeg); a pattern such as frame%04d.png gives one PNG per frame.\n"
    "A frame that fails to decode is reported and its picture is the last good one\n"
    "again, as a player would show it; the rest of the file still decodes.\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT    output file or PNG pattern (required)\n"
    "  --frames N          decode at most the first N frames\n"
    "  --alpha ALPHA.ivf   alpha stream decoded in lockstep; its luma becomes the\n"
    "                      alpha channel of PNG output\n"
    "  --strict            stop at the first error with exit status 1\n"
    "  -h, --help          show this help\n"
    "\n"
    "Exit status: 0 when every frame was read (failed frames are reported and\n"
    "repeated), 1 for a damaged or unreadable file, a write error or any error with\n"
    "--strict, 2 for a usage error.\n";

struct DecodeOptions {
    std::string input;
    std::string output;
    std::string alpha;
    int64_t maxFrames = -1;
    bool strict = false;
};

class DecodeRun {
public:
    explicit DecodeRun(const DecodeOptions& options)
        : options_(options), colour_(&allocator_), alpha_(&allocator_) {}

    int Run();

private:
    bool OpenInputs();
    // Decodes one frame pair; false when the run must stop.
    bool DecodeFrame(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame);
    // Decodes the frame into the picture for the sink; false with `error` set when
    // the frame cannot be shown.
    bool DecodePicture(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame,
                       std::string* error);
    bool ReadAlphaFrame(uint32_t index, IvfFrame* alphaFrame);
    void Report(const std::string& message);
    int Finish(bool failed);

    const DecodeOptions& options_;
    HostAllocator allocator_;
    IvfReader reader_;
    IvfReader alphaReader_;
    FrameDecoder colour_;
    FrameDecoder alpha_;
    std::unique_ptr<PictureSink> sink_;
    std::optional<ProgressBar> progress_;
    YuvPicture yuv_;
    BgraPicture bgra_;
    RunSummary summary_;
};

void DecodeRun::Report(const std::string& message) {
    if (progress_) progress_->Clear();
    ReportError(message);
}

bool DecodeRun::OpenInputs() {
    std::string error;
    if (!reader_.Open(options_.input, &error)) {
        Report(error);
        return false;
    }
    const IvfFileHeader& header = reader_.header();
    if (!options_.alpha.empty() && !alphaReader_.Open(options_.alpha, &error)) {
        Report(error);
        return false;
    }
    SinkOptions sinkOptions;
    sinkOptions.output = options_.output;
    sinkOptions.withAlpha = !options_.alpha.empty();
    sinkOptions.rateNumerator = header.rate;
    sinkOptions.rateDenominator = header.scale;
    sinkOptions.fallbackWidth = header.width;
    sinkOptions.fallbackHeight = header.height;
    sink_ = CreatePictureSink(sinkOptions, &error);
    if (sink_ == nullptr) {
        Report(error);
        return false;
    }
    if (!colour_.Open(header.width, header.height) ||
        (!options_.alpha.empty() &&
         !alpha_.Open(alphaReader_.header().width, alphaReader_.header().height))) {
        Report(options_.input + ": cannot open a decoder session (out of memory)");
        return false;
    }
    return true;
}

bool DecodeRun::ReadAlphaFrame(uint32_t index, IvfFrame* alphaFrame) {
    std::string error;
    switch (alphaReader_.ReadFrame(alphaFrame, &error)) {
        case IvfRead::kFrame:
            return true;
        case IvfRead::kEnd:
            Report(options_.alpha + ": frame " + std::to_string(index) +
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
    const bool wantsBgra = sink_->wantsBgra();
    // Without alpha the picture is converted by the decode call itself.
    BgraPicture* image = wantsBgra && alphaFrame == nullptr ? &bgra_ : nullptr;
    const int32_t status =
        colour_.Decode(frame.data.data(), static_cast<uint32_t>(frame.data.size()), image);
    std::string colourError;
    if (status != 0) {
        colourError = options_.input + where + DescribeStatus(status);
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
        if (status == 0 && alphaStatus != 0) {
            *error = options_.alpha + where + DescribeStatus(alphaStatus);
            return false;
        }
        if (status == 0 &&
            (alpha_.width() != colour_.width() || alpha_.height() != colour_.height())) {
            *error = options_.alpha + where + "alpha picture " + std::to_string(alpha_.width()) +
                     "x" + std::to_string(alpha_.height()) + " does not match the colour picture " +
                     std::to_string(colour_.width()) + "x" + std::to_string(colour_.height());
            return false;
        }
    }
    if (status != 0) {
        *error = colourError;
        return false;
    }
    if (alphaFrame != nullptr) {
        colour_.Convert(&bgra_);
    } else if (!wantsBgra) {
        colour_.CopyPicture(&yuv_);
    }
    summary_.CountPicture(colour_.pictureType(), colour_.width(), colour_.height());
    return true;
}

bool DecodeRun::DecodeFrame(uint32_t index, const IvfFrame& frame, const IvfFrame* alphaFrame) {
    std::string decodeError;
    std::string writeError;
    bool written;
    const bool decoded = DecodePicture(index, frame, alphaFrame, &decodeError);
    if (decoded) {
        written = sink_->Write(index, yuv_, bgra_, &writeError);
    } else {
        Report(decodeError);
        ++summary_.errors;
        if (options_.strict) return false;
        ++summary_.repeated;
        written = sink_->Repeat(index, &writeError);
    }
    if (!written) {
        Report(writeError);
        ++summary_.errors;
        return false;
    }
    ++summary_.pictures;
    return true;
}

int DecodeRun::Finish(bool failed) {
    std::string error;
    if (sink_ != nullptr && !sink_->Finish(&error)) {
        Report(error);
        ++summary_.errors;
        failed = true;
    }
    if (progress_) progress_->Clear();
    std::fprintf(stderr, "%s: %s\n", options_.input.c_str(), FormatSummary(summary_).c_str());
    return failed ? kExitFailure : kExitOk;
}

int DecodeRun::Run() {
    const auto start = std::chrono::steady_clock::now();
    if (!OpenInputs()) return kExitFailure;
    uint32_t total = reader_.header().frameCount;
    if (options_.maxFrames >= 0 && (total == 0 || options_.maxFrames < total)) {
        total = static_cast<uint32_t>(options_.maxFrames);
    }
    progress_.emplace("decoding", total);
    bool failed = false;
    IvfFrame frame;
    IvfFrame alphaFrame;
    for (uint32_t index = 0; options_.maxFrames < 0 || index < options_.maxFrames; ++index) {
        std::string error;
        const IvfRead read = reader_.ReadFrame(&frame, &error);
        if (read == IvfRead::kEnd) break;
        if (read == IvfRead::kError) {
            Report(error);
            ++summary_.errors;
            failed = true;
            break;
        }
        const bool withAlpha = !options_.alpha.empty();
        if (withAlpha && !ReadAlphaFrame(index, &alphaFrame)) {
            ++summary_.errors;
            failed = true;
            break;
        }
        if (!DecodeFrame(index, frame, withAlpha ? &alphaFrame : nullptr)) {
            failed = true;
            break;
        }
        progress_->Update(index + 1);
    }
    summary_.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return Finish(failed);
}

}  // namespace

int RunDecode(int argc, char** argv) {
    CommandLine line(
        {{"output", 'o', true}, {"frames", 0, true}, {"alpha", 0, true}, {"strict", 0, false}});
    std::string error;
    if (!line.Parse(argc, argv, &error)) return UsageError("decode", error);
    if (line.helpRequested()) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    DecodeOptions options;
    if (line.positional().size() != 1) {
        return UsageError("decode", "expected exactly one input file");
    }
    options.input = line.positional()[0];
    options.output = line.Get("output");
    if (options.output.empty()) return UsageError("decode", "missing -o OUT");
    options.alpha = line.Get("alpha");
    options.strict = line.Has("strict");
    if (!line.GetInt("frames", 0, UINT32_MAX, &options.maxFrames, &error)) {
        return UsageError("decode", error);
    }
    DecodeRun run(options);
    return run.Run();
}

}  // namespace veltrane::tools
