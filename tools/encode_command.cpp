// veltrane encode: a Y4M file or the built-in test pattern into an IVF file,
// through the reference encoder.
#include <cmath>
#include <cstdio>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "file_streams.h"
#include "ivf.h"
#include "json_line.h"
#include "run_summary.h"
#include "test_pattern.h"
#include "veltrane_encoder/encoder.h"
#include "y4m.h"

namespace veltrane::tools {

namespace {

constexpr char kUsage[] =
    "Usage: veltrane encode IN.y4m -o OUT.ivf [options]\n"
    "       veltrane encode --testsrc WxH:FRAMES -o OUT.ivf [options]\n"
    "\n"
    "Encodes 4:2:0 pictures with the reference encoder and writes an IVF file.\n"
    "IN.y4m may be - (stdin) and OUT.ivf - (stdout; the frame count in the IVF\n"
    "header is then 0, as in any IVF written as a stream).\n"
    "--testsrc encodes a built-in moving test pattern (drifting gradients, a moving\n"
    "textured box and a noise patch) at 25 pictures per second instead of a file.\n"
    "Per-picture lines and the summary line go to stderr.\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT.ivf   output file, or - for stdout (required)\n"
    "  --q N                  fixed quantiser 1..31 (default 10)\n"
    "  --bitrate BPS          target bit rate in bits per second instead of --q\n"
    "  --gop N                an intra picture every N pictures (default 12; 1 = all intra)\n"
    "  --disposable           make every other inter picture disposable\n"
    "  --version 0|1          format version: coefficient escape layout (default 0)\n"
    "  --frames N             encode at most N pictures\n"
    "  --no-4mv               no four-vector macroblocks\n"
    "  -v, --verbose          one line per picture: type, quantiser, bits, PSNR\n"
    "  -q, --quiet            no summary line\n"
    "  -h, --help             show this help\n"
    "\n"
    "Exit status: 0 when every picture was encoded and written, 1 for an unreadable\n"
    "or damaged input or a write error, 2 for a usage error.\n";

struct EncodeOptions {
    std::string input;
    std::string output;
    bool testPattern = false;
    int patternWidth = 0;
    int patternHeight = 0;
    int64_t patternFrames = 0;
    int64_t maxFrames = -1;
    bool verbose = false;
    bool quiet = false;
    enc::EncoderConfig config;
};

// Pictures from a Y4M file or from the test pattern.
class PictureSource {
public:
    bool Open(const EncodeOptions& options, std::string* error) {
        options_ = &options;
        if (options.testPattern) {
            width_ = options.patternWidth;
            height_ = options.patternHeight;
            return true;
        }
        if (!y4m_.Open(options.input, error)) return false;
        width_ = y4m_.header().width;
        height_ = y4m_.header().height;
        rate_ = y4m_.header().rateNumerator;
        scale_ = y4m_.header().rateDenominator;
        return true;
    }
    // False at the end; `error` is set when the end is an error.
    bool Next(YuvPicture* picture, std::string* error) {
        if (options_->testPattern) {
            if (index_ >= options_->patternFrames) return false;
            DrawTestPattern(width_, height_, static_cast<uint32_t>(index_++), picture);
            return true;
        }
        return y4m_.ReadPicture(picture, error) == Y4mRead::kPicture;
    }
    int width() const { return width_; }
    int height() const { return height_; }
    uint32_t rate() const { return rate_; }
    uint32_t scale() const { return scale_; }

private:
    const EncodeOptions* options_ = nullptr;
    Y4mReader y4m_;
    int64_t index_ = 0;
    int width_ = 0, height_ = 0;
    uint32_t rate_ = 25, scale_ = 1;
};

struct EncodeTotals {
    uint32_t frames = 0;
    uint32_t byType[3] = {};
    uint64_t bytes = 0;
    double psnrSum[3] = {};
};

std::string FormatPsnr(double value) {
    if (!std::isfinite(value)) return "inf";
    char text[16];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

void PrintFrameLine(uint32_t index, const enc::EncodedFrame& frame) {
    std::fprintf(stderr, "frame %5u  %s  q%-2d %8zu bits  PSNR Y %s U %s V %s dB\n", index,
                 PictureTypeLetter(frame.pictureType), frame.quantiser, frame.data.size() * 8,
                 FormatPsnr(frame.psnrY).c_str(), FormatPsnr(frame.psnrU).c_str(),
                 FormatPsnr(frame.psnrV).c_str());
}

void PrintSummary(const EncodeOptions& options, const PictureSource& source,
                  const EncodeTotals& t) {
    const double fps = static_cast<double>(source.rate()) / source.scale();
    const double seconds = t.frames / fps;
    const double n = t.frames == 0 ? 1 : t.frames;
    std::fprintf(stderr,
                 "%s: %s (I %u, P %u, D %u) %dx%d, %llu bytes, %.1f kbit/s at %.3g fps, "
                 "mean PSNR Y %s U %s V %s dB\n",
                 OutputName(options.output).c_str(), CountOf(t.frames, "frame", "frames").c_str(),
                 t.byType[0], t.byType[1], t.byType[2], source.width(), source.height(),
                 static_cast<unsigned long long>(t.bytes),
                 seconds > 0 ? static_cast<double>(t.bytes) * 8 / seconds / 1000 : 0.0, fps,
                 FormatPsnr(t.psnrSum[0] / n).c_str(), FormatPsnr(t.psnrSum[1] / n).c_str(),
                 FormatPsnr(t.psnrSum[2] / n).c_str());
}

int Encode(EncodeOptions& options) {
    PictureSource source;
    std::string error;
    if (!source.Open(options, &error)) {
        ReportError(error);
        return kExitFailure;
    }
    if (source.width() > 65535 || source.height() > 65535) {
        ReportError(InputName(options.input) + ": picture too large for an IVF file");
        return kExitFailure;
    }
    options.config.width = source.width();
    options.config.height = source.height();
    options.config.frameRate = static_cast<double>(source.rate()) / source.scale();
    enc::Encoder encoder(options.config);
    if (!encoder.ok()) {
        ReportError("the encoder refuses this configuration (" + std::to_string(source.width()) +
                    "x" + std::to_string(source.height()) + ", version " +
                    std::to_string(options.config.version) + ", quantiser " +
                    std::to_string(options.config.quantiser) + ")");
        return kExitFailure;
    }
    IvfFileHeader header;
    header.width = static_cast<uint16_t>(source.width());
    header.height = static_cast<uint16_t>(source.height());
    header.rate = source.rate();
    header.scale = source.scale();
    IvfWriter writer;
    if (!writer.Open(options.output, header, &error)) {
        ReportError(error);
        return kExitFailure;
    }
    EncodeTotals totals;
    YuvPicture picture;
    enc::EncodedFrame frame;
    bool failed = false;
    while (options.maxFrames < 0 || totals.frames < options.maxFrames) {
        if (!source.Next(&picture, &error)) {
            failed = !error.empty();
            break;
        }
        const enc::PlaneView view{picture.y.data(), picture.u.data(), picture.v.data(),
                                  picture.width, picture.chromaWidth()};
        if (!encoder.EncodeFrame(view, &frame)) {
            error = OutputName(options.output) + ": frame " + std::to_string(totals.frames) +
                    ": the encoder failed";
            failed = true;
            break;
        }
        if (!writer.WriteFrame(frame.data.data(), static_cast<uint32_t>(frame.data.size()),
                               totals.frames, &error)) {
            failed = true;
            break;
        }
        if (options.verbose) PrintFrameLine(totals.frames, frame);
        ++totals.byType[frame.pictureType % 3];
        totals.bytes += frame.data.size();
        totals.psnrSum[0] += frame.psnrY;
        totals.psnrSum[1] += frame.psnrU;
        totals.psnrSum[2] += frame.psnrV;
        ++totals.frames;
    }
    std::string closeError;
    if (!writer.Close(&closeError)) {
        if (!failed) error = closeError;
        failed = true;
    }
    if (failed) ReportError(error);
    if (!options.quiet) PrintSummary(options, source, totals);
    return failed ? kExitFailure : kExitOk;
}

// Reads "WxH:FRAMES".
bool ParseTestSource(const std::string& text, EncodeOptions* options) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) return false;
    if (!ParseSize(text.substr(0, colon), &options->patternWidth, &options->patternHeight)) {
        return false;
    }
    const std::string frames = text.substr(colon + 1);
    char* end = nullptr;
    const long long n = std::strtoll(frames.c_str(), &end, 10);
    if (frames.empty() || *end != '\0' || n < 1 || n > 1000000) return false;
    options->patternFrames = n;
    options->testPattern = true;
    return true;
}

}  // namespace

