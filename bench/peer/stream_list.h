// The benchmark's input: pairs of streams of the same content, ours in IVF and
// the peer's as an MPEG-2 elementary stream, listed one pair a line by
// make_streams.sh:
//   name width height frames target_bpp ours.ivf theirs.m2v source.y4m
#ifndef VELTRANE_BENCH_PEER_STREAM_LIST_H
#define VELTRANE_BENCH_PEER_STREAM_LIST_H

#include <cstdint>
#include <string>
#include <vector>

#include "yuv_picture.h"

namespace veltrane::peer {

struct StreamPair {
    std::string name;  // e.g. "cif"
    int width = 0;
    int height = 0;
    int frames = 0;        // pictures in the source sequence
    double targetBpp = 0;  // the rate asked for; the streams may differ (see make_streams.sh)
    std::string oursPath, theirsPath, sourcePath;
    std::vector<std::vector<uint8_t>> ourFrames;  // compressed frames, in order
    std::vector<uint8_t> theirStream;             // the whole MPEG-2 elementary stream

    size_t ourBytes() const;
    // Bits per pixel of a stream of `bytes` over this pair's pictures.
    double BitsPerPixel(size_t bytes) const;
};

// Parses the list; paths are used as written. On failure `error` names the
// file and line.
bool ParseStreamList(const std::string& path, std::vector<StreamPair>* pairs, std::string* error);
// Reads both streams of every pair into memory.
bool LoadStreams(std::vector<StreamPair>* pairs, std::string* error);
// Reads up to `limit` pictures of a Y4M file (all when limit is 0).
bool LoadPictures(const std::string& path, int limit, std::vector<tools::YuvPicture>* pictures,
                  std::string* error);

}  // namespace veltrane::peer

#endif
