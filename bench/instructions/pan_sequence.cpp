// Makes a natural test sequence from one photograph: a window of WxH pans
// across the picture at a slow, non-integer speed (as a camera would, so that
// the encoder finds half-sample vectors), converted to BT.601 video-range
// YUV 4:2:0 and written as a YUV4MPEG2 stream.
//
// Usage: veltrane_pan_sequence IN.ppm WIDTH HEIGHT FRAMES OUT.y4m
// IN.ppm is a binary PPM (P6, 8 bits), e.g. from djpeg.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Image {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;
};

int Fail(const std::string& what) {
    std::fprintf(stderr, "veltrane_pan_sequence: %s\n", what.c_str());
    return 1;
}

bool ReadPpm(const char* path, Image* image) {
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return false;
    int maxValue = 0;
    const bool header =
        std::fscanf(file, "P6 %d %d %d", &image->width, &image->height, &maxValue) == 3 &&
        std::fgetc(file) != EOF;
    bool sane = header && maxValue == 255 && image->width > 0 && image->height > 0 &&
                image->width <= 16384 && image->height <= 16384;
    // The pixels must be in the file before anything is allocated for them.
    if (sane) {
        const long start = std::ftell(file);
        sane = start >= 0 && std::fseek(file, 0, SEEK_END) == 0 &&
               std::ftell(file) - start >= static_cast<long>(image->width) * image->height * 3 &&
               std::fseek(file, start, SEEK_SET) == 0;
    }
    if (sane) {
        image->rgb.resize(static_cast<size_t>(image->width) * image->height * 3);
        const bool complete =
            std::fread(image->rgb.data(), 1, image->rgb.size(), file) == image->rgb.size();
        std::fclose(file);
        return complete;
    }
    std::fclose(file);
    return false;
}

unsigned char Clip(double v) {
    return static_cast<unsigned char>(std::clamp(std::lround(v), 0L, 255L));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: veltrane_pan_sequence IN.ppm WIDTH HEIGHT FRAMES OUT.y4m\n");
        return 2;
    }
    Image photo;
    if (!ReadPpm(argv[1], &photo))
        return Fail(std::string(argv[1]) + ": not a readable 8-bit P6 PPM");
    const int width = std::atoi(argv[2]);
    const int height = std::atoi(argv[3]);
    const int frames = std::atoi(argv[4]);
    if (width < 16 || height < 16 || width % 2 || height % 2 || frames < 1)
        return Fail("bad size or frame count");
    // The pan: 1.25 samples right and 0.5 down a picture, bouncing at the edges.
    const double rangeX = photo.width - width - 1;
    const double rangeY = photo.height - height - 1;
    if (rangeX < 1 || rangeY < 1) return Fail(std::string(argv[1]) + ": smaller than the window");
    std::FILE* out = std::fopen(argv[5], "wb");
    if (out == nullptr) return Fail(std::string(argv[5]) + ": cannot write");
    std::fprintf(out, "YUV4MPEG2 W%d H%d F25:1 Ip A1:1 C420jpeg\n", width, height);
    std::vector<double> y(static_cast<size_t>(width) * height), cb(y.size()), cr(y.size());
    std::vector<unsigned char> plane;
    auto bounce = [](double x, double range) {
        const double m = std::fmod(x, 2 * range);
        return m < range ? m : 2 * range - m;
    };
    for (int t = 0; t < frames; ++t) {
        const double ox = bounce(1.25 * t, rangeX);
        const double oy = bounce(0.5 * t, rangeY);
        for (int r = 0; r < height; ++r) {
            for (int c = 0; c < width; ++c) {
                // Bilinear sample of the photograph at (ox + c, oy + r).
                const double fx = ox + c, fy = oy + r;
                const int x0 = static_cast<int>(fx), y0 = static_cast<int>(fy);
                const double ax = fx - x0, ay = fy - y0;
                double rgb[3];
                for (int k = 0; k < 3; ++k) {
                    auto at = [&](int x, int yy) {
                        return photo.rgb[(static_cast<size_t>(yy) * photo.width + x) * 3 + k];
                    };
                    rgb[k] = (1 - ay) * ((1 - ax) * at(x0, y0) + ax * at(x0 + 1, y0)) +
                             ay * ((1 - ax) * at(x0, y0 + 1) + ax * at(x0 + 1, y0 + 1));
                }
                const size_t i = static_cast<size_t>(r) * width + c;
                y[i] = 16 + 0.2568 * rgb[0] + 0.5041 * rgb[1] + 0.0979 * rgb[2];
                cb[i] = 128 - 0.1482 * rgb[0] - 0.2910 * rgb[1] + 0.4392 * rgb[2];
                cr[i] = 128 + 0.4392 * rgb[0] - 0.3678 * rgb[1] - 0.0714 * rgb[2];
            }
        }
        std::fputs("FRAME\n", out);
        plane.resize(y.size());
        for (size_t i = 0; i < y.size(); ++i) plane[i] = Clip(y[i]);
        std::fwrite(plane.data(), 1, plane.size(), out);
        for (const std::vector<double>* chroma : {&cb, &cr}) {
            plane.clear();
            for (int r = 0; r < height; r += 2) {
                for (int c = 0; c < width; c += 2) {
                    const size_t i = static_cast<size_t>(r) * width + c;
                    plane.push_back(Clip(((*chroma)[i] + (*chroma)[i + 1] + (*chroma)[i + width] +
                                          (*chroma)[i + width + 1]) /
                                         4));
                }
            }
            std::fwrite(plane.data(), 1, plane.size(), out);
        }
    }
    return std::fclose(out) == 0 ? 0 : Fail(std::string(argv[5]) + ": write error");
}
