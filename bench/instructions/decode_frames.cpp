// Decodes the first N pictures of an IVF stream, optionally converting each
// into a BGRA image: the program whose executed instructions
// scripts/count-armhf.sh counts under qemu-arm. The whole file is read before
// the first picture, so runs of N and M pictures differ only in decoding.
//
// Usage: veltrane_decode_frames [--bgra] [--frames N] IN.ivf
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/session.h"

namespace {

uint32_t ReadLe(const unsigned char* p, int bytes) {
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | p[i];
    return value;
}

int Fail(const std::string& file, const std::string& what) {
    std::fprintf(stderr, "veltrane_decode_frames: %s: %s\n", file.c_str(), what.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    bool bgra = false;
    long frames = -1;
    std::string path;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--bgra") == 0) {
            bgra = true;
        } else if (std::strcmp(argv[i], "--frames") == 0 && i + 1 < argc) {
            frames = std::strtol(argv[++i], nullptr, 10);
        } else if (argv[i][0] != '-' && path.empty()) {
            path = argv[i];
        } else {
            path.clear();
            break;
        }
    }
    if (path.empty()) {
        std::fprintf(stderr, "usage: veltrane_decode_frames [--bgra] [--frames N] IN.ivf\n");
        return 2;
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return Fail(path, "cannot open");
    std::vector<unsigned char> data;
    unsigned char chunk[65536];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, file)) > 0;) {
        data.insert(data.end(), chunk, chunk + n);
    }
    std::fclose(file);
    if (data.size() < 32 || std::memcmp(data.data(), "DKIF", 4) != 0 ||
        std::memcmp(data.data() + 8, "VLTR", 4) != 0) {
        return Fail(path, "not an IVF file of this format");
    }
    const auto width = static_cast<int32_t>(ReadLe(&data[12], 2));
    const auto height = static_cast<int32_t>(ReadLe(&data[14], 2));
    veltrane::test::TestAllocator allocator;
    void* session = DecompressOpen(width, height, &allocator);
    if (session == nullptr) return Fail(path, "cannot open a decoder of the header's size");
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    QXImage_t image{kQXImageFormatBGRA32,
                    width,
                    height,
                    0,
                    width * 4,
                    reinterpret_cast<unsigned char*>(pixels.data())};
    size_t pos = 32;
    long decoded = 0;
    int status = 0;
    for (long index = 0; (frames < 0 || index < frames) && pos < data.size(); ++index) {
        if (data.size() - pos < 12) {
            status = Fail(path, "frame " + std::to_string(index) + ": frame header cut off");
            break;
        }
        const uint32_t size = ReadLe(&data[pos], 4);
        pos += 12;
        if (size > data.size() - pos) {
            status = Fail(path, "frame " + std::to_string(index) + ": frame cut off");
            break;
        }
        const int32_t result = DecompressFrame(session, &data[pos], size, bgra ? &image : nullptr);
        pos += size;
        if (result != 0) {
            status =
                Fail(path, "frame " + std::to_string(index) + ": status " + std::to_string(result));
            break;
        }
        ++decoded;
    }
    DecompressClose(session);
    std::printf("%ld pictures%s\n", decoded, bgra ? " with BGRA" : "");
    return status;
}
