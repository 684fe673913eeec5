// Feeds arbitrary bytes to decoder sessions as a sequence of frames; shared by
// the libFuzzer target and the corpus replay test.
//
// Input layout: one configuration byte, then frames, each a 16-bit
// little-endian length followed by that many bytes (the last frame takes what
// is left). Configuration bits 0-1 choose the session size (16x16, 176x144,
// 33x17, 128x96); bit 2 adds an alpha session that decodes the same frames;
// bit 3 decodes without an output image; bit 4 makes the image bottom-up.
#ifndef VELTRANE_TESTS_FUZZ_FUZZ_HARNESS_H
#define VELTRANE_TESTS_FUZZ_FUZZ_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <functional>

namespace veltrane::fuzz {

struct HarnessResult {
    int decoded = 0;                // frames the colour session decoded with status 0
    size_t liveBlocks = 0;          // allocator blocks still live after closing
    int foreignFrees = 0;           // frees of blocks the allocator did not hand out
    bool unexpectedStatus = false;  // a status outside 0, 4, 12, 30
};

// Told of every frame the colour session was given, after its decode: the
// session, its size, and the BGRA image it decoded into (null without one).
// The session is null while no intra picture has been decoded since it opened:
// a picture predicted from its frame stores then shows memory nothing wrote.
using FrameObserver = std::function<void(int index, int32_t status, void* session, int32_t width,
                                         int32_t height, const uint32_t* image)>;

HarnessResult RunDecodeHarness(const uint8_t* data, size_t size,
                               const FrameObserver& observer = {});

}  // namespace veltrane::fuzz

#endif
