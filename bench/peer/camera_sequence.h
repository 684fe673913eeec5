// Video from one photograph as a camera would film it: a slow pan with a little
// hand-held wobble and a slow zoom in, all in sub-pixel steps, with fresh sensor
// noise in every picture.
#ifndef VELTRANE_BENCH_PEER_CAMERA_SEQUENCE_H
#define VELTRANE_BENCH_PEER_CAMERA_SEQUENCE_H

#include <cstdint>
#include <vector>

#include "photo.h"
#include "yuv_picture.h"

namespace veltrane::peer {

struct CameraSettings {
    int width = 352;  // output picture size, even
    int height = 288;
    int frames = 100;        // the path spans this many pictures
    double zoomEnd = 1.12;   // magnification reached at the last picture
    double lumaNoise = 1.0;  // standard deviation of the sensor noise, in sample levels
    double chromaNoise = 0.7;
    uint64_t seed = 1;
};

// A single-channel float image.
struct FloatPlane {
    int width = 0;
    int height = 0;
    std::vector<float> samples;
    float at(int x, int y) const { return samples[static_cast<size_t>(y) * width + x]; }
};

class CameraSequence {
public:
    // The photo is scaled down (area filter) so that the first view covers about
    // two thirds of it, leaving room for the pan. False when the photo is too
    // small for the output size without enlarging it.
    bool Prepare(const Photo& photo, const CameraSettings& settings);
    // Renders picture `index` (0 .. frames - 1) into `picture`.
    void Render(int index, tools::YuvPicture* picture);

private:
    struct View {
        double centerX, centerY, zoom;  // in working-image luma samples
    };
    View ViewAt(int index) const;
    void RenderPlane(const FloatPlane& source, double scale, const View& view, int width,
                     int height, double noise, uint8_t* out);
    double NextGaussian();

    CameraSettings settings_;
    FloatPlane y_, cb_, cr_;  // chroma at half the working resolution
    uint64_t random_ = 0;
};

// Scales `source` to `width` x `height` by averaging the area each output
// sample covers (for reductions).
FloatPlane ResampleArea(const FloatPlane& source, int width, int height);

}  // namespace veltrane::peer

#endif
