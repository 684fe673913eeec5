#include "picture_sink.h"

#include <algorithm>
#include <cctype>

#include "png_writer.h"

namespace veltrane::tools {

namespace {

bool EndsWith(const std::string& text, const std::string& suffix) {
    if (text.size() < suffix.size()) return false;
    return std::equal(suffix.rbegin(), suffix.rend(), text.rbegin(), [](char a, char b) {
        return a == std::tolower(static_cast<unsigned char>(b));
    });
}

class Y4mSink : public PictureSink {
public:
    explicit Y4mSink(const SinkOptions& options) : options_(options) {}

    bool wantsBgra() const override { return false; }

    bool Write(uint32_t, const YuvPicture& yuv, const BgraPicture&, std::string* error) override {
        last_ = yuv;
        return WriteLast(error);
    }

    bool Repeat(uint32_t index, std::string* error) override {
        if (last_.width == 0) {
            const int width = open_ ? header_.width : options_.fallbackWidth;
            const int height = open_ ? header_.height : options_.fallbackHeight;
            if (width <= 0 || height <= 0) {
                *error = options_.output + ": frame " + std::to_string(index) +
                         ": no picture to repeat and no picture size known";
                return false;
            }
            last_.MakeBlack(width, height);
        }
        return WriteLast(error);
    }

    bool Finish(std::string* error) override { return writer_.Close(error); }

private:
    bool WriteLast(std::string* error) {
        if (!open_) {
            header_.width = last_.width;
            header_.height = last_.height;
            header_.rateNumerator = options_.rateNumerator;
            header_.rateDenominator = options_.rateDenominator;
            header_.chroma = "420jpeg";
            if (!writer_.Open(options_.output, header_, error)) return false;
            open_ = true;
        }
        return writer_.WritePicture(last_, error);
    }

    SinkOptions options_;
    Y4mWriter writer_;
    Y4mHeader header_;
    bool open_ = false;
    YuvPicture last_;
};

class PngSequenceSink : public PictureSink {
public:
    PngSequenceSink(const SinkOptions& options, FramePattern pattern)
        : options_(options), pattern_(std::move(pattern)) {}

    bool wantsBgra() const override { return true; }

    bool Write(uint32_t index, const YuvPicture&, const BgraPicture& bgra,
               std::string* error) override {
        last_ = bgra;
        return WritePng(pattern_.Format(index), last_, options_.withAlpha, error);
    }

    bool Repeat(uint32_t index, std::string* error) override {
        if (last_.width == 0) {
            if (options_.fallbackWidth <= 0 || options_.fallbackHeight <= 0) {
                *error = pattern_.Format(index) + ": no picture to repeat and no size known";
                return false;
            }
            last_.Resize(options_.fallbackWidth, options_.fallbackHeight);
        }
        return WritePng(pattern_.Format(index), last_, options_.withAlpha, error);
    }

    bool Finish(std::string*) override { return true; }

private:
    SinkOptions options_;
    FramePattern pattern_;
    BgraPicture last_;
};

}  // namespace

std::unique_ptr<PictureSink> CreatePictureSink(const SinkOptions& options, std::string* error) {
    if (EndsWith(options.output, ".y4m")) {
        if (options.withAlpha) {
            *error = options.output + ": Y4M output cannot carry alpha; write PNG files instead";
            return nullptr;
        }
        return std::make_unique<Y4mSink>(options);
    }
    if (!EndsWith(options.output, ".png")) {
        *error = options.output +
                 ": output must end in .y4m or be a PNG pattern such as "
                 "frame%04d.png";
        return nullptr;
    }
    FramePattern pattern;
    if (!pattern.Parse(options.output, error)) {
        return nullptr;
    }
    return std::make_unique<PngSequenceSink>(options, std::move(pattern));
}

}  // namespace veltrane::tools
