// A planar 4:2:0 picture with 8-bit samples, owned by the tool. Chroma planes
// are (width + 1) / 2 by (height + 1) / 2; rows are packed without padding.
#ifndef VELTRANE_TOOLS_YUV_PICTURE_H
#define VELTRANE_TOOLS_YUV_PICTURE_H

#include <cstdint>
#include <cstdio>
#include <vector>

namespace veltrane::tools {

struct YuvPicture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> y, u, v;

    int chromaWidth() const { return (width + 1) / 2; }
    int chromaHeight() const { return (height + 1) / 2; }
    // Sizes the planes for width x height (contents unspecified).
    void Resize(int newWidth, int newHeight);
    // Sizes the planes and fills them with video-range black.
    void MakeBlack(int newWidth, int newHeight);
    // Copies width x height samples out of strided planes (a decoder's frame store).
    void CopyFrom(int newWidth, int newHeight, const uint8_t* yPlane, const uint8_t* uPlane,
                  const uint8_t* vPlane, int yStride, int uvStride);
};

// Writes the Y, U and V planes one after the other, as I420 files and Y4M
// pictures hold them. False on a write error.
bool WriteYuvPlanes(std::FILE* file, const YuvPicture& picture);

}  // namespace veltrane::tools

#endif
