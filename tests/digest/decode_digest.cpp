// Prints one line per decoded picture: a digest of its planes, of its BGRA
// image and of a row through every blit, for the fuzzing seeds (replayed by the
// fuzz harness) and for streams the reference encoder makes from the test
// sequence, each decoded as colour and once more with itself as alpha. Two
// builds whose outputs are identical decode every one of those pictures bit for
// bit alike: the test command compares a native run with one under emulation.
//
// Usage: veltrane_digest CORPUS_DIR
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "fuzz/harnesses.h"
#include "support/test_allocator.h"
#include "support/test_sequence.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace {

// 64-bit FNV-1a of `rows` rows of `width` bytes.
using Hash = unsigned long long;  // what %llx prints on every target
Hash Fnv(Hash hash, const void* data, size_t width, int rows = 1, ptrdiff_t stride = 0) {
    for (int r = 0; r < rows; ++r) {
        const auto* p = static_cast<const unsigned char*>(data) + r * stride;
        for (size_t i = 0; i < width; ++i) hash = (hash ^ p[i]) * 0x100000001B3ull;
    }
    return hash;
}
constexpr Hash kFnvStart = 0xCBF29CE484222325ull;

// Digests of the decoded planes (the macroblock-aligned area), the image, and
// row `index` of the picture through the 32- and 16-bit blits.
void PrintPicture(void* session, int width, int height, const uint32_t* pixels, int index) {
    const auto* s = static_cast<const DecompressSession_t*>(session);
    const size_t w = (width + 15) & ~15;
    const int h = (height + 15) & ~15;
    const Hash y = Fnv(kFnvStart, s->planes->y, w, h, s->yStride);
    const Hash u = Fnv(kFnvStart, s->planes->u, w / 2, h / 2, s->uvStride);
    const Hash v = Fnv(kFnvStart, s->planes->v, w / 2, h / 2, s->uvStride);
    Hash image = kFnvStart, blits = kFnvStart;
    if (pixels != nullptr) image = Fnv(image, pixels, size_t(width) * height * sizeof(uint32_t));
    std::vector<uint32_t> run32(static_cast<size_t>(width));
    std::vector<uint16_t> run16(static_cast<size_t>(width));
    for (int first = 0; first < 2 && first < width; ++first) {
        BlitYUVto32(session, first, index % height, width - first, run32.data());
        blits = Fnv(blits, run32.data(), (width - first) * sizeof(uint32_t));
        for (int f = ePixelFormatRGB555; f <= ePixelFormatARGB4444; ++f) {
            BlitYUVto16(session, first, index % height, width - first, run16.data(),
                        static_cast<EPixelFormat>(f));
            blits = Fnv(blits, run16.data(), (width - first) * sizeof(uint16_t));
        }
    }
    std::printf(" Y %016llx U %016llx V %016llx bgra %016llx blits %016llx", y, u, v, image, blits);
}

// One line per frame of a seed; a picture predicted from stores that no intra
// picture filled shows memory nothing wrote, so it has no digest.
void ReplayCorpus(const std::filesystem::path& directory) {
    std::set<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.is_regular_file()) seeds.insert(entry.path());
    }
    for (const auto& path : seeds) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
        const std::string seed = path.filename().string();
        veltrane::fuzz::RunDecodeHarness(
            bytes.data(), bytes.size(),
            [&](int index, int32_t status, void* session, int32_t w, int32_t h,
                const uint32_t* image) {
                std::printf("seed %s frame %d %dx%d status %d", seed.c_str(), index, w, h, status);
                if (status == 0 && session == nullptr) std::printf(" before any intra picture");
                if (status == 0 && session != nullptr && w > 0 && h > 0) {
                    PrintPicture(session, w, h, image, index);
                }
                std::printf("\n");
            });
    }
}

// Quantisers from 1 (large coefficients, blocks beyond the 16-bit transform's
// bound) to 31, both format versions, odd sizes, four-vector macroblocks.
struct StreamCase {
    const char* name;
    int width, height, version, quantiser;
    bool disposable, fourVector;
    int frames;
};
constexpr StreamCase kStreams[] = {
    {"qcif_q1_v1", 176, 144, 1, 1, false, true, 4},
    {"qcif_q4", 176, 144, 0, 4, true, true, 8},
    {"qcif_q12_v1", 176, 144, 1, 12, false, true, 8},
    {"qcif_q31_1mv", 176, 144, 0, 31, false, false, 6},
    {"odd_33x17_q6", 33, 17, 1, 6, true, true, 6},
    {"odd_70x50_q3", 70, 50, 0, 3, false, true, 6},
    {"cif_q8", 352, 288, 0, 8, false, true, 4},
};

void EncodeAndDecode(const StreamCase& sc) {
    veltrane::enc::Encoder encoder({.width = sc.width,
                                    .height = sc.height,
                                    .version = sc.version,
                                    .gopLength = 5,
                                    .disposable = sc.disposable,
                                    .quantiser = sc.quantiser,
                                    .fourVector = sc.fourVector,
                                    .searchRange = 4});
    if (!encoder.ok()) {
        std::printf("stream %s: the encoder refused the configuration\n", sc.name);
        return;
    }
    veltrane::test::TestSequence sequence(sc.width, sc.height);
    veltrane::test::TestAllocator allocator;
    // Colour, an alpha session over the same stream, and colour with that alpha.
    void* sessions[3];
    for (void*& s : sessions) s = DecompressOpen(sc.width, sc.height, &allocator);
    std::vector<uint32_t> pixels(size_t(sc.width) * sc.height);
    auto* buffer = reinterpret_cast<unsigned char*>(pixels.data());
    QXImage_t image{kQXImageFormatBGRA32, sc.width, sc.height, 0, sc.width * 4, buffer};
    for (int t = 0; t < sc.frames; ++t) {
        veltrane::enc::EncodedFrame frame;
        encoder.EncodeFrame(sequence.Frame(t), &frame);
        const Hash bytes = Fnv(kFnvStart, frame.data.data(), frame.data.size());
        const auto size = static_cast<uint32_t>(frame.data.size());
        for (int k : {0, 2}) {
            if (k == 2) {
                DecompressFrame(sessions[1], frame.data.data(), size, nullptr);
                DecompressSetAlpha(sessions[2], sessions[1]);
            }
            image.bottomUp = k == 2 ? 1 : 0;
            const int32_t status = DecompressFrame(sessions[k], frame.data.data(), size, &image);
            std::printf("stream %s frame %d%s bytes %zu %016llx status %d", sc.name, t,
                        k == 2 ? " with alpha" : "", frame.data.size(), bytes, status);
            if (status == 0)
                PrintPicture(sessions[k], sc.width, sc.height, pixels.data(), t + k / 2);
            std::printf("\n");
        }
    }
    for (void* s : sessions) DecompressClose(s);
}

}  // namespace

int main(int argc, char** argv) {
    std::error_code error;
    if (argc != 2 || !std::filesystem::is_directory(argv[1], error)) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    ReplayCorpus(argv[1]);
    for (const StreamCase& sc : kStreams) EncodeAndDecode(sc);
    return 0;
}
