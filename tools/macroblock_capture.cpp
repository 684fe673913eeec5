#include "macroblock_capture.h"

#include "veltrane/decoder.h"

namespace veltrane::tools {

void MacroblockCapture::Clear() {
    records.clear();
    columns = rows = 0;
    reached = YuvPicture{};
}

size_t MacroblockCapture::FirstDamaged() const {
    for (size_t i = 0; i < records.size(); ++i) {
        if (records[i].damaged) return i;
    }
    return records.size();
}

int32_t DecompressFrameCapturing(DecompressSession_t* session, const uint8_t* data, uint32_t size,
                                 QXImage_t* image, MacroblockCapture* capture) {
    const DecodeInstance_t* d = session->decoder;
    capture->Clear();
    capture->records.resize(static_cast<size_t>(d->mbCount));
    int32_t count = 0;
    const int32_t status = DecompressSessionFrameRecordingMacroblocks(
        session, data, size, image, capture->records.data(), &count);
    capture->records.resize(static_cast<size_t>(count));
    capture->columns = d->alignedWidth / 16;
    capture->rows = d->alignedHeight / 16;
    if (status != kStatusOk && count > 0) {
        // A failed picture stays in the store it was decoded into: current does not move.
        unsigned char* const* store = d->stores[d->current];
        capture->reached.CopyFrom(d->width, d->height, store[kPlaneY], store[kPlaneU],
                                  store[kPlaneV], d->yStride, d->uvStride);
    }
    return status;
}

}  // namespace veltrane::tools
