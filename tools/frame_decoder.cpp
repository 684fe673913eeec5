#include "frame_decoder.h"

#include "core/picture_decoder.h"
#include "veltrane/color.h"
#include "veltrane/decoder.h"

namespace veltrane::tools {

namespace {
constexpr int kFallbackSize = 16;
constexpr uint32_t kIntraPicture = 0;
}  // namespace

bool IsDecodableSize(int64_t width, int64_t height) {
    return width > 0 && height > 0 && width <= VELTRANE_MAX_DIMENSION &&
           height <= VELTRANE_MAX_DIMENSION;
}

std::string DescribeStatus(int32_t status) {
    switch (status) {
        case kStatusOk:
            return "ok";
        case kStatusOutOfData:
            return "frame data ends inside a field or code (status 4)";
        case kStatusBadData:
            return "invalid data: start code, version, picture size or a code (status 12)";
        case kStatusSizeChanged:
            return "picture size differs from the session's (status 30)";
        case kStatusBadMacroblockType:
            return "macroblock type out of range (status 44)";
        case kStatusBadImageFormat:
            return "output image format refused (status 50)";
        case kStatusCannotOpen:
            return "no decoder can be opened for the picture size";
        case kStatusEmptyPicture:
            return "the frame announces an empty picture";
        case kStatusNoReference:
            return "inter picture without a reference picture of its size";
        default:
            return "decoder status " + std::to_string(status);
    }
}

FrameDecoder::~FrameDecoder() { DecompressClose(session_); }

bool FrameDecoder::Open(int width, int height) {
    DecompressClose(session_);
    if (!IsDecodableSize(width, height)) {
        width = height = kFallbackSize;
    }
    session_ = static_cast<DecompressSession_t*>(DecompressOpen(width, height, allocator_));
    hasReference_ = false;
    return session_ != nullptr;
}

int32_t FrameDecoder::DecodeOnce(const uint8_t* data, uint32_t size, BgraPicture* image) {
    QXImage_t qx{};
    if (image != nullptr) {
        if (image->width != session_->width || image->height != session_->height) {
            image->Resize(session_->width, session_->height);
        }
        qx = image->Describe();
    }
    QXImage_t* out = image != nullptr ? &qx : nullptr;
    if (capture_ != nullptr) return DecompressFrameCapturing(session_, data, size, out, capture_);
    return DecompressFrame(session_, data, size, out);
}

int32_t FrameDecoder::DecodeInNewSession(const uint8_t* data, uint32_t size, uint32_t pictureType,
                                         BgraPicture* image) {
    uint32_t width = 0, height = 0;
    int32_t status = DecompressGetFrameAttributes(session_, data, size, nullptr, &width, &height);
    DiscardSessionReaderError(session_);
    if (status != kStatusOk) {
        return status;
    }
    refusedSize_ = std::to_string(width) + "x" + std::to_string(height);
    if (width == 0 || height == 0) {
        return kStatusEmptyPicture;
    }
    if (pictureType != kIntraPicture) {
        return kStatusNoReference;  // a new session would have nothing to predict from
    }
    if (!IsDecodableSize(width, height)) {
        return kStatusCannotOpen;
    }
    auto* fresh = static_cast<DecompressSession_t*>(
        DecompressOpen(static_cast<int32_t>(width), static_cast<int32_t>(height), allocator_));
    if (fresh == nullptr) {
        return kStatusCannotOpen;
    }
    // The old session, with its reference picture, stays until the frame has decoded.
    DecompressSession_t* old = session_;
    session_ = fresh;
    status = DecodeOnce(data, size, image);
    if (status != kStatusOk) {
        DecompressClose(fresh);
        session_ = old;
        return status;
    }
    DecompressClose(old);
    ++reopenCount_;
    return kStatusOk;
}

int32_t FrameDecoder::Decode(const uint8_t* data, uint32_t size, BgraPicture* image) {
    if (capture_ != nullptr) capture_->Clear();
    if (session_ == nullptr) {
        return kStatusCannotOpen;
    }
    uint32_t type = 0;
    int32_t status = DecompressGetFrameAttributes(session_, data, size, &type, nullptr, nullptr);
    // A header cut short leaves a reader error behind; the decode reports it itself.
    DiscardSessionReaderError(session_);
    if (status != kStatusOk) {
        return status;
    }
    if (type != kIntraPicture && !hasReference_) {
        return kStatusNoReference;
    }
    status = DecodeOnce(data, size, image);
    if (status == kStatusSizeChanged) {
        status = DecodeInNewSession(data, size, type, image);
    }
    if (status != kStatusOk) {
        DiscardSessionReaderError(session_);
        return status;
    }
    pictureType_ = type;
    hasReference_ = hasReference_ || type == kIntraPicture;
    return kStatusOk;
}

int32_t FrameDecoder::Convert(BgraPicture* image) {
    if (image->width != width() || image->height != height()) {
        image->Resize(width(), height());
    }
    QXImage_t qx = image->Describe();
    return CreateBGRAFromYUV(session_, &qx);
}

void FrameDecoder::UseAlphaFrom(const FrameDecoder& alpha) {
    DecompressSetAlpha(session_, alpha.session_);
}

void FrameDecoder::CopyPicture(YuvPicture* picture) const {
    const DecompressPlanes_t* planes = session_->planes;
    picture->CopyFrom(session_->width, session_->height, planes->y, planes->u, planes->v,
                      session_->yStride, session_->uvStride);
}

}  // namespace veltrane::tools
