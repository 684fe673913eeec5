// Picture buffers of the encoder: bordered frame stores laid out like the
// decoder's, and the source picture padded to the macroblock grid.
#ifndef VELTRANE_ENCODER_PLANES_H
#define VELTRANE_ENCODER_PLANES_H

#include <cstdint>
#include <vector>

#include "veltrane_encoder/encoder.h"

namespace veltrane::enc {

constexpr int kBorder = 16;

// One plane with a 16-sample border on every side, stride width + 32, the
// allocation 32-byte aligned so the origin lies 16 bytes past a 32-byte boundary.
class BorderedPlane {
public:
    void Allocate(int width, int height);
    uint8_t* origin() const { return origin_; }
    int stride() const { return stride_; }
    int width() const { return width_; }
    int height() const { return height_; }
    // Replicates the edge samples into the border, as the decoder does for its reference.
    void FillBorder();

private:
    std::vector<uint8_t> buffer_;
    uint8_t* origin_ = nullptr;
    int stride_ = 0;
    int width_ = 0;
    int height_ = 0;
};

// A frame store of the aligned picture size: luma alignedWidth x alignedHeight,
// chroma half that in both directions.
struct FrameStore {
    BorderedPlane y, u, v;
    unsigned char* planes[3] = {nullptr, nullptr, nullptr};  // y, u, v origins

    void Allocate(int alignedWidth, int alignedHeight);
    void FillBorders();
};

// The source picture at the aligned size, edges replicated into the padding.
struct PaddedSource {
    std::vector<uint8_t> y, u, v;
    int yStride = 0;   // alignedWidth
    int uvStride = 0;  // alignedWidth / 2

    void Allocate(int alignedWidth, int alignedHeight);
    // Copies a width x height picture (chroma (width+1)/2 x (height+1)/2) and
    // replicates its last column and row to the aligned size.
    void Load(const PlaneView& picture, int width, int height);
};

}  // namespace veltrane::enc

#endif
