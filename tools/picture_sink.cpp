#include "picture_sink.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "file_streams.h"
#include "frame_pattern.h"
#include "md5.h"
#include "png_writer.h"
#include "y4m.h"

namespace veltrane::tools {

namespace {

bool EndsWith(const std::string& text, const std::string& suffix) {
    if (text.size() < suffix.size()) return false;
    return std::equal(suffix.rbegin(), suffix.rend(), text.rbegin(), [](char a, char b) {
        return a == std::tolower(static_cast<unsigned char>(b));
    });
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

class Y4mSink : public PictureSink {
public:
    explicit Y4mSink(const SinkOptions& options) : options_(options) {}

    bool wantsBgra() const override { return false; }

    bool Write(uint32_t, const YuvPicture& yuv, const BgraPicture&, std::string* error) override {
        if (!open_) {
            Y4mHeader header;
            header.width = yuv.width;
            header.height = yuv.height;
            header.rateNumerator = options_.rateNumerator;
            header.rateDenominator = options_.rateDenominator;
            header.chroma = "420jpeg";
            if (!writer_.Open(options_.output, header, error)) return false;
            open_ = true;
        }
        return writer_.WritePicture(yuv, error);
    }

    bool Finish(std::string* error) override { return writer_.Close(error); }

private:
    SinkOptions options_;
    Y4mWriter writer_;
    bool open_ = false;
};

// Raw I420: the planes of each picture back to back, nothing else. With no
// header to say so, a change of size would go unnoticed by the reader of the
// file, so it is refused as in Y4M.
class I420Sink : public PictureSink {
public:
    explicit I420Sink(const SinkOptions& options)
        : path_(options.output), name_(OutputName(options.output)) {}
    ~I420Sink() override {
        if (file_ != nullptr) CloseStream(file_);
    }

    bool wantsBgra() const override { return false; }

    bool Write(uint32_t index, const YuvPicture& yuv, const BgraPicture&,
               std::string* error) override {
        const std::string where = name_ + ": frame " + std::to_string(index) + ": ";
        if (file_ == nullptr) {
            file_ = OpenOutputStream(path_);
            if (file_ == nullptr) {
                *error = name_ + ": cannot create: " + std::strerror(errno);
                return false;
            }
            width_ = yuv.width;
            height_ = yuv.height;
        }
        if (yuv.width != width_ || yuv.height != height_) {
            *error = where + "picture size changes to " + SizeText(yuv.width, yuv.height) +
                     " (the file is " + SizeText(width_, height_) +
                     "); write PNG files to keep every size";
            return false;
        }
        if (!WriteYuvPlanes(file_, yuv)) {
            *error = where + "write error";
            return false;
        }
        return true;
    }

    bool Finish(std::string* error) override {
        if (file_ == nullptr) return true;
        const bool ok = CloseStream(file_);
        file_ = nullptr;
        if (!ok) *error = name_ + ": write error while finishing the file";
        return ok;
    }

private:
    std::string path_;
    std::string name_;
    std::FILE* file_ = nullptr;
    int width_ = 0;
    int height_ = 0;
};

class PngSequenceSink : public PictureSink {
public:
    PngSequenceSink(const SinkOptions& options, FramePattern pattern)
        : withAlpha_(options.withAlpha), pattern_(std::move(pattern)) {}

    bool wantsBgra() const override { return true; }

    bool Write(uint32_t index, const YuvPicture&, const BgraPicture& bgra,
               std::string* error) override {
        return WritePng(pattern_.Format(index), bgra, withAlpha_, error);
    }

    bool Finish(std::string*) override { return true; }

private:
    bool withAlpha_;
    FramePattern pattern_;
};

class Md5Sink : public PictureSink {
public:
    explicit Md5Sink(std::string name) : name_(std::move(name)) {}

    bool wantsBgra() const override { return false; }

    bool Write(uint32_t, const YuvPicture& yuv, const BgraPicture&, std::string*) override {
        for (const std::vector<uint8_t>* plane : {&yuv.y, &yuv.u, &yuv.v}) {
            md5_.Update(plane->data(), plane->size());
        }
        return true;
    }

    bool Finish(std::string* error) override {
        if (std::printf("%s  %s\n", md5_.HexDigest().c_str(), name_.c_str()) < 0 ||
            std::fflush(stdout) != 0) {
            *error = "stdout: write error";
            return false;
        }
        return true;
    }

private:
    std::string name_;
    Md5 md5_;
};

}  // namespace

bool ParseOutputFormat(const std::string& output, bool i420, bool withAlpha, OutputFormat* format,
                       std::string* error) {
    if (EndsWith(output, ".png")) {
        FramePattern pattern;
        if (!pattern.Parse(output, error)) return false;
        *format = OutputFormat::kPng;
    } else if (EndsWith(output, ".y4m") || (IsStdStream(output) && !i420)) {
        *format = OutputFormat::kY4m;
    } else if (EndsWith(output, ".yuv") || i420) {
        *format = OutputFormat::kI420;
    } else {
        *error = "'" + output +
                 "': output must end in .y4m or .yuv, be - (stdout) or a PNG pattern such "
                 "as frame%04d.png";
        return false;
    }
    if (i420 && *format != OutputFormat::kI420) {
        *error = "--i420 contradicts the " +
                 std::string(*format == OutputFormat::kPng ? "PNG" : "Y4M") + " output '" + output +
                 "'";
        return false;
    }
    if (withAlpha && *format != OutputFormat::kPng) {
        *error = "--alpha needs PNG output (Y4M and I420 carry no alpha channel)";
        return false;
    }
    return true;
}

std::unique_ptr<PictureSink> CreatePictureSink(const SinkOptions& options) {
    switch (options.format) {
        case OutputFormat::kY4m:
            return std::make_unique<Y4mSink>(options);
        case OutputFormat::kI420:
            return std::make_unique<I420Sink>(options);
        case OutputFormat::kPng:
            break;
    }
    FramePattern pattern;
    std::string ignored;  // ParseOutputFormat accepted the pattern already
    pattern.Parse(options.output, &ignored);
    return std::make_unique<PngSequenceSink>(options, std::move(pattern));
}

std::unique_ptr<PictureSink> CreateMd5Sink(const std::string& name) {
    return std::make_unique<Md5Sink>(name);
}

}  // namespace veltrane::tools
