// Writes the fuzzing seeds: short frame sequences made with the test stream
// writer, each covering a different part of the decoder, into the first
// directory given; host call sequences for the plug-in target into the second.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "support/host_frames.h"
#include "support/stream_builder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using veltrane::test::FieldsForSize;
using veltrane::test::FrameWriter;
using veltrane::test::Macroblock;
using veltrane::test::PictureFields;
using veltrane::test::RandomStream;

// `frames`, then random pictures of the given picture types (of type 3 the
// picture header alone).
std::vector<Bytes> Sequence(uint32_t seed, int w, int h, uint32_t version,
                            const std::vector<uint32_t>& types, std::vector<Bytes> frames = {}) {
    RandomStream random(seed);
    for (uint32_t type : types) {
        frames.push_back(random.Picture(FieldsForSize(w, h, type, 4 + seed % 20, version)));
    }
    return frames;
}

// Appends a frame-decode operation of the plug-in harness (harnesses.h).
void AddDecode(Bytes& input, const Bytes& frame, uint8_t tag, uint8_t postFilter, uint8_t host) {
    input.insert(input.end(), {0, static_cast<uint8_t>(frame.size() & 0xFF),
                               static_cast<uint8_t>(frame.size() >> 8), tag, postFilter, host});
    input.insert(input.end(), frame.begin(), frame.end());
}

bool WriteFile(const std::string& path, const Bytes& input) {
    return static_cast<bool>(std::ofstream(path, std::ios::binary)
                                 .write(reinterpret_cast<const char*>(input.data()),
                                        static_cast<std::streamsize>(input.size())));
}

// Frames in the decode harness's input layout (harnesses.h).
bool Write(const std::string& dir, const std::string& name, uint8_t config,
           const std::vector<Bytes>& frames) {
    Bytes input = {config};
    for (const Bytes& frame : frames) {
        input.insert(input.end(), {static_cast<uint8_t>(frame.size() & 0xFF),
                                   static_cast<uint8_t>(frame.size() >> 8)});
        input.insert(input.end(), frame.begin(), frame.end());
    }
    return WriteFile(dir + "/" + name, input);
}

// A host session: frames decoded through the plug-in, each followed by the
// blits of a run and a pixel of every kind.
Bytes HostSession(uint8_t config, const std::vector<Bytes>& frames, uint8_t host) {
    Bytes input = {config};
    uint8_t filter = 0;
    for (const Bytes& frame : frames) {
        AddDecode(input, frame, 0x21, filter, host);
        filter = static_cast<uint8_t>((filter + 2) & 0xF);
        for (uint8_t code = 4; code <= 7; ++code) {
            input.insert(input.end(), {code, static_cast<uint8_t>(37 * code), 200, 255, code});
        }
    }
    input.insert(input.end(), {10, 0, 0});
    return input;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s DECODE_SEED_DIRECTORY PLUGIN_SEED_DIRECTORY\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1], pluginDir = argv[2];
    bool ok = true;

    // 16x16: one-macroblock pictures of every type, with and without an image.
    ok &= Write(dir, "small_all_types", 0, Sequence(1, 16, 16, 0, {0, 1, 2, 1, 3, 1, 0, 2}));
    ok &= Write(dir, "small_no_image_alpha", 4 | 8, Sequence(2, 16, 16, 1, {0, 1, 1, 2, 1}));

    // 176x144 with an alpha session; 33x17 bottom-up in version 1.
    ok &= Write(dir, "qcif_inter", 1 | 4, Sequence(3, 176, 144, 0, {0, 1, 2, 1}));
    ok &= Write(dir, "odd_size_version1", 2 | 16, Sequence(4, 33, 17, 1, {0, 1, 1, 2, 1, 1}));

    // Size changes: a 16x16 session meets 128x96, then 8-bit and 16-bit sizes.
    const std::vector<Bytes> changes =
        Sequence(6, 40, 24, 1, {0, 1}, Sequence(5, 128, 96, 0, {0, 1}));
    ok &= Write(dir, "size_changes", 0, Sequence(7, 272, 20, 0, {0, 2}, changes));

    // Stuffing everywhere, frames cut short, a frame ending right after stuffing.
    {
        std::vector<Bytes> frames = Sequence(8, 33, 17, 0, {0});
        FrameWriter stuffed(FieldsForSize(33, 17, 1, 9));
        const Macroblock mb{.kind = Macroblock::kInter4V, .stuffing = 2};
        for (int i = 0; i < veltrane::test::MacroblockCount(33, 17); ++i) stuffed.Add(mb);
        frames.push_back(stuffed.Bytes());
        Bytes cut = Sequence(9, 33, 17, 1, {0, 1})[1];
        cut.resize(cut.size() / 2);
        frames.push_back(cut);
        PictureFields fields = FieldsForSize(33, 17, 1);
        fields.extra = {1, 2, 3, 4, 5};
        FrameWriter ending(fields);
        veltrane::test::PutStuffing(ending.bits(), true);
        frames.push_back(ending.Bytes());
        frames.push_back(Sequence(10, 33, 17, 0, {0})[0]);
        ok &= Write(dir, "stuffing_and_cuts", 2, frames);
    }

    // A 128x96 session fed bytes that are not a stream at all.
    {
        std::vector<Bytes> frames(4, Bytes{0x00, 0x00, 0x80});
        uint32_t x = 12345;
        for (Bytes& frame : frames) {
            for (int i = 0; i < 40; ++i) {
                x = x * 1103515245u + 12345u;
                frame.push_back(static_cast<uint8_t>(x >> 24));
            }
        }
        ok &= Write(dir, "noise", 3, frames);
    }
    // The plug-in: decodes into a buffer and blits, a size change that reopens
    // the session, untagged frames, a tag that marks no frame, a wrong expected
    // size, instances recreated, and runs where an allocation fails.
    {
        using veltrane::test::IntraFrame;
        using veltrane::test::SkipFrame;
        const veltrane::test::BlockDcs grey = {128, 128, 128, 128, 255, 255};
        const std::vector<Bytes> frames = {IntraFrame(128, 96, grey), SkipFrame(128, 96),
                                           IntraFrame(176, 144, grey), SkipFrame(176, 144, 2)};
        ok &= WriteFile(pluginDir + "/buffer_and_blits", HostSession(0, frames, 2));
        ok &= WriteFile(pluginDir + "/untagged_no_buffer", HostSession(0, frames, 1));
        Bytes odd = HostSession(0, Sequence(11, 33, 17, 1, {0, 1, 2}), 2);
        odd.insert(odd.end(), {9, 0});  // a new instance, then a tag that marks no frame
        AddDecode(odd, frames[0], 0x05, 0, 2);
        AddDecode(odd, frames[0], 0x21, 0, 2 | 4);  // a wrong expected size
        ok &= WriteFile(pluginDir + "/odd_sizes_and_refusals", odd);
        ok &= WriteFile(pluginDir + "/allocation_fails_in_open", HostSession(9, frames, 2));
        ok &= WriteFile(pluginDir + "/allocation_fails_in_reopen", HostSession(55, frames, 2));
        ok &= WriteFile(pluginDir + "/allocation_fails_at_start", HostSession(2, frames, 2));
    }
    return ok ? 0 : 1;
}
