#include "core/picture_header.h"

#include "core/bit_reader.h"

namespace veltrane {

namespace {

constexpr uint32_t kStartCode = 1;
constexpr unsigned kStartCodeBits = 17;
constexpr unsigned kVersionBits = 5;
constexpr uint32_t kHighestVersion = 1;
constexpr int64_t kLargestFrame = 0x1FFFFFFF;  // bytes whose bit count fits in 32 bits

enum SourceFormat : uint32_t {
    kSize8Bit = 0,
    kSize16Bit = 1,
    kReserved = 7,
};

struct FixedSize {
    uint32_t width;
    uint32_t height;
};
// Source formats 2 to 6.
constexpr FixedSize kFixedSizes[5] = {{352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}};

constexpr uint32_t AlignTo16(uint32_t n) { return (n + 15) & ~uint32_t{15}; }

}  // namespace

int32_t ParsePictureHeader(fifo_t* fifo, PictureHeader_t* header) {
    header->temporalReference = ReadBits(fifo, 8);
    const uint32_t format = ReadBits(fifo, 3);
    if (format == kReserved) {
        return kStatusBadData;
    }
    if (format == kSize8Bit) {
        header->width = ReadBits(fifo, 8);
        header->height = ReadBits(fifo, 8);
    } else if (format == kSize16Bit) {
        header->width = ReadBits(fifo, 16);
        header->height = ReadBits(fifo, 16);
    } else {
        header->width = kFixedSizes[format - 2].width;
        header->height = kFixedSizes[format - 2].height;
    }
    header->alignedWidth = AlignTo16(header->width);
    header->alignedHeight = AlignTo16(header->height);
    header->pictureType = ReadBits(fifo, 2);
    header->deblocking = ReadBits(fifo, 1);
    header->quantiser = ReadBits(fifo, 5);

    // Extra information: a flag of 1 announces eight bits to skip and another flag.
    for (;;) {
        if (BitsLeft(fifo) == 0) {
            fifo->error = kFifoErrorOutOfData;
            return kStatusOk;
        }
        if (ReadBit(fifo) == 0) {
            return kStatusOk;
        }
        if (BitsLeft(fifo) >= 8) {
            SkipBits(fifo, 8);
        } else {
            fifo->error = kFifoErrorOutOfData;
        }
    }
}

int32_t CheckFrameStart(fifo_t* fifo, const unsigned char* frame, int64_t size,
                        PictureHeader_t* header) {
    if (size < 0 || size > kLargestFrame) {
        return kStatusBadData;
    }
    const auto bytes = static_cast<int32_t>(size);
    SetFifoBuffer(fifo, frame, bytes, static_cast<uint32_t>(bytes) * 8, 0);
    if (BitsLeft(fifo) < kStartCodeBits || ReadBits(fifo, kStartCodeBits) != kStartCode) {
        return kStatusBadData;
    }
    uint32_t version = 0;
    if (BitsLeft(fifo) >= kVersionBits) {
        version = ReadBits(fifo, kVersionBits);
        if (version > kHighestVersion) {
            return kStatusBadData;
        }
    } else {
        fifo->error = kFifoErrorOutOfData;
    }
    *header = PictureHeader_t{};
    header->version = version;
    return ParsePictureHeader(fifo, header);
}

}  // namespace veltrane
