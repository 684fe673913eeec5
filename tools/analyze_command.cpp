// veltrane analyze: overlay pictures of what the decoder found in each
// macroblock, and an HTML report of the whole stream.
#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include <cstdio>
#include <optional>

#include "command_line.h"
#include "commands.h"
#include "frame_pattern.h"
#include "html_report.h"
#include "overlay_painter.h"
#include "progress_bar.h"
#include "stream_analysis.h"

namespace veltrane::tools {

namespace {

constexpr char kUsage[] =
    "Usage: veltrane analyze IN.ivf -o PATTERN.png [options]\n"
    "       veltrane analyze IN.ivf --report REPORT.html [options]\n"
    "\n"
    "Shows what the decoder found in each picture. -o draws every picture, dimmed,\n"
    "with overlays and a legend (PNG, or SVG for a pattern ending in .svg; picture N\n"
    "is named as in decode's PNG patterns). --report writes one self-contained HTML\n"
    "file: a chart of bits per picture stacked by macroblock type, with picture\n"
    "types, quantisers and PSNR; clicking a picture shows its overlay and header\n"
    "fields. Both may be given at once. A frame that fails is reported; its overlay\n"
    "shows what the decoder reached.\n"
    "\n"
    "Options:\n"
    "  -o, --output PATTERN   overlay pictures, e.g. mb%04d.png or mb%04d.svg\n"
    "  --report FILE.html     the HTML stream report\n"
    "  --overlays LIST        what -o draws, comma-separated from type, vectors,\n"
    "                         quant, bits, grid, or none (default type,vectors,grid);\n"
    "                         the report has a switch for each\n"
    "  --scale N              output pixels per picture pixel, 1 to 4 (default 2)\n"
    "  --source IN.y4m        the pictures the stream was made from: PSNR per picture\n"
    "  --frames N             analyse at most the first N frames\n"
    "  -h, --help             show this help\n"
    "\n"
    "Macroblocks: intra red, intra+q orange, inter blue, inter+q cyan, inter with\n"
    "four vectors green, skipped grey; damaged (decoded after a read error) magenta,\n"
    "not reached black. Arrows run from a block to where its prediction comes from\n"
    "in the reference picture. The heat map (bits) scales to the picture's most\n"
    "expensive macroblock; with it, types become outlines.\n"
    "\n"
    "Exit status: 0 when every frame decoded and everything was written, 1 when a\n"
    "frame failed (everything is still written), a file is damaged, unreadable or\n"
    "does not match, or a write failed, 2 for a usage error.\n";

struct AnalyzeOptions {
    std::string input;
    std::string output;  // overlay pattern, or empty
    FramePattern pattern;
    std::string report;  // HTML file, or empty
    std::string source;
    OverlayOptions overlays;
    int64_t maxFrames = -1;
};

// An overlay pattern names PNG or SVG files, one per picture.
bool ParseOutputPattern(const std::string& output, FramePattern* pattern, std::string* error) {
    const std::string suffix = output.size() >= 4 ? output.substr(output.size() - 4) : "";
    if (suffix != ".png" && suffix != ".svg") {
        *error = output + ": the overlay pattern must end in .png or .svg, such as mb%04d.png";
        return false;
    }
    return pattern->Parse(output, error);
}

// "frame 5: invalid data: ... (status 12), from macroblock 33 of 99 on"
std::string DescribeFailure(const FrameAnalysis& frame) {
    std::string text = "frame " + std::to_string(frame.index) + ": " + frame.error;
    const MacroblockCapture& mbs = frame.macroblocks;
    const size_t grid = static_cast<size_t>(mbs.columns) * static_cast<size_t>(mbs.rows);
    const size_t first = mbs.FirstDamaged();
    if (first < mbs.records.size()) {
        text +=
            ", from macroblock " + std::to_string(first) + " of " + std::to_string(grid) + " on";
    } else if (!mbs.records.empty() && mbs.records.size() < grid) {
        text +=
            ", in macroblock " + std::to_string(mbs.records.size()) + " of " + std::to_string(grid);
    }
    return text;
}

class AnalyzeRun {
public:
    explicit AnalyzeRun(const AnalyzeOptions& options) : options_(options) {}
    int Run();

private:
    void Report(const std::string& message) {
        if (progress_) progress_->Clear();
        ReportError(message);
    }
    bool Handle(const FrameAnalysis& frame);

