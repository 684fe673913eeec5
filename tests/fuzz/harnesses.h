// The two fuzzing harnesses, each shared by its libFuzzer target and the seed
// replay test (and the decode harness by the digest program).
//
// The decode harness feeds arbitrary bytes to decoder sessions as a sequence of
// frames.
//
// Input layout: one configuration byte, then frames, each a 16-bit
// little-endian length followed by that many bytes (the last frame takes what
// is left). Configuration bits 0-1 choose the session size (16x16, 176x144,
// 33x17, 128x96); bit 2 adds an alpha session that decodes the same frames;
// bit 3 decodes without an output image; bit 4 makes the image bottom-up.
#ifndef VELTRANE_TESTS_FUZZ_HARNESSES_H
#define VELTRANE_TESTS_FUZZ_HARNESSES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace veltrane::fuzz {

// An input, read front to back; reads past the end give 0.
struct Reader {
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
    bool done() const { return pos >= size; }
    uint8_t Byte() { return pos < size ? data[pos++] : 0; }
    // `length` bytes, or what is left.
    const uint8_t* Take(size_t& length) {
        length = std::min(length, size - pos);
        pos += length;
        return data + pos - length;
    }
};

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

// The plug-in harness drives the plug-in path as a host does, from arbitrary
// bytes: RegisterComponents, the component factory, decompressor instances and
// their function tables.
//
// Input layout: one configuration byte (bits 0-5: the allocation that fails,
// counted from 1, 0 for none), then operations. Each operation is an opcode
// byte followed by its operands:
//   0-3  decode a frame: length (2 bytes, little-endian), tag byte, post-filter
//        byte, a host byte (bit 0: the frame carries no tag; bit 1: decode into
//        a BGRA buffer of the size the host expects; bit 2: expect a wrong
//        size), then the frame; the last frame takes what is left
//   4    blit a 32-bit run, 5 one 32-bit pixel, 6 a 16-bit run, 7 one 16-bit
//        pixel: column, row, count and format bytes, taken inside the picture
//        the host was last told about by a decode that succeeded
//   8    frame dimensions of the next frame-decode operation's data (same
//        layout)
//   9    destroy the instance and create a new one
//   10   the remaining entries: codec subtype, key frame test, flush after seek
struct PluginHarnessResult {
    int decoded = 0;         // frames the instance reported done
    int blits = 0;           // blits inside a decoded picture
    size_t liveBlocks = 0;   // allocator blocks still live at the end
    int foreignFrees = 0;    // frees of blocks the allocator did not hand out
    bool badResult = false;  // an entry answered outside its defined results
};

PluginHarnessResult RunPluginHarness(const uint8_t* data, size_t size);

}  // namespace veltrane::fuzz

#endif
