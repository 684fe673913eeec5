// Drives the plug-in path as a host does, from arbitrary bytes:
// RegisterComponents, the component factory, decompressor instances and their
// function tables. Shared by the libFuzzer target and the seed replay test.
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
//   layout) 9    destroy the instance and create a new one 10   the remaining
//   entries: codec subtype, key frame test, flush after seek
#ifndef VELTRANE_TESTS_FUZZ_PLUGIN_HARNESS_H
#define VELTRANE_TESTS_FUZZ_PLUGIN_HARNESS_H

#include <cstddef>
#include <cstdint>

namespace veltrane::fuzz {

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