    const AnalyzeOptions& options_;
    StreamAnalyser analyser_;
    std::optional<HtmlReport> report_;
    std::optional<ProgressBar> progress_;
    uint32_t frames_ = 0;
    uint32_t failed_ = 0;
    uint32_t written_ = 0;
};

bool AnalyzeRun::Handle(const FrameAnalysis& frame) {
    ++frames_;
    if (!frame.error.empty()) {
        ++failed_;
        Report(options_.input + ": " + DescribeFailure(frame));
    }
    if (report_) report_->Add(frame);
    if (options_.output.empty()) return true;
    std::string error;
    if (!WriteOverlayPicture(options_.pattern.Format(frame.index), frame, options_.overlays,
                             &error)) {
        Report(error);
        return false;
    }
    ++written_;
    return true;
}

int AnalyzeRun::Run() {
    std::string error;
    if (!analyser_.Open(options_.input, options_.source, &error)) {
        ReportError(error);
        return kExitFailure;
    }
    if (!options_.report.empty()) {
        report_.emplace(options_.input, analyser_.header(), !options_.source.empty());
    }
    uint32_t total = analyser_.header().frameCount;
    if (options_.maxFrames >= 0 && (total == 0 || options_.maxFrames < total)) {
        total = static_cast<uint32_t>(options_.maxFrames);
    }
    progress_.emplace("analysing", total);
    bool failed = false;
    bool sourceReported = false;
    FrameAnalysis frame;
    while (options_.maxFrames < 0 || frames_ < options_.maxFrames) {
        const IvfRead read = analyser_.Next(&frame, &error);
        if (read == IvfRead::kEnd) break;
        if (read == IvfRead::kError) {
            Report(error);
            failed = true;
            break;
        }
        if (!analyser_.sourceProblem().empty() && !sourceReported) {
            Report(analyser_.sourceProblem());
            sourceReported = failed = true;
        }
        if (!Handle(frame)) {
            failed = true;
            break;
        }
        progress_->Update(frames_);
    }
    if (report_ && !report_->Write(options_.report, &error)) {
        Report(error);
        failed = true;
    }
    if (progress_) progress_->Clear();
    std::string summary = options_.input + ": " + std::to_string(frames_) + " frames analysed, " +
                          std::to_string(failed_) + " failed";
    if (!options_.output.empty()) summary += ", " + std::to_string(written_) + " overlay pictures";
    if (report_) summary += ", report " + options_.report;
    std::fprintf(stderr, "%s\n", summary.c_str());
    return failed || failed_ != 0 ? kExitFailure : kExitOk;
}

}  // namespace

int RunAnalyze(int argc, char** argv) {
    CommandLine line({{"output", 'o', true},
                      {"report", 0, true},
                      {"overlays", 0, true},
                      {"scale", 0, true},
                      {"source", 0, true},
                      {"frames", 0, true}});
    std::string error;
    if (!line.Parse(argc, argv, &error)) return UsageError("analyze", error);
    if (line.helpRequested()) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (line.positional().size() != 1) {
        return UsageError("analyze", "expected exactly one input file");
    }
    AnalyzeOptions options;
    options.input = line.positional()[0];
    options.output = line.Get("output");
    options.report = line.Get("report");
    options.source = line.Get("source");
    if (options.output.empty() && options.report.empty()) {
        return UsageError("analyze", "missing -o PATTERN or --report FILE.html");
    }
    if (!options.output.empty() && !ParseOutputPattern(options.output, &options.pattern, &error)) {
        return UsageError("analyze", error);
    }
    if (line.Has("overlays") &&
        !ParseOverlayList(line.Get("overlays"), &options.overlays, &error)) {
        return UsageError("analyze", error);
    }
    int64_t scale = options.overlays.scale;
    if (!line.GetInt("scale", 1, 4, &scale, &error) ||
        !line.GetInt("frames", 0, UINT32_MAX, &options.maxFrames, &error)) {
        return UsageError("analyze", error);
    }
    options.overlays.scale = static_cast<int>(scale);
    AnalyzeRun run(options);
    const int status = run.Run();
    // cairo and fontconfig keep fonts and their configuration for the life of
    // the process; handing them back keeps leak checkers quiet.
    cairo_debug_reset_static_data();
    FcFini();
    return status;
}

}  // namespace veltrane::tools
