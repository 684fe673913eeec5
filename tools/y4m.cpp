#include "y4m.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include "file_streams.h"
#include "veltrane/decoder.h"

namespace veltrane::tools {

namespace {

constexpr std::string_view kMagic = "YUV4MPEG2";
constexpr std::string_view kFrameMarker = "FRAME";
constexpr size_t kMaxLineLength = 4096;
// Nothing larger can be encoded or decoded, so a header claiming more is refused
// before a picture is allocated.
constexpr int kMaxDimension = VELTRANE_MAX_DIMENSION;

// Chroma tags of 8-bit 4:2:0 layouts; they differ only in chroma siting.
constexpr std::string_view kAcceptedChroma[] = {"420jpeg", "420paldv", "420mpeg2", "420"};

bool ParseInt(std::string_view text, int* value) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value);
    return ec == std::errc() && end == text.data() + text.size();
}

bool ParseRatio(std::string_view text, uint32_t* numerator, uint32_t* denominator) {
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos) return false;
    const std::string_view n = text.substr(0, colon);
    const std::string_view d = text.substr(colon + 1);
    auto r1 = std::from_chars(n.data(), n.data() + n.size(), *numerator);
    auto r2 = std::from_chars(d.data(), d.data() + d.size(), *denominator);
    return r1.ec == std::errc() && r1.ptr == n.data() + n.size() && r2.ec == std::errc() &&
           r2.ptr == d.data() + d.size();
}

// Reads up to and without the next newline. False at end of file or for an
// overlong line; `sawData` tells whether anything was read at all.
bool ReadLine(std::FILE* file, std::string* line, bool* sawData) {
    line->clear();
    *sawData = false;
    for (;;) {
        const int c = std::fgetc(file);
        if (c == EOF) return false;
        *sawData = true;
        if (c == '\n') return true;
        if (line->size() >= kMaxLineLength) return false;
        line->push_back(static_cast<char>(c));
    }
}

bool ReadPlane(std::FILE* file, std::vector<uint8_t>* plane) {
    return std::fread(plane->data(), 1, plane->size(), file) == plane->size();
}

}  // namespace

bool ParseY4mHeader(const std::string& line, Y4mHeader* header, std::string* error) {
    std::string_view rest(line);
    if (rest.substr(0, kMagic.size()) != kMagic) {
        *error = "not a YUV4MPEG2 file";
        return false;
    }
    rest.remove_prefix(kMagic.size());
    if (!rest.empty() && rest.front() != ' ') {
        *error = "not a YUV4MPEG2 file";
        return false;
    }
    Y4mHeader parsed;
    parsed.width = parsed.height = -1;
    while (!rest.empty()) {
        if (rest.front() == ' ') {
            rest.remove_prefix(1);
            continue;
        }
        const size_t end = rest.find(' ');
        const std::string_view tag = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end);
        const std::string_view value = tag.substr(1);
        bool ok = true;
        switch (tag.front()) {
            case 'W':
                ok = ParseInt(value, &parsed.width);
                break;
            case 'H':
                ok = ParseInt(value, &parsed.height);
                break;
            case 'F':
                ok = ParseRatio(value, &parsed.rateNumerator, &parsed.rateDenominator) &&
                     parsed.rateNumerator != 0 && parsed.rateDenominator != 0;
                break;
            case 'C':
                parsed.chroma = std::string(value);
                break;
            default:
                break;  // interlacing, aspect ratio and extensions do not matter here
        }
        if (!ok) {
            *error = "bad header field '" + std::string(tag) + "'";
            return false;
        }
    }
    if (parsed.width <= 0 || parsed.height <= 0 || parsed.width > kMaxDimension ||
        parsed.height > kMaxDimension) {
        *error = "missing or unsupported picture size";
        return false;
    }
    bool accepted = false;
    for (std::string_view c : kAcceptedChroma) accepted = accepted || parsed.chroma == c;
    if (!accepted) {
        *error = "unsupported chroma format 'C" + parsed.chroma + "' (only 8-bit 4:2:0)";
        return false;
    }
    *header = parsed;
    return true;
}

