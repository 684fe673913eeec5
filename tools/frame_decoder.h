// One decoder session for a stream of frames. It reopens the session whenever an
// intra frame announces another picture size, and clears what a failed frame
// leaves behind so that the next frame decodes on its own merits. Frames that
// need a reference picture are refused while the session has none, instead of
// being predicted from uninitialised frame stores. A damaged frame that
// announces another size never costs the session its reference picture.
#ifndef VELTRANE_TOOLS_FRAME_DECODER_H
#define VELTRANE_TOOLS_FRAME_DECODER_H

#include <cstdint>
#include <string>

#include "bgra_picture.h"
#include "macroblock_capture.h"
#include "veltrane/allocator.h"
#include "veltrane/session.h"
#include "yuv_picture.h"

namespace veltrane::tools {

// Statuses of the tool's own, beside the library's (all library codes are >= 0).
enum : int32_t {
    kStatusCannotOpen = -1,    // no session could be opened for the frame's size
    kStatusEmptyPicture = -2,  // the frame announces a width or height of 0
    kStatusNoReference = -3,   // an inter picture while no reference picture is held
};

// True for the picture sizes a session can be opened for (1 to
// VELTRANE_MAX_DIMENSION each way); the tool trusts no other size from a file.
bool IsDecodableSize(int64_t width, int64_t height);

// One line describing a status, e.g. "bad data (start code, version, size or code)".
std::string DescribeStatus(int32_t status);

class FrameDecoder {
public:
    explicit FrameDecoder(IAllocator* allocator) : allocator_(allocator) {}
    ~FrameDecoder();
    FrameDecoder(const FrameDecoder&) = delete;
    FrameDecoder& operator=(const FrameDecoder&) = delete;

    // Opens the first session. A size the library cannot open (such as 0 x 0 from a
    // container that does not know it) falls back to a small session, which the
    // first frame then resizes.
    bool Open(int width, int height);

    // From now on every frame's macroblocks are recorded into `capture` (cleared
    // for a frame that never reaches the decoder); null stops recording.
    void CaptureMacroblocks(MacroblockCapture* capture) { capture_ = capture; }

    // Decodes one frame; with an image, the picture is converted into it (the image
    // is resized to the picture). Returns 0 or the failing status.
    int32_t Decode(const uint8_t* data, uint32_t size, BgraPicture* image);

    // Converts the last decoded picture, with the alpha plane if one was set.
    int32_t Convert(BgraPicture* image);
    // Takes the alpha decoder's last picture as this session's alpha plane.
    void UseAlphaFrom(const FrameDecoder& alpha);
    // Copies the last decoded picture out of the decoder's frame store.
    void CopyPicture(YuvPicture* picture) const;

    DecompressSession_t* session() const { return session_; }
    bool hasPicture() const { return session_ != nullptr && session_->planes->y != nullptr; }
    int width() const { return session_ != nullptr ? session_->width : 0; }
    int height() const { return session_ != nullptr ? session_->height : 0; }
    // Picture type of the last frame decoded successfully (0 I, 1 P, 2 disposable, 3 empty).
    uint32_t pictureType() const { return pictureType_; }
    // Sessions opened after the first one, one per size change.
    int reopenCount() const { return reopenCount_; }
    // The size that the last frame announced when it could not be opened or was empty.
    const std::string& refusedSize() const { return refusedSize_; }

private:
    int32_t DecodeOnce(const uint8_t* data, uint32_t size, BgraPicture* image);
    // Decodes an intra frame of another size in a session opened for it; the new
    // session replaces the old one only when the frame decodes.
    int32_t DecodeInNewSession(const uint8_t* data, uint32_t size, uint32_t pictureType,
                               BgraPicture* image);

    IAllocator* allocator_;
    DecompressSession_t* session_ = nullptr;
    uint32_t pictureType_ = 0;
    bool hasReference_ = false;  // an intra picture was decoded since the session opened
    int reopenCount_ = 0;
    std::string refusedSize_;
    MacroblockCapture* capture_ = nullptr;
};

}  // namespace veltrane::tools

#endif
