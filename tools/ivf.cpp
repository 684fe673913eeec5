#include "ivf.h"

#include <sys/types.h>

#include <cerrno>
#include <cstring>

#include "byte_order.h"

namespace veltrane::tools {

namespace {

constexpr char kSignature[4] = {'D', 'K', 'I', 'F'};
constexpr char kFourcc[4] = {'V', 'L', 'T', 'R'};
constexpr uint16_t kVersion = 0;

std::string FramePrefix(const std::string& path, uint32_t frame) {
    return path + ": frame " + std::to_string(frame) + ": ";
}

}  // namespace

void EncodeIvfFileHeader(const IvfFileHeader& header, uint8_t out[kIvfFileHeaderSize]) {
    std::memcpy(out, kSignature, 4);
    StoreLe16(out + 4, kVersion);
    StoreLe16(out + 6, kIvfFileHeaderSize);
    std::memcpy(out + 8, kFourcc, 4);
    StoreLe16(out + 12, header.width);
    StoreLe16(out + 14, header.height);
    StoreLe32(out + 16, header.rate);
    StoreLe32(out + 20, header.scale);
    StoreLe32(out + 24, header.frameCount);
    StoreLe32(out + 28, 0);
}

IvfReader::~IvfReader() {
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

bool IvfReader::Open(const std::string& path, std::string* error) {
    path_ = path;
    file_ = std::fopen(path.c_str(), "rb");
    if (file_ == nullptr) {
        *error = path + ": cannot open: " + std::strerror(errno);
        return false;
    }
    // The file size bounds every frame size, so a corrupt size never drives an allocation.
    if (fseeko(file_, 0, SEEK_END) != 0) {
        *error = path + ": cannot seek (not a regular file?)";
        return false;
    }
    const off_t size = ftello(file_);
    if (size < 0 || fseeko(file_, 0, SEEK_SET) != 0) {
        *error = path + ": cannot determine the file size";
        return false;
    }
    fileSize_ = static_cast<uint64_t>(size);

    uint8_t bytes[kIvfFileHeaderSize];
    if (std::fread(bytes, 1, sizeof bytes, file_) != sizeof bytes) {
        *error = path + ": not an IVF file: shorter than the 32-byte file header";
        return false;
    }
    position_ = kIvfFileHeaderSize;
    if (std::memcmp(bytes, kSignature, 4) != 0) {
        *error = path + ": not an IVF file: no DKIF signature";
        return false;
    }
    if (LoadLe16(bytes + 4) != kVersion) {
        *error = path + ": unsupported IVF version " + std::to_string(LoadLe16(bytes + 4));
        return false;
    }
    if (LoadLe16(bytes + 6) != kIvfFileHeaderSize) {
        *error = path + ": inconsistent IVF header: header size " +
                 std::to_string(LoadLe16(bytes + 6)) + ", expected 32";
        return false;
    }
    if (std::memcmp(bytes + 8, kFourcc, 4) != 0) {
        *error = path + ": IVF file of another format (fourcc '" +
                 std::string(reinterpret_cast<const char*>(bytes + 8), 4) + "', expected 'VLTR')";
        return false;
    }
    header_.width = LoadLe16(bytes + 12);
    header_.height = LoadLe16(bytes + 14);
    header_.rate = LoadLe32(bytes + 16);
    header_.scale = LoadLe32(bytes + 20);
    header_.frameCount = LoadLe32(bytes + 24);
    if (header_.rate == 0 || header_.scale == 0) {
        *error = path + ": inconsistent IVF header: time base " + std::to_string(header_.rate) +
                 "/" + std::to_string(header_.scale);
        return false;
    }
    return true;
}

IvfRead IvfReader::Fail(std::string message, std::string* error) {
    failed_ = true;
    *error = std::move(message);
    return IvfRead::kError;
}

IvfRead IvfReader::ReadFrame(IvfFrame* frame, std::string* error) {
    if (failed_ || file_ == nullptr) {
        return Fail(path_ + ": read after an error", error);
    }
    const uint64_t left = fileSize_ - position_;
    if (left == 0) {
        if (header_.frameCount != 0 && framesRead_ != header_.frameCount) {
            return Fail(path_ + ": file ends after " + std::to_string(framesRead_) +
                            " frames, header announces " + std::to_string(header_.frameCount),
                        error);
        }
        return IvfRead::kEnd;
    }
    const std::string where = FramePrefix(path_, framesRead_);
    if (header_.frameCount != 0 && framesRead_ >= header_.frameCount) {
        return Fail(where + "more frames than the " + std::to_string(header_.frameCount) +
                        " the header announces",
                    error);
    }
    if (left < kIvfFrameHeaderSize) {
        return Fail(where + "truncated frame header (" + std::to_string(left) + " of 12 bytes)",
                    error);
    }
    uint8_t bytes[kIvfFrameHeaderSize];
    if (std::fread(bytes, 1, sizeof bytes, file_) != sizeof bytes) {
        return Fail(where + "read error in the frame header", error);
    }
    position_ += kIvfFrameHeaderSize;
    const uint32_t size = LoadLe32(bytes);
    if (size > fileSize_ - position_) {
        return Fail(where + "truncated: frame of " + std::to_string(size) + " bytes, only " +
                        std::to_string(fileSize_ - position_) + " left in the file",
                    error);
    }
    frame->timestamp = LoadLe64(bytes + 4);
    frame->data.resize(size);
    if (size != 0 && std::fread(frame->data.data(), 1, size, file_) != size) {
        return Fail(where + "read error in the frame data", error);
    }
    position_ += size;
    ++framesRead_;
    return IvfRead::kFrame;
}

IvfWriter::~IvfWriter() {
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

bool IvfWriter::Open(const std::string& path, const IvfFileHeader& header, std::string* error) {
    path_ = path;
    header_ = header;
    header_.frameCount = 0;
    file_ = std::fopen(path.c_str(), "wb");
    if (file_ == nullptr) {
        *error = path + ": cannot create: " + std::strerror(errno);
        return false;
    }
    uint8_t bytes[kIvfFileHeaderSize];
    EncodeIvfFileHeader(header_, bytes);
    if (std::fwrite(bytes, 1, sizeof bytes, file_) != sizeof bytes) {
        *error = path + ": write error";
        return false;
    }
    return true;
}

bool IvfWriter::WriteFrame(const uint8_t* data, uint32_t size, uint64_t timestamp,
                           std::string* error) {
    uint8_t bytes[kIvfFrameHeaderSize];
    StoreLe32(bytes, size);
    StoreLe64(bytes + 4, timestamp);
    if (file_ == nullptr || std::fwrite(bytes, 1, sizeof bytes, file_) != sizeof bytes ||
        (size != 0 && std::fwrite(data, 1, size, file_) != size)) {
        *error = FramePrefix(path_, framesWritten_) + "write error";
        return false;
    }
    ++framesWritten_;
    return true;
}

bool IvfWriter::Close(std::string* error) {
    if (file_ == nullptr) {
        return true;
    }
    header_.frameCount = framesWritten_;
    uint8_t bytes[kIvfFileHeaderSize];
    EncodeIvfFileHeader(header_, bytes);
    const bool ok = std::fseek(file_, 0, SEEK_SET) == 0 &&
                    std::fwrite(bytes, 1, sizeof bytes, file_) == sizeof bytes;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (!ok || !closed) {
        *error = path_ + ": write error while finishing the file";
        return false;
    }
    return true;
}

}  // namespace veltrane::tools
