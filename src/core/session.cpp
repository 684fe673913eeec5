// The session interface: a decoder, a colour converter and the planes of the
// last decoded picture.
#include "veltrane/session.h"

#include "core/picture_decoder.h"
#include "veltrane/color.h"
#include "veltrane/decoder.h"

namespace {
constexpr uint32_t kSettingsSize = sizeof(DecompressSettings_t);
}  // namespace

void* DecompressOpen(int32_t width, int32_t height, IAllocator* allocator) {
    auto* session = static_cast<DecompressSession_t*>(
        IAllocator_Malloc(allocator, sizeof(DecompressSession_t)));
    if (session == nullptr) {
        return nullptr;
    }
    *session = DecompressSession_t{};
    session->width = width;
    session->height = height;
    session->planes =
        static_cast<DecompressPlanes_t*>(IAllocator_Malloc(allocator, sizeof(DecompressPlanes_t)));
    if (session->planes == nullptr) {
        DecompressClose(session);
        return nullptr;
    }
    *session->planes = DecompressPlanes_t{};
    session->eightBitPlanes = 1;
    void* decoder = nullptr;
    if (H263DecompressOpen(&decoder, width, height, allocator) != 0) {
        DecompressClose(session);
        return nullptr;
    }
    session->decoder = static_cast<DecodeInstance_t*>(decoder);
    session->colorConverter = OpenColorConverter(allocator);
    if (session->colorConverter == nullptr) {
        DecompressClose(session);
        return nullptr;
    }
    return session;
}

int32_t DecompressClose(void* session) {
    auto* s = static_cast<DecompressSession_t*>(session);
    if (s == nullptr) {
        return 0;
    }
    CloseColorConverter(s->colorConverter);
    if (s->decoder != nullptr) {
        H263DecompressClose(s->decoder);
    }
    IAllocator_Free(s->planes);
    IAllocator_Free(s);
    return 0;
}

namespace {

// What a session does with a frame, around the picture decoding loop that
// `decodePicture` runs (the exported one, or the one that records macroblocks).
template <typename DecodePicture>
int32_t DecodeIntoSession(void* session, const unsigned char* data, uint32_t size, QXImage_t* image,
                          DecodePicture&& decodePicture) {
    auto* s = static_cast<DecompressSession_t*>(session);
    if (s == nullptr) {
        return kStatusBadData;
    }
    unsigned char** planes = nullptr;
    // Sizes beyond int32 are refused by the frame-start check as bad data.
    const int32_t frameSize = size > 0x7FFFFFFFu ? -1 : static_cast<int32_t>(size);
    const int32_t status =
        decodePicture(s->decoder, data, frameSize, &planes, &s->yStride, &s->uvStride);
    if (status != kStatusOk) {
        return status;
    }
    if (planes != nullptr) {
        s->planes->y = planes[kPlaneY];
        s->planes->u = planes[kPlaneU];
        s->planes->v = planes[kPlaneV];
    }
    if (image != nullptr) {
        CreateBGRAFromYUV(s, image);  // a wrong image format only skips the conversion
    }
    return kStatusOk;
}

}  // namespace

int32_t DecompressFrame(void* session, const unsigned char* data, uint32_t size, QXImage_t* image) {
    return DecodeIntoSession(session, data, size, image,
                             [](void* decoder, const unsigned char* frame, int32_t frameSize,
                                unsigned char*** planes, int32_t* yStride, int32_t* uvStride) {
                                 return H263DecompressFrame(decoder, frame, frameSize, planes,
                                                            yStride, uvStride);
                             });
}

int32_t veltrane::DecompressSessionFrameRecordingMacroblocks(void* session,
                                                             const unsigned char* data,
                                                             uint32_t size, QXImage_t* image,
                                                             MacroblockRecord* records,
                                                             int32_t* recordCount) {
    *recordCount = 0;
    return DecodeIntoSession(session, data, size, image,
                             [&](void* decoder, const unsigned char* frame, int32_t frameSize,
                                 unsigned char*** planes, int32_t* yStride, int32_t* uvStride) {
                                 return DecompressFrameRecordingMacroblocks(
                                     decoder, frame, frameSize, planes, yStride, uvStride, records,
                                     recordCount);
                             });
}

void veltrane::DiscardSessionReaderError(void* session) {
    auto* s = static_cast<DecompressSession_t*>(session);
    if (s != nullptr) {
        GetLastFifoError(s->decoder->fifo);
    }
}

int32_t DecompressGetFrameAttributes(void* session, const unsigned char* data, uint32_t size,
                                     uint32_t* pictureType, uint32_t* width, uint32_t* height) {
    auto* s = static_cast<DecompressSession_t*>(session);
    if (s == nullptr) {
        return kStatusBadData;
    }
    return GetFrameAttributes(s->decoder, data, size, pictureType, width, height);
}

int32_t DecompressSetSettings(void* session, const DecompressSettings_t* settings) {
    auto* s = static_cast<DecompressSession_t*>(session);
    if (s == nullptr || settings == nullptr || settings->size != kSettingsSize) {
        return kStatusBadSettings;
    }
    return SetDeblockingMethod(s->decoder, settings->deblockingMethod);
}

int32_t DecompressGetSettings(void* session, DecompressSettings_t* settings) {
    auto* s = static_cast<DecompressSession_t*>(session);
    if (s == nullptr || settings == nullptr || settings->size != kSettingsSize) {
        return kStatusBadSettings;
    }
    return GetDeblockingMethod(s->decoder, &settings->deblockingMethod);
}

int32_t DecompressSetAlpha(void* session, void* alphaSession) {
    auto* s = static_cast<DecompressSession_t*>(session);
    auto* alpha = static_cast<DecompressSession_t*>(alphaSession);
    if (s == nullptr || alpha == nullptr) {
        return 0;
    }
    s->planes->alpha = alpha->planes->y;
    s->alphaStride = alpha->yStride;
    return 0;
}
