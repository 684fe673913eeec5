// A decoded 4:2:0 picture as a decoder hands it out: three planes it owns,
// valid until its next picture.
#ifndef VELTRANE_BENCH_PEER_PLANAR_PICTURE_H
#define VELTRANE_BENCH_PEER_PLANAR_PICTURE_H

#include <cstdint>
#include <functional>

namespace veltrane::peer {

struct PlanarPicture {
    const uint8_t* y = nullptr;
    const uint8_t* u = nullptr;
    const uint8_t* v = nullptr;
    int yStride = 0;
    int uvStride = 0;
    int width = 0;
    int height = 0;
};

using PictureVisitor = std::function<void(const PlanarPicture&)>;

}  // namespace veltrane::peer

#endif
