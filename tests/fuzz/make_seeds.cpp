// Writes the fuzzing seeds into the directory given as the only argument:
// short frame sequences made with the test stream writer, each covering a
// different part of the decoder.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz/fuzz_harness.h"
#include "support/stream_builder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using veltrane::test::FieldsForSize;
using veltrane::test::FrameWriter;
using veltrane::test::Macroblock;
using veltrane::test::PictureFields;
using veltrane::test::RandomStream;

int MbCount(int w, int h) { return ((w + 15) / 16) * ((h + 15) / 16); }

// An intra picture followed by P pictures of the given types.
std::vector<Bytes> Sequence(uint32_t seed, int w, int h, uint32_t version,
                            const std::vector<uint32_t>& types) {
    RandomStream random(seed);
    std::vector<Bytes> frames;
    for (uint32_t type : types) {
        frames.push_back(
            random.Picture(FieldsForSize(w, h, type, 4 + seed % 20, version), MbCount(w, h)));
    }
    return frames;
}

bool Write(const std::string& dir, const std::string& name, uint8_t config,
           const std::vector<Bytes>& frames) {
    const Bytes input = veltrane::fuzz::MakeHarnessInput(config, frames);
    std::ofstream file(dir + "/" + name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(input.data()),
               static_cast<std::streamsize>(input.size()));
    return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_DIRECTORY\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    bool ok = true;

    // 16x16: one-macroblock pictures of every type, with and without an image.
    ok &= Write(dir, "small_all_types", 0, Sequence(1, 16, 16, 0, {0, 1, 2, 1, 3, 1, 0, 2}));
    ok &= Write(dir, "small_no_image_alpha", 4 | 8, Sequence(2, 16, 16, 1, {0, 1, 1, 2, 1}));

    // 176x144 with an alpha session; 33x17 bottom-up in version 1.
    ok &= Write(dir, "qcif_inter", 1 | 4, Sequence(3, 176, 144, 0, {0, 1, 2, 1}));
    ok &= Write(dir, "odd_size_version1", 2 | 16, Sequence(4, 33, 17, 1, {0, 1, 1, 2, 1, 1}));

    // Size changes: a 16x16 session meets 128x96, then 8-bit and 16-bit sizes.
    {
        std::vector<Bytes> frames = Sequence(5, 128, 96, 0, {0, 1});
        for (Bytes& f : Sequence(6, 40, 24, 1, {0, 1})) frames.push_back(f);
        for (Bytes& f : Sequence(7, 272, 20, 0, {0, 2})) frames.push_back(f);
        ok &= Write(dir, "size_changes", 0, frames);
    }

    // Stuffing everywhere, frames cut short, a frame ending right after stuffing.
    {
        std::vector<Bytes> frames = Sequence(8, 33, 17, 0, {0});
        FrameWriter stuffed(FieldsForSize(33, 17, 1, 9));
        Macroblock mb;
        mb.kind = Macroblock::kInter4V;
        mb.stuffing = 2;
        for (int i = 0; i < MbCount(33, 17); ++i) stuffed.Add(mb);
        frames.push_back(stuffed.Bytes());
        Bytes cut = Sequence(9, 33, 17, 1, {0, 1})[1];
        cut.resize(cut.size() / 2);
        frames.push_back(cut);
        PictureFields fields = FieldsForSize(33, 17, 1);
        fields.extra = {1, 2, 3, 4, 5};
        FrameWriter ending(fields);
        ending.bits().Put(0, 1).Code(veltrane::McbpcInterCodes, veltrane::kMcbpcInterStuffing);
        frames.push_back(ending.Bytes());
        frames.push_back(Sequence(10, 33, 17, 0, {0})[0]);
        ok &= Write(dir, "stuffing_and_cuts", 2, frames);
    }

    // A 128x96 session fed bytes that are not a stream at all.
    {
        std::vector<Bytes> frames;
        uint32_t x = 12345;
        for (int f = 0; f < 4; ++f) {
            Bytes frame = {0x00, 0x00, 0x80};
            for (int i = 0; i < 40; ++i) {
                x = x * 1103515245u + 12345u;
                frame.push_back(static_cast<uint8_t>(x >> 24));
            }
            frames.push_back(frame);
        }
        ok &= Write(dir, "noise", 3, frames);
    }
    return ok ? 0 : 1;
}
