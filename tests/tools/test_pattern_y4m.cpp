// Writes the pictures that `veltrane encode --testsrc WxH:FRAMES` encodes as a
// Y4M file, the source that `veltrane analyze --source` measures PSNR against:
//   veltrane_test_pattern_y4m WxH:FRAMES OUT.y4m
#include <cstdio>
#include <cstdlib>
#include <string>

#include "command_line.h"
#include "test_pattern.h"
#include "y4m.h"

int main(int argc, char** argv) {
    using namespace veltrane::tools;
    const std::string sizeAndFrames = argc == 3 ? argv[1] : "";
    const size_t colon = sizeAndFrames.find(':');
    Y4mHeader header;
    if (colon == std::string::npos ||
        !ParseSize(sizeAndFrames.substr(0, colon), &header.width, &header.height)) {
        std::fprintf(stderr, "usage: veltrane_test_pattern_y4m WxH:FRAMES OUT.y4m\n");
        return 2;
    }
    const long frames = std::strtol(sizeAndFrames.c_str() + colon + 1, nullptr, 10);
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