std::string FormatY4mHeader(const Y4mHeader& header) {
    return std::string(kMagic) + " W" + std::to_string(header.width) + " H" +
           std::to_string(header.height) + " F" + std::to_string(header.rateNumerator) + ":" +
           std::to_string(header.rateDenominator) + " Ip A1:1 C" + header.chroma + "\n";
}

Y4mReader::~Y4mReader() {
    if (file_ != nullptr) CloseStream(file_);
}

bool Y4mReader::Open(const std::string& path, std::string* error) {
    path_ = InputName(path);
    file_ = OpenInputStream(path);
    if (file_ == nullptr) {
        *error = path_ + ": cannot open: " + std::strerror(errno);
        return false;
    }
    std::string line;
    bool sawData;
    if (!ReadLine(file_, &line, &sawData)) {
        *error = path_ + ": not a YUV4MPEG2 file (no header line)";
        return false;
    }
    std::string why;
    if (!ParseY4mHeader(line, &header_, &why)) {
        *error = path_ + ": " + why;
        return false;
    }
    return true;
}

Y4mRead Y4mReader::ReadPicture(YuvPicture* picture, std::string* error) {
    const std::string where = path_ + ": frame " + std::to_string(framesRead_) + ": ";
    std::string line;
    bool sawData;
    if (!ReadLine(file_, &line, &sawData)) {
        if (!sawData) return Y4mRead::kEnd;
        *error = where + "truncated or overlong FRAME line";
        return Y4mRead::kError;
    }
    if (line.compare(0, kFrameMarker.size(), kFrameMarker) != 0) {
        *error = where + "missing FRAME marker";
        return Y4mRead::kError;
    }
    picture->Resize(header_.width, header_.height);
    if (!ReadPlane(file_, &picture->y) || !ReadPlane(file_, &picture->u) ||
        !ReadPlane(file_, &picture->v)) {
        *error = where + "truncated picture data";
        return Y4mRead::kError;
    }
    ++framesRead_;
    return Y4mRead::kPicture;
}

Y4mWriter::~Y4mWriter() {
    if (file_ != nullptr) CloseStream(file_);
}

bool Y4mWriter::Open(const std::string& path, const Y4mHeader& header, std::string* error) {
    path_ = OutputName(path);
    header_ = header;
    file_ = OpenOutputStream(path);
    if (file_ == nullptr) {
        *error = path_ + ": cannot create: " + std::strerror(errno);
        return false;
    }
    const std::string text = FormatY4mHeader(header);
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) {
        *error = path_ + ": write error";
        return false;
    }
    return true;
}

bool Y4mWriter::WritePicture(const YuvPicture& picture, std::string* error) {
    const std::string where = path_ + ": frame " + std::to_string(framesWritten_) + ": ";
    if (picture.width != header_.width || picture.height != header_.height) {
        *error = where + "picture size changes to " + std::to_string(picture.width) + "x" +
                 std::to_string(picture.height) + " (the file is " + std::to_string(header_.width) +
                 "x" + std::to_string(header_.height) + "); write PNG files to keep every size";
        return false;
    }
    const std::string marker = std::string(kFrameMarker) + "\n";
    if (file_ == nullptr || std::fwrite(marker.data(), 1, marker.size(), file_) != marker.size() ||
        !WriteYuvPlanes(file_, picture)) {
        *error = where + "write error";
        return false;
    }
    ++framesWritten_;
    return true;
}

bool Y4mWriter::Close(std::string* error) {
    if (file_ == nullptr) return true;
    const bool ok = CloseStream(file_);
    file_ = nullptr;
    if (!ok) {
        *error = path_ + ": write error while finishing the file";
    }
    return ok;
}

}  // namespace veltrane::tools
