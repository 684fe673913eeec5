// The host's IVideoDecompressor over one decoding session.
#include "plugin/video_decompressor.h"

#include "veltrane/color.h"
#include "veltrane/decoder.h"
#include "veltrane/session.h"

namespace {

constexpr int kInitialWidth = 128;
constexpr int kInitialHeight = 96;

// The upper four bits of the tag byte in front of a frame are zero for data
// that is not to be decoded.
bool TagMarksFrame(unsigned char tag) { return (tag & 0xF0) != 0; }

// Host post-filter flags to the deblocking method: bits 1..3 clear give 0,
// bit 1 alone gives 1, anything else 2.
int32_t DeblockingMethodFor(uint32_t postFilter) {
    const uint32_t bits = postFilter & 0xE;
    if (bits == 0) return 0;
    if (bits == 2) return 1;
    return 2;
}

// Host 16-bit format codes other than the three known layouts draw as 5-5-5.
EPixelFormat PixelFormatFor(uint32_t hostFormat) {
    switch (hostFormat) {
        case ePixelFormatRGB565:
            return ePixelFormatRGB565;
        case ePixelFormatARGB4444:
            return ePixelFormatARGB4444;
        default:
            return ePixelFormatRGB555;
    }
}

struct FrameAttributes {
    uint32_t type = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

// Type and size of a frame; fields that cannot be read stay 0.
FrameAttributes ReadAttributes(void* session, const unsigned char* data, uint32_t size) {
    FrameAttributes attributes;
    if (data == nullptr) size = 0;
    DecompressGetFrameAttributes(session, data, size, &attributes.type, &attributes.width,
                                 &attributes.height);
    return attributes;
}

}  // namespace

VeltraneVideoDecompressor::VeltraneVideoDecompressor(IAllocator* allocator)
    : session(nullptr), allocator(allocator) {
    Create(kInitialWidth, kInitialHeight);
}

VeltraneVideoDecompressor::~VeltraneVideoDecompressor() { Destroy(); }

void* VeltraneVideoDecompressor::Create(int width, int height) {
    session = DecompressOpen(width, height, allocator);
    return session;
}

void VeltraneVideoDecompressor::Destroy() {
    if (session != nullptr) {
        DecompressClose(session);
        session = nullptr;
    }
}

int32_t VeltraneVideoDecompressor::CodecSubType(uint32_t index) { return index == 0 ? 2 : -1; }

int32_t VeltraneVideoDecompressor::EmbeddedIsKeyFrame(const unsigned char* data, uint32_t size,
                                                      bool /*flag*/) {
    if (session == nullptr) return 0;
    return ReadAttributes(session, data, size).type == 0 ? 1 : 0;
}

int32_t VeltraneVideoDecompressor::DecompressFrame(IVideoDecompressDataStruct* request) {
    if (request == nullptr) return 0;
    if (request->noFrameTag == 0) {
        if (request->data == nullptr || request->dataSize == 0 ||
            !TagMarksFrame(request->data[0])) {
            return 0;
        }
        // The tag is stripped in the host's record itself.
        ++request->data;
        --request->dataSize;
    }
    if (request->flagPtr != nullptr) *request->flagPtr = 0;
    return DecompressVideo(request);
}

int32_t VeltraneVideoDecompressor::DecompressVideo(IVideoDecompressDataStruct* request) {
    if (session == nullptr || request == nullptr) return 0;
    if (request->postFilter != 0) {
        const DecompressSettings_t settings = {sizeof(DecompressSettings_t),
                                               DeblockingMethodFor(request->postFilter)};
        DecompressSetSettings(session, &settings);
    }
    // A frame is decoded at most twice: once more after the session was
    // reopened at the size the frame announces, which the decoder then accepts.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const FrameAttributes frame = ReadAttributes(session, request->data, request->dataSize);
        const uint32_t dataSize = request->data == nullptr ? 0 : request->dataSize;
        int32_t status;
        if (request->pixels != nullptr) {
            if (request->widthPtr == nullptr || request->heightPtr == nullptr ||
                *request->heightPtr != frame.height || *request->widthPtr != frame.width) {
                return 0;
            }
            QXImage_t image = {kQXImageFormatBGRA32,
                               static_cast<int32_t>(*request->widthPtr),
                               static_cast<int32_t>(*request->heightPtr),
                               0,
                               request->rowBytes,
                               request->pixels};
            status = ::DecompressFrame(session, request->data, dataSize, &image);
        } else {
            status = ::DecompressFrame(session, request->data, dataSize, nullptr);
        }
        if (request->heightPtr != nullptr) *request->heightPtr = frame.height;
        if (request->widthPtr != nullptr) *request->widthPtr = frame.width;
        if (status == kStatusOk) return 1;
        if (status != kStatusSizeChanged) return 0;
        Destroy();
        if (Create(static_cast<int>(frame.width), static_cast<int>(frame.height)) == nullptr) {
            return 0;
        }
    }
    return 0;
}

int32_t VeltraneVideoDecompressor::GetFrameDimensions(IVideoDecompressDataStruct* request) {
    if (session == nullptr || request == nullptr || request->noFrameTag != 0) return 0;
    if (request->data == nullptr || request->dataSize == 0 || !TagMarksFrame(request->data[0])) {
        return 0;
    }
    // The record is advanced past the tag for the inquiry and restored afterwards.
    ++request->data;
    --request->dataSize;
    const FrameAttributes frame = ReadAttributes(session, request->data, request->dataSize);
    if (request->heightPtr != nullptr) *request->heightPtr = frame.height;
    if (request->widthPtr != nullptr) *request->widthPtr = frame.width;
    --request->data;
    ++request->dataSize;
    return 1;
}

int32_t VeltraneVideoDecompressor::BlitTo32(IVideoBlitTo32Struct* request) {
    if (session == nullptr || request == nullptr) return 0;
    BlitYUVto32(session, request->column, request->row, request->count, request->dest);
    return 1;
}

int32_t VeltraneVideoDecompressor::BlitTo32Single(IVideoBlitTo32SingleStruct* request) {
    if (session == nullptr || request == nullptr) return 0;
    BlitYUVto32Single(session, request->column, request->row, request->dest);
    return 1;
}

int32_t VeltraneVideoDecompressor::BlitTo16(IVideoBlitTo16Struct* request) {
    if (session == nullptr || request == nullptr) return 0;
    BlitYUVto16(session, request->column, request->row, request->count, request->dest,
                PixelFormatFor(request->pixelFormat));
    return 1;
}

int32_t VeltraneVideoDecompressor::BlitTo16Single(IVideoBlitTo16SingleStruct* request) {
    if (session == nullptr || request == nullptr) return 0;
    BlitYUVto16Single(session, request->column, request->row, request->dest,
                      PixelFormatFor(request->pixelFormat));
    return 1;
}

int32_t VeltraneVideoDecompressor::FlushAfterSeek() { return 1; }