int RunEncode(int argc, char** argv) {
    CommandLine line({{"output", 'o', true},
                      {"q", 0, true},
                      {"bitrate", 0, true},
                      {"gop", 0, true},
                      {"disposable", 0, false},
                      {"version", 0, true},
                      {"frames", 0, true},
                      {"no-4mv", 0, false},
                      {"testsrc", 0, true},
                      {"verbose", 'v', false},
                      {"quiet", 'q', false}});
    std::string error;
    if (!line.Parse(argc, argv, &error)) return UsageError("encode", error);
    if (line.helpRequested()) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    EncodeOptions options;
    if (line.Has("testsrc")) {
        if (!line.positional().empty()) {
            return UsageError("encode", "give either an input file or --testsrc, not both");
        }
        if (!ParseTestSource(line.Get("testsrc"), &options)) {
            return UsageError("encode", "--testsrc: expected WxH:FRAMES, e.g. 176x144:50");
        }
    } else if (line.positional().size() != 1) {
        return UsageError("encode", "expected exactly one input file (or --testsrc)");
    } else {
        options.input = line.positional()[0];
    }
    options.output = line.Get("output");
    if (options.output.empty()) return UsageError("encode", "missing -o OUT.ivf");
    if (line.Has("q") && line.Has("bitrate")) {
        return UsageError("encode",
                          "--q sets a fixed quantiser, --bitrate a target rate; give one");
    }
    int64_t q = options.config.quantiser, bitrate = 0, gop = options.config.gopLength, version = 0;
    if (!line.GetInt("q", 1, 31, &q, &error) ||
        !line.GetInt("bitrate", 1, INT32_MAX, &bitrate, &error) ||
        !line.GetInt("gop", 1, INT32_MAX, &gop, &error) ||
        !line.GetInt("version", 0, 1, &version, &error) ||
        !line.GetInt("frames", 0, UINT32_MAX, &options.maxFrames, &error)) {
        return UsageError("encode", error);
    }
    options.config.quantiser = static_cast<int>(q);
    options.config.targetBitrate = static_cast<int>(bitrate);
    options.config.gopLength = static_cast<int>(gop);
    options.config.version = static_cast<int>(version);
    options.config.disposable = line.Has("disposable");
    options.config.fourVector = !line.Has("no-4mv");
    options.verbose = line.Has("verbose");
    options.quiet = line.Has("quiet");
    return Encode(options);
}

}  // namespace veltrane::tools
