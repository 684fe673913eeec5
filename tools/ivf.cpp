#include "ivf.h"

#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "byte_order.h"
#include "file_streams.h"

namespace veltrane::tools {

namespace {

constexpr char kSignature[4] = {'D', 'K', 'I', 'F'};
constexpr char kFourcc[4] = {'V', 'L', 'T', 'R'};
constexpr uint16_t kVersion = 0;
constexpr size_t kReadStep = size_t{1} << 20;

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
    if (file_ != nullptr) CloseStream(file_);
}

bool IvfReader::Open(const std::string& path, std::string* error) {
    name_ = InputName(path);
    file_ = OpenInputStream(path);
    if (file_ == nullptr) {
        *error = name_ + ": cannot open: " + std::strerror(errno);
        return false;
    }
    uint8_t bytes[kIvfFileHeaderSize];
    if (std::fread(bytes, 1, sizeof bytes, file_) != sizeof bytes) {
        *error = name_ + (std::ferror(file_) != 0
                              ? ": read error: " + std::string(std::strerror(errno))
                              : ": not an IVF file: shorter than the 32-byte file header");
        return false;
    }
    if (std::memcmp(bytes, kSignature, 4) != 0) {
        *error = name_ + ": not an IVF file: no DKIF signature";
        return false;
    }
    if (LoadLe16(bytes + 4) != kVersion) {
        *error = name_ + ": unsupported IVF version " + std::to_string(LoadLe16(bytes + 4));
        return false;
    }
    if (LoadLe16(bytes + 6) != kIvfFileHeaderSize) {
        *error = name_ + ": inconsistent IVF header: header size " +
                 std::to_string(LoadLe16(bytes + 6)) + ", expected 32";
        return false;
    }
    if (std::memcmp(bytes + 8, kFourcc, 4) != 0) {
        *error = name_ + ": IVF file of another format (fourcc '" +
                 std::string(reinterpret_cast<const char*>(bytes + 8), 4) + "', expected 'VLTR')";
        return false;
    }
    header_.width = LoadLe16(bytes + 12);
    header_.height = LoadLe16(bytes + 14);
    header_.rate = LoadLe32(bytes + 16);
    header_.scale = LoadLe32(bytes + 20);
    header_.frameCount = LoadLe32(bytes + 24);
    if (header_.rate == 0 || header_.scale == 0) {
        *error = name_ + ": inconsistent IVF header: time base " + std::to_string(header_.rate) +
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

bool IvfReader::ReadFrameData(uint32_t size, std::vector<uint8_t>* data, std::string* error) {
    data->clear();
    size_t have = 0;
    while (have < size) {
        const size_t step = std::min<size_t>(size - have, kReadStep);
        data->resize(have + step);
        const size_t got = std::fread(data->data() + have, 1, step, file_);
        have += got;
        if (got == step) continue;
        const std::string where = FramePrefix(name_, framesRead_);
        if (std::ferror(file_) != 0) {
            *error = where + "read error: " + std::strerror(errno);
        } else {
            *error = where + "truncated: frame of " + std::to_string(size) + " bytes, only " +
                     std::to_string(have) + " left in the file";
        }
        return false;
    }
    return true;
}

IvfRead IvfReader::ReadFrame(IvfFrame* frame, std::string* error) {
    if (failed_ || file_ == nullptr) {
        return Fail(name_ + ": read after an error", error);
    }
    const std::string where = FramePrefix(name_, framesRead_);
    uint8_t bytes[kIvfFrameHeaderSize];
    const size_t got = std::fread(bytes, 1, sizeof bytes, file_);
    if (std::ferror(file_) != 0) {
        return Fail(where + "read error: " + std::strerror(errno), error);
    }
    if (got == 0) {
        if (header_.frameCount != 0 && framesRead_ != header_.frameCount) {
            return Fail(name_ + ": file ends after " + std::to_string(framesRead_) +
                            " frames, header announces " + std::to_string(header_.frameCount),
                        error);
        }
        return IvfRead::kEnd;
    }
    if (header_.frameCount != 0 && framesRead_ >= header_.frameCount) {
        return Fail(where + "more frames than the " + std::to_string(header_.frameCount) +
                        " the header announces",
                    error);
    }
    if (got < sizeof bytes) {
        return Fail(where + "truncated frame header (" + std::to_string(got) + " of 12 bytes)",
                    error);
    }
    std::string dataError;
    if (!ReadFrameData(LoadLe32(bytes), &frame->data, &dataError)) {
        return Fail(dataError, error);
    }
    frame->timestamp = LoadLe64(bytes + 4);
    ++framesRead_;
    return IvfRead::kFrame;
}

IvfWriter::~IvfWriter() {
    if (file_ != nullptr) CloseStream(file_);
}

bool IvfWriter::Open(const std::string& path, const IvfFileHeader& header, std::string* error) {
    name_ = OutputName(path);
    header_ = header;
    header_.frameCount = 0;
    file_ = OpenOutputStream(path);
    if (file_ == nullptr) {
        *error = name_ + ": cannot create: " + std::strerror(errno);
        return false;
    }
    headerOffset_ = SeekableOffset(file_);
    uint8_t bytes[kIvfFileHeaderSize];
    EncodeIvfFileHeader(header_, bytes);
    if (std::fwrite(bytes, 1, sizeof bytes, file_) != sizeof bytes) {
        *error = name_ + ": write error";
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
        *error = FramePrefix(name_, framesWritten_) + "write error";
        return false;
    }
    ++framesWritten_;
    return true;
}

bool IvfWriter::Close(std::string* error) {
    if (file_ == nullptr) {
        return true;
    }
    bool ok = true;
    if (headerOffset_ >= 0) {
        header_.frameCount = framesWritten_;
        uint8_t bytes[kIvfFileHeaderSize];
        EncodeIvfFileHeader(header_, bytes);
        ok = fseeko(file_, static_cast<off_t>(headerOffset_), SEEK_SET) == 0 &&
             std::fwrite(bytes, 1, sizeof bytes, file_) == sizeof bytes &&
             fseeko(file_, 0, SEEK_END) == 0;
    }
    const bool closed = CloseStream(file_);
    file_ = nullptr;
    if (!ok || !closed) {
        *error = name_ + ": write error while finishing the file";
        return false;
    }
    return true;
}

}  // namespace veltrane::tools
