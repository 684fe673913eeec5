#include "veltrane_decoding.h"

namespace veltrane::peer {

OurDecodeResult DecodeOurStream(const std::vector<std::vector<uint8_t>>& frames, int width,
                                int height, IAllocator* allocator, QXImage_t* image,
                                const PictureVisitor* visit) {
    OurDecodeResult result;
    void* session = DecompressOpen(width, height, allocator);
    if (!session) return result;
    result.opened = true;
    for (const auto& frame : frames) {
        const int32_t status =
            DecompressFrame(session, frame.data(), static_cast<uint32_t>(frame.size()), image);
        if (status != 0) {
            if (result.failed++ == 0) result.firstError = status;
            continue;
        }
        ++result.decoded;
        if (visit) {
            const auto* record = static_cast<const DecompressSession_t*>(session);
            (*visit)({record->planes->y, record->planes->u, record->planes->v, record->yStride,
                      record->uvStride, width, height});
        }
    }
    DecompressClose(session);
    return result;
}

}  // namespace veltrane::peer
