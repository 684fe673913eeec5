// The decoder's own account of the macroblocks of a frame, for the tool's views
// of a stream (info --mb, analyze): one record per macroblock the decoding loop
// reached, and for a frame that failed inside its macroblocks, the picture the
// decoder had written by then.
#ifndef VELTRANE_TOOLS_MACROBLOCK_CAPTURE_H
#define VELTRANE_TOOLS_MACROBLOCK_CAPTURE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/picture_decoder.h"
#include "veltrane/session.h"
#include "yuv_picture.h"

namespace veltrane::tools {

struct MacroblockCapture {
    std::vector<MacroblockRecord> records;  // raster order; fewer than the grid only after 44
    int columns = 0;                        // the macroblock grid of the records' picture
    int rows = 0;
    YuvPicture reached;  // empty unless the last frame failed after its macroblocks began

    void Clear();
    // Index of the first record the reader's error reached, or records.size().
    size_t FirstDamaged() const;
};

// DecompressFrame of the session, filling `capture` as it decodes.
int32_t DecompressFrameCapturing(DecompressSession_t* session, const uint8_t* data, uint32_t size,
                                 QXImage_t* image, MacroblockCapture* capture);

}  // namespace veltrane::tools

#endif
