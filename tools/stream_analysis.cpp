#include "stream_analysis.h"

#include "core/picture_header.h"
#include "veltrane/bitreader.h"
#include "veltrane/color.h"
#include "veltrane_encoder/psnr.h"

namespace veltrane::tools {

uint32_t FrameAnalysis::headerBits() const {
    return macroblocks.records.empty() ? static_cast<uint32_t>(bits())
                                       : macroblocks.records.front().firstBit;
}

StreamAnalyser::StreamAnalyser() : decoder_(&allocator_) { decoder_.CaptureMacroblocks(&capture_); }

StreamAnalyser::~StreamAnalyser() { CloseFifo(fifo_); }

bool StreamAnalyser::Open(const std::string& path, const std::string& sourcePath,
                          std::string* error) {
    if (!reader_.Open(path, error)) return false;
    if (!sourcePath.empty()) {
        if (!source_.Open(sourcePath, error)) return false;
        withSource_ = true;
        sourcePath_ = sourcePath;
    }
    OpenFifo(&allocator_, &fifo_);
    if (fifo_ == nullptr || !decoder_.Open(reader_.header().width, reader_.header().height)) {
        *error = path + ": cannot open a decoder session (out of memory)";
        return false;
    }
    return true;
}

void StreamAnalyser::ParseHeader(const IvfFrame& data, FrameAnalysis* frame) {
    const int32_t status = CheckFrameStart(fifo_, data.data.data(),
                                           static_cast<int64_t>(data.data.size()), &frame->header);
    frame->headerParsed = status == kStatusOk && GetLastFifoError(fifo_) == 0;
}

void StreamAnalyser::ConvertReached(FrameAnalysis* frame) {
    const YuvPicture& yuv = capture_.reached;
    frame->picture.Resize(yuv.width, yuv.height);
    QXImage_t image = frame->picture.Describe();
    ConvertCharYUV12ToBGRA(decoder_.session()->colorConverter, yuv.width, yuv.height, yuv.width,
                           yuv.chromaWidth(), yuv.y.data(), yuv.u.data(), yuv.v.data(), &image, 0);
}

void StreamAnalyser::Decode(const IvfFrame& data, FrameAnalysis* frame) {
    frame->status =
        decoder_.Decode(data.data.data(), static_cast<uint32_t>(data.data.size()), &frame->picture);
    frame->macroblocks = capture_;
    if (frame->status == kStatusOk) {
        frame->shown = ShownPicture::kDecoded;
        lastGood_ = frame->picture;
        return;
    }
    frame->error = DescribeStatus(frame->status);
    if (!decoder_.refusedSize().empty() &&
        (frame->status == kStatusCannotOpen || frame->status == kStatusEmptyPicture)) {
        frame->error += " (" + decoder_.refusedSize() + ")";
    }
    if (!capture_.reached.y.empty()) {
        frame->shown = ShownPicture::kReached;
        ConvertReached(frame);
    } else if (lastGood_.width != 0) {
        frame->shown = ShownPicture::kPrevious;
        frame->picture = lastGood_;
    } else {
        // The IVF header's size is only a claim: no picture larger than a
        // decoder can have is made for it.
        frame->shown = ShownPicture::kBlank;
        const IvfFileHeader& h = header();
        const bool decodable = IsDecodableSize(h.width, h.height);
        frame->picture.Resize(decodable ? h.width : 0, decodable ? h.height : 0);
    }
}

void StreamAnalyser::ComparePictureWithSource(FrameAnalysis* frame) {
    if (!withSource_ || !sourceProblem_.empty()) return;
    std::string error;
    const Y4mRead read = source_.ReadPicture(&original_, &error);
    if (read != Y4mRead::kPicture) {
        sourceProblem_ = read == Y4mRead::kEnd ? sourcePath_ + ": ends before frame " +
                                                     std::to_string(frame->index) + " of the stream"
                                               : error;
        return;
    }
    if (frame->status != kStatusOk) return;  // the source stays in step all the same
    decoder_.CopyPicture(&decoded_);
    if (decoded_.width != original_.width || decoded_.height != original_.height) {
        sourceProblem_ = sourcePath_ + ": frame " + std::to_string(frame->index) + ": picture " +
                         std::to_string(original_.width) + "x" + std::to_string(original_.height) +
                         " does not match the decoded " + std::to_string(decoded_.width) + "x" +
                         std::to_string(decoded_.height);
        return;
    }
    const int cw = decoded_.chromaWidth(), ch = decoded_.chromaHeight();
    frame->psnr[0] = enc::PlanePsnr(decoded_.y.data(), decoded_.width, original_.y.data(),
                                    original_.width, decoded_.width, decoded_.height);
    frame->psnr[1] = enc::PlanePsnr(decoded_.u.data(), cw, original_.u.data(), cw, cw, ch);
    frame->psnr[2] = enc::PlanePsnr(decoded_.v.data(), cw, original_.v.data(), cw, cw, ch);
    frame->hasPsnr = true;
}

IvfRead StreamAnalyser::Next(FrameAnalysis* frame, std::string* error) {
    IvfFrame data;
    const IvfRead read = reader_.ReadFrame(&data, error);
    if (read != IvfRead::kFrame) return read;
    *frame = FrameAnalysis{};
    frame->index = reader_.framesRead() - 1;
    frame->bytes = data.data.size();
    ParseHeader(data, frame);
    Decode(data, frame);
    ComparePictureWithSource(frame);
    return IvfRead::kFrame;
}

}  // namespace veltrane::tools
