// A decode request as the host fills it: the frame bytes, the host's expected
// width and height, the flag byte and an optional BGRA buffer.
#ifndef VELTRANE_TESTS_HOST_REQUEST_H
#define VELTRANE_TESTS_HOST_REQUEST_H

#include <cstdint>
#include <utility>
#include <vector>

#include "veltrane/host.h"

namespace veltrane::test {

class HostRequest {
    std::vector<uint8_t> frame_;  // first: the record points into it

public:
    // `frame` begins with its tag byte unless `tagged` is false.
    HostRequest(std::vector<uint8_t> frame, uint32_t width, uint32_t height, bool tagged = true)
        : frame_(std::move(frame)), width(width), height(height) {
        record.data = frame_.data();
        record.dataSize = static_cast<uint32_t>(frame_.size());
        record.noFrameTag = tagged ? 0 : 1;
        record.widthPtr = &this->width;
        record.heightPtr = &this->height;
        record.flagPtr = &flag;
    }
    HostRequest(const HostRequest&) = delete;

    // Gives the request a BGRA buffer of the host's current width and height,
    // with `padWords` spare words at the end of each row, filled with `fill`.
    void WithBuffer(int padWords = 0, uint32_t fill = 0x01020304u) {
        rowWords = static_cast<int>(width) + padWords;
        pixels.assign(static_cast<size_t>(rowWords) * height, fill);
        record.pixels = reinterpret_cast<unsigned char*>(pixels.data());
        record.rowBytes = rowWords * 4;
    }
    uint32_t Pixel(int column, int row) const {
        return pixels[static_cast<size_t>(row) * rowWords + column];
    }
    const uint8_t* frameStart() const { return frame_.data(); }
    uint32_t frameSize() const { return static_cast<uint32_t>(frame_.size()); }

    IVideoDecompressDataStruct record{};
    uint32_t width;
    uint32_t height;
    uint8_t flag = 0x5A;
    std::vector<uint32_t> pixels;
    int rowWords = 0;
};

}  // namespace veltrane::test

#endif
