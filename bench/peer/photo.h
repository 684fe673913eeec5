// A photograph read from a JPEG or PNG file as 8-bit RGB.
#ifndef VELTRANE_BENCH_PEER_PHOTO_H
#define VELTRANE_BENCH_PEER_PHOTO_H

#include <cstdint>
#include <string>
#include <vector>

namespace veltrane::peer {

struct Photo {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;  // width x height pixels, R G B, rows packed
};

// Reads a JPEG or PNG file (told apart by its signature). On failure `error`
// names the file and says why.
bool LoadPhoto(const std::string& path, Photo* photo, std::string* error);

}  // namespace veltrane::peer

#endif
