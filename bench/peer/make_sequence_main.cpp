// veltrane_make_sequence: natural test video for the peer benchmark. Films a
// photograph with a slow camera pan and zoom and writes the pictures as Y4M.
//
//   veltrane_make_sequence PHOTO --size WxH [--frames N] [--seed S] [--noise SIGMA] -o OUT.y4m
#include <cstdio>
#include <cstdlib>
#include <string>

#include "camera_sequence.h"
#include "photo.h"
#include "y4m.h"

namespace {

constexpr char kUsage[] =
    "Usage: veltrane_make_sequence PHOTO --size WxH [--frames N] [--seed S] [--noise SIGMA]\n"
    "                              -o OUT.y4m\n"
    "Films PHOTO (JPEG or PNG) with a slow pan and zoom and light sensor noise, 25 pictures/s.\n"
    "  --frames N     pictures (default 100)\n"
    "  --seed S       of the noise (default 1)\n"
    "  --noise SIGMA  luma noise in levels (default 1; chroma gets 0.7 of it)\n";

int UsageError(const std::string& message) {
    std::fprintf(stderr, "veltrane_make_sequence: %s\n%s", message.c_str(), kUsage);
    return 2;
}

bool ParseInt(const std::string& text, int low, int high, int* value) {
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || parsed < low || parsed > high) return false;
    *value = static_cast<int>(parsed);
    return true;
}

bool ParseSize(const std::string& text, int* width, int* height) {
    const size_t x = text.find('x');
    return x != std::string::npos && ParseInt(text.substr(0, x), 16, 4096, width) &&
           ParseInt(text.substr(x + 1), 16, 4096, height) && *width % 2 == 0 && *height % 2 == 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string photoPath, outPath;
    veltrane::peer::CameraSettings settings;
    bool sized = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--size" && hasValue) {
            if (!ParseSize(argv[++i], &settings.width, &settings.height))
                return UsageError("--size: expected WxH, even, 16 to 4096");
            sized = true;
        } else if (arg == "--frames" && hasValue) {
            if (!ParseInt(argv[++i], 1, 100000, &settings.frames))
                return UsageError("--frames: expected 1 to 100000");
        } else if (arg == "--seed" && hasValue) {
            int seed = 0;
            if (!ParseInt(argv[++i], 0, 1 << 30, &seed))
                return UsageError("--seed: expected a number");
            settings.seed = static_cast<uint64_t>(seed);
        } else if (arg == "--noise" && hasValue) {
            char* end = nullptr;
            const double sigma = std::strtod(argv[++i], &end);
            if (*end != '\0' || !(sigma >= 0 && sigma <= 50))
                return UsageError("--noise: expected 0 to 50");
            settings.lumaNoise = sigma;
            settings.chromaNoise = 0.7 * sigma;
        } else if ((arg == "-o" || arg == "--output") && hasValue) {
            outPath = argv[++i];
        } else if (!arg.empty() && arg[0] == '-') {
            return UsageError("unknown option or missing value: '" + arg + "'");
        } else if (photoPath.empty()) {
            photoPath = arg;
        } else {
            return UsageError("more than one photo: '" + arg + "'");
        }
    }
    if (photoPath.empty() || outPath.empty() || !sized)
        return UsageError("PHOTO, --size and -o are required");

    std::string error;
    veltrane::peer::Photo photo;
    if (!veltrane::peer::LoadPhoto(photoPath, &photo, &error)) {
        std::fprintf(stderr, "veltrane_make_sequence: %s\n", error.c_str());
        return 1;
    }
    veltrane::peer::CameraSequence camera;
    if (!camera.Prepare(photo, settings)) {
        std::fprintf(stderr, "veltrane_make_sequence: %s: %dx%d is too small to film at %dx%d\n",
                     photoPath.c_str(), photo.width, photo.height, settings.width, settings.height);
        return 1;
    }
    veltrane::tools::Y4mHeader header;
    header.width = settings.width;
    header.height = settings.height;
    veltrane::tools::Y4mWriter writer;
    if (!writer.Open(outPath, header, &error)) {
        std::fprintf(stderr, "veltrane_make_sequence: %s\n", error.c_str());
        return 1;
    }
    veltrane::tools::YuvPicture picture;
    for (int i = 0; i < settings.frames; ++i) {
        camera.Render(i, &picture);
        if (!writer.WritePicture(picture, &error)) {
            std::fprintf(stderr, "veltrane_make_sequence: %s\n", error.c_str());
            return 1;
        }
    }
    if (!writer.Close(&error)) {
        std::fprintf(stderr, "veltrane_make_sequence: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
