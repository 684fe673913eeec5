// Writes the pictures that `veltrane encode --testsrc WxH:FRAMES` encodes as a
// Y4M file, the source that `veltrane analyze --source` measures PSNR against:
//   veltrane_test_pattern_y4m WxH:FRAMES OUT.y4m
#include <cstdio>

#include "test_pattern.h"
#include "y4m.h"

int main(int argc, char** argv) {
    using namespace veltrane::tools;
    Y4mHeader header;
    long frames = 0;
    if (argc != 3 ||
        std::sscanf(argv[1], "%dx%d:%ld", &header.width, &header.height, &frames) != 3) {
        std::fprintf(stderr, "usage: veltrane_test_pattern_y4m WxH:FRAMES OUT.y4m\n");
        return 2;
    }
    Y4mWriter writer;
    YuvPicture picture;
    std::string error;
    bool ok = writer.Open(argv[2], header, &error);
    for (long i = 0; ok && i < frames; ++i) {
        DrawTestPattern(header.width, header.height, static_cast<uint32_t>(i), &picture);
        ok = writer.WritePicture(picture, &error);
    }
    if (!ok || !writer.Close(&error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    return 0;
}
