#include "picture_header_writer.h"

namespace veltrane::enc {

namespace {

struct FixedSize {
    int code;
    int width;
    int height;
};

constexpr FixedSize kFixedSizes[] = {
    {2, 352, 288}, {3, 176, 144}, {4, 128, 96}, {5, 320, 240}, {6, 160, 120},
};

constexpr uint32_t kStartCode = 1;  // sixteen 0 bits and a 1

}  // namespace

int SourceFormatFor(int width, int height) {
    for (const FixedSize& size : kFixedSizes) {
        if (size.width == width && size.height == height) return size.code;
    }
    return width <= 255 && height <= 255 ? 0 : 1;
}

void WritePictureHeader(BitWriter& writer, int version, int temporalReference, int width,
                        int height, PictureType type, int quant) {
    writer.Put(kStartCode, 17);
    writer.Put(static_cast<uint32_t>(version), 5);
    writer.Put(static_cast<uint32_t>(temporalReference) & 0xFF, 8);
    const int format = SourceFormatFor(width, height);
    writer.Put(static_cast<uint32_t>(format), 3);
    if (format == 0) {
        writer.Put(static_cast<uint32_t>(width), 8);
        writer.Put(static_cast<uint32_t>(height), 8);
    } else if (format == 1) {
        writer.Put(static_cast<uint32_t>(width), 16);
        writer.Put(static_cast<uint32_t>(height), 16);
    }
    writer.Put(static_cast<uint32_t>(type), 2);
    writer.Put(0, 1);  // deblocking flag
    writer.Put(static_cast<uint32_t>(quant), 5);
    writer.Put(0, 1);  // no extra information
}

}  // namespace veltrane::enc
