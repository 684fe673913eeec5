// A stream frame by frame as the analyze command shows it: each frame's
// picture header, the decoder's records of its macroblocks, the picture to draw
// them on, what went wrong, and with a source Y4M file the PSNR of the picture.
#ifndef VELTRANE_TOOLS_STREAM_ANALYSIS_H
#define VELTRANE_TOOLS_STREAM_ANALYSIS_H

#include <cstdint>
#include <string>

#include "bgra_picture.h"
#include "frame_decoder.h"
#include "host_allocator.h"
#include "ivf.h"
#include "macroblock_capture.h"
#include "veltrane/decoder.h"
#include "y4m.h"
#include "yuv_picture.h"

namespace veltrane::tools {

// Where the picture of a frame analysis comes from.
enum class ShownPicture {
    kDecoded,   // the frame decoded
    kReached,   // the frame failed inside its macroblocks: what the decoder had written by then
    kPrevious,  // the frame failed before its macroblocks: the last good picture, as a player shows
    kBlank,     // nothing decoded yet: black, of the IVF header's size
};

struct FrameAnalysis {
    uint32_t index = 0;
    size_t bytes = 0;
    bool headerParsed = false;
    PictureHeader_t header{};
    int32_t status = 0;  // 0, a library status, or one of the tool's (frame_decoder.h)
    std::string error;   // empty when the frame decoded
    MacroblockCapture macroblocks;
    ShownPicture shown = ShownPicture::kBlank;
    BgraPicture picture;
    bool hasPsnr = false;
    double psnr[3] = {};  // Y, U, V in dB against the source picture

    // The frame's size in bits and how many of them the picture header (and any
    // bits the decoder did not reach) took.
    uint64_t bits() const { return uint64_t{bytes} * 8; }
    uint32_t headerBits() const;
};

class StreamAnalyser {
public:
    StreamAnalyser();
    ~StreamAnalyser();
    StreamAnalyser(const StreamAnalyser&) = delete;
    StreamAnalyser& operator=(const StreamAnalyser&) = delete;

    // Opens the stream and, unless `sourcePath` is empty, the source pictures it
    // was made from. Errors name the file.
    bool Open(const std::string& path, const std::string& sourcePath, std::string* error);
    const IvfFileHeader& header() const { return reader_.header(); }

    // Reads and decodes the next frame. kError (with `error`) for a damaged
    // container; a frame that fails to decode is a kFrame with its error set.
    IvfRead Next(FrameAnalysis* frame, std::string* error);

    // Set once when the source stops matching the stream (it ends early, or a
    // picture has another size); no PSNR is computed after that.
    const std::string& sourceProblem() const { return sourceProblem_; }

private:
    void ParseHeader(const IvfFrame& data, FrameAnalysis* frame);
    void Decode(const IvfFrame& data, FrameAnalysis* frame);
    void ComparePictureWithSource(FrameAnalysis* frame);
    void ConvertReached(FrameAnalysis* frame);

    HostAllocator allocator_;
    IvfReader reader_;
    fifo_t* fifo_ = nullptr;  // the header parser's reader
    FrameDecoder decoder_;
    MacroblockCapture capture_;
    BgraPicture lastGood_;
    Y4mReader source_;
    bool withSource_ = false;
    std::string sourcePath_;
    std::string sourceProblem_;
    YuvPicture decoded_, original_;
};

}  // namespace veltrane::tools

#endif
