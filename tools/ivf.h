// IVF container files: a 32-byte file header, then per frame a 12-byte header
// (32-bit size, 64-bit timestamp) and the compressed frame. All fields are
// little-endian.
#ifndef VELTRANE_TOOLS_IVF_H
#define VELTRANE_TOOLS_IVF_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace veltrane::tools {

constexpr uint32_t kIvfFileHeaderSize = 32;
constexpr uint32_t kIvfFrameHeaderSize = 12;

struct IvfFileHeader {
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t rate = 25;  // the time base: timestamps count units of scale / rate seconds
    uint32_t scale = 1;
    uint32_t frameCount = 0;  // 0: not known (the file was written as a stream)
};

struct IvfFrame {
    uint64_t timestamp = 0;
    std::vector<uint8_t> data;
};

// Serialises a header into its 32-byte form.
void EncodeIvfFileHeader(const IvfFileHeader& header, uint8_t out[kIvfFileHeaderSize]);

enum class IvfRead { kFrame, kEnd, kError };

class IvfReader {
public:
    IvfReader() = default;
    ~IvfReader();
    IvfReader(const IvfReader&) = delete;
    IvfReader& operator=(const IvfReader&) = delete;

    // Opens the file ("-": stdin) and checks its header. On failure `error`
    // names the file. The input is read front to back, never seeked, so pipes
    // and FIFOs work as well as files.
    bool Open(const std::string& path, std::string* error);
    const IvfFileHeader& header() const { return header_; }
    // The file's name in messages ("stdin" for "-").
    const std::string& name() const { return name_; }
    // Frames delivered so far; also the index of the next frame.
    uint32_t framesRead() const { return framesRead_; }

    // Reads the next frame. kEnd after the last one; kError for a truncated or
    // inconsistent file, with `error` naming the file and the frame. After an
    // error every further call returns kError again. Memory for the frame grows
    // with the data actually read, so a size field that claims more than the
    // input holds costs no more than the input itself.
    IvfRead ReadFrame(IvfFrame* frame, std::string* error);

private:
    IvfRead Fail(std::string message, std::string* error);
    bool ReadFrameData(uint32_t size, std::vector<uint8_t>* data, std::string* error);

    std::FILE* file_ = nullptr;
    std::string name_;
    IvfFileHeader header_;
    uint32_t framesRead_ = 0;
    bool failed_ = false;
};

class IvfWriter {
public:
    IvfWriter() = default;
    ~IvfWriter();
    IvfWriter(const IvfWriter&) = delete;
    IvfWriter& operator=(const IvfWriter&) = delete;

    // Creates the file ("-": stdout); the frame count in `header` is replaced.
    bool Open(const std::string& path, const IvfFileHeader& header, std::string* error);
    bool WriteFrame(const uint8_t* data, uint32_t size, uint64_t timestamp, std::string* error);
    // Writes the final frame count into the header when the output can seek
    // back to it; a pipe keeps the count 0, "not known", as a stream must.
    bool Close(std::string* error);
    uint32_t framesWritten() const { return framesWritten_; }

private:
    std::FILE* file_ = nullptr;
    std::string name_;
    IvfFileHeader header_;
    long long headerOffset_ = -1;  // where the header starts, when the output can seek
    uint32_t framesWritten_ = 0;
};

}  // namespace veltrane::tools

#endif
