// Reports the picture type and size of a compressed frame without decoding it.
#include "core/picture_header.h"
#include "veltrane/decoder.h"

int32_t GetFrameAttributes(void* decoder, const unsigned char* frame, uint32_t size,
                           uint32_t* pictureType, uint32_t* width, uint32_t* height) {
    auto* d = static_cast<DecodeInstance_t*>(decoder);
    PictureHeader_t header{};
    const int32_t status = veltrane::CheckFrameStart(d->fifo, frame, size, &header);
    if (status != kStatusOk) {
        return status;
    }
    if (pictureType != nullptr) *pictureType = header.pictureType;
    if (width != nullptr) *width = header.width;
    if (height != nullptr) *height = header.height;
    return kStatusOk;
}
