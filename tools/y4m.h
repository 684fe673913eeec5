// YUV4MPEG2 files with 8-bit 4:2:0 pictures: a text header line
// ("YUV4MPEG2 W.. H.. F..:.. C420jpeg ..."), then per picture a "FRAME" line and
// the Y, U and V planes.
#ifndef VELTRANE_TOOLS_Y4M_H
#define VELTRANE_TOOLS_Y4M_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "yuv_picture.h"

namespace veltrane::tools {

struct Y4mHeader {
    int width = 0;
    int height = 0;
    uint32_t rateNumerator = 25;
    uint32_t rateDenominator = 1;
    std::string chroma = "420jpeg";  // the C tag; every accepted value is 8-bit 4:2:0
};

// Parses a header line without its trailing newline. On failure `error` says why.
bool ParseY4mHeader(const std::string& line, Y4mHeader* header, std::string* error);
// The header line for `header`, with its trailing newline.
std::string FormatY4mHeader(const Y4mHeader& header);

enum class Y4mRead { kPicture, kEnd, kError };

// The reader and the writer have the shape of IvfReader and IvfWriter (open by
// name or "-", read or write one unit, errors naming the file and the frame);
// the formats share nothing else.
class Y4mReader {
public:
    Y4mReader() = default;
    ~Y4mReader();
    Y4mReader(const Y4mReader&) = delete;
    Y4mReader& operator=(const Y4mReader&) = delete;

    // Opens the file ("-": stdin) and reads its header.
    bool Open(const std::string& path, std::string* error);
    const Y4mHeader& header() const { return header_; }
    // Reads the next picture; errors name the file and the frame.
    Y4mRead ReadPicture(YuvPicture* picture, std::string* error);

private:
    std::FILE* file_ = nullptr;
    std::string path_;
    Y4mHeader header_;
    int framesRead_ = 0;
};

class Y4mWriter {
public:
    Y4mWriter() = default;
    ~Y4mWriter();
    Y4mWriter(const Y4mWriter&) = delete;
    Y4mWriter& operator=(const Y4mWriter&) = delete;

    // Creates the file ("-": stdout) and writes the header.
    bool Open(const std::string& path, const Y4mHeader& header, std::string* error);
    // Every picture must have the header's size: the format cannot change it.
    bool WritePicture(const YuvPicture& picture, std::string* error);
    bool Close(std::string* error);

private:
    std::FILE* file_ = nullptr;
    std::string path_;
    Y4mHeader header_;
    int framesWritten_ = 0;
};

}  // namespace veltrane::tools

#endif
