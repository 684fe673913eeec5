#include "camera_sequence.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace veltrane::peer {

namespace {

// Room left around the first view, as a factor of the output size.
constexpr double kMargin = 1.45;

// Coverage weights of a one-dimensional area reduction from `from` to `to`
// samples: output i averages input [i * from / to, (i + 1) * from / to).
struct AreaTaps {
    std::vector<int> first;
    std::vector<std::vector<float>> weights;
};

AreaTaps MakeAreaTaps(int from, int to) {
    AreaTaps taps;
    const double step = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        const double begin = i * step;
        const double end = begin + step;
        const int first = static_cast<int>(std::floor(begin));
        const int last = std::min(from - 1, static_cast<int>(std::ceil(end)) - 1);
        std::vector<float> w;
        for (int s = first; s <= last; ++s) {
            const double cover = std::min<double>(end, s + 1) - std::max<double>(begin, s);
            w.push_back(static_cast<float>(cover / step));
        }
        taps.first.push_back(first);
        taps.weights.push_back(std::move(w));
    }
    return taps;
}

// Catmull-Rom weights for a sample at fraction t past the second of four taps.
void CubicWeights(double t, double w[4]) {
    const double t2 = t * t;
    const double t3 = t2 * t;
    w[0] = 0.5 * (-t3 + 2 * t2 - t);
    w[1] = 0.5 * (3 * t3 - 5 * t2 + 2);
    w[2] = 0.5 * (-3 * t3 + 4 * t2 + t);
    w[3] = 0.5 * (t3 - t2);
}

uint64_t SplitMix64(uint64_t* state) {
    uint64_t z = (*state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

}  // namespace

FloatPlane ResampleArea(const FloatPlane& source, int width, int height) {
    const AreaTaps across = MakeAreaTaps(source.width, width);
    const AreaTaps down = MakeAreaTaps(source.height, height);
    FloatPlane rows{width, source.height,
                    std::vector<float>(static_cast<size_t>(width) * source.height)};
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < width; ++x) {
            float sum = 0;
            const auto& w = across.weights[x];
            for (size_t k = 0; k < w.size(); ++k)
                sum += w[k] * source.at(across.first[x] + static_cast<int>(k), y);
            rows.samples[static_cast<size_t>(y) * width + x] = sum;
        }
    }
    FloatPlane out{width, height, std::vector<float>(static_cast<size_t>(width) * height)};
    for (int y = 0; y < height; ++y) {
        const auto& w = down.weights[y];
        for (int x = 0; x < width; ++x) {
            float sum = 0;
            for (size_t k = 0; k < w.size(); ++k)
                sum += w[k] * rows.at(x, down.first[y] + static_cast<int>(k));
            out.samples[static_cast<size_t>(y) * width + x] = sum;
        }
    }
    return out;
}

bool CameraSequence::Prepare(const Photo& photo, const CameraSettings& settings) {
    settings_ = settings;
    random_ = settings.seed;
    const double scale =
        std::max(settings.width * kMargin / photo.width, settings.height * kMargin / photo.height);
    if (scale > 1.0) return false;
    // Studio-range BT.601, as cameras record it.
    const size_t count = static_cast<size_t>(photo.width) * photo.height;
    FloatPlane y{photo.width, photo.height, std::vector<float>(count)};
    FloatPlane cb = y, cr = y;
    for (size_t i = 0; i < count; ++i) {
        const float r = photo.rgb[3 * i], g = photo.rgb[3 * i + 1], b = photo.rgb[3 * i + 2];
        y.samples[i] = 16.f + (65.481f * r + 128.553f * g + 24.966f * b) / 255.f;
        cb.samples[i] = 128.f + (-37.797f * r - 74.203f * g + 112.f * b) / 255.f;
        cr.samples[i] = 128.f + (112.f * r - 93.786f * g - 18.214f * b) / 255.f;
    }
    const int workWidth = static_cast<int>(std::lround(photo.width * scale)) & ~1;
    const int workHeight = static_cast<int>(std::lround(photo.height * scale)) & ~1;
    y_ = ResampleArea(y, workWidth, workHeight);
    cb_ = ResampleArea(cb, workWidth / 2, workHeight / 2);
    cr_ = ResampleArea(cr, workWidth / 2, workHeight / 2);
    return true;
}

CameraSequence::View CameraSequence::ViewAt(int index) const {
    const double t = settings_.frames > 1 ? static_cast<double>(index) / (settings_.frames - 1) : 0;
    const double zoom = 1.0 + (settings_.zoomEnd - 1.0) * t;
    // The pan crosses most of the room the first view leaves, left to right and
    // a little downwards; the wobble is a slow sway of under a sample and a half.
    const double roomX = y_.width - settings_.width;
    const double roomY = y_.height - settings_.height;
    const double sway = std::sin(2 * std::numbers::pi * index / 37.0);
    const double bob = std::sin(2 * std::numbers::pi * index / 23.0 + 1.0);
    const double x = settings_.width / 2.0 + roomX * (0.15 + 0.7 * t) + 1.4 * sway;
    const double y = settings_.height / 2.0 + roomY * (0.3 + 0.4 * t) + 0.9 * bob;
    return {x, y, zoom};
}

double CameraSequence::NextGaussian() {
    // Box-Muller on two uniforms in (0, 1].
    const double u1 = (static_cast<double>(SplitMix64(&random_) >> 11) + 1.0) * 0x1.0p-53;
    const double u2 = static_cast<double>(SplitMix64(&random_) >> 11) * 0x1.0p-53;
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(2 * std::numbers::pi * u2);
}

void CameraSequence::RenderPlane(const FloatPlane& source, double scale, const View& view,
                                 int width, int height, double noise, uint8_t* out) {
    // The centre of sample (c, r) of this plane falls at (left + (c + 0.5) x pitch,
    // top + (r + 0.5) x pitch) in the source plane, whose samples also sit at
    // their centres (hence the - 0.5). `scale` takes working luma coordinates to
    // the source plane's: 1, or 1/2 for chroma.
    const double step = 1.0 / view.zoom;
    const double left = (view.centerX - settings_.width / 2.0 * step) * scale;
    const double top = (view.centerY - settings_.height / 2.0 * step) * scale;
    const double pitch = step * scale * settings_.width / width;
    for (int r = 0; r < height; ++r) {
        const double sy = top + (r + 0.5) * pitch - 0.5;
        const int iy = static_cast<int>(std::floor(sy));
        double wy[4];
        CubicWeights(sy - iy, wy);
        for (int c = 0; c < width; ++c) {
            const double sx = left + (c + 0.5) * pitch - 0.5;
            const int ix = static_cast<int>(std::floor(sx));
            double wx[4];
            CubicWeights(sx - ix, wx);
            double sum = 0;
            for (int j = 0; j < 4; ++j) {
                const int yy = std::clamp(iy - 1 + j, 0, source.height - 1);
                double row = 0;
                for (int i = 0; i < 4; ++i) {
                    const int xx = std::clamp(ix - 1 + i, 0, source.width - 1);
                    row += wx[i] * source.at(xx, yy);
                }
                sum += wy[j] * row;
            }
            if (noise > 0) sum += noise * NextGaussian();
            out[static_cast<size_t>(r) * width + c] =
                static_cast<uint8_t>(std::clamp(std::lround(sum), 0L, 255L));
        }
    }
}

void CameraSequence::Render(int index, tools::YuvPicture* picture) {
    const View view = ViewAt(index);
    picture->Resize(settings_.width, settings_.height);
    RenderPlane(y_, 1.0, view, settings_.width, settings_.height, settings_.lumaNoise,
                picture->y.data());
    const int cw = picture->chromaWidth(), ch = picture->chromaHeight();
    RenderPlane(cb_, 0.5, view, cw, ch, settings_.chromaNoise, picture->u.data());
    RenderPlane(cr_, 0.5, view, cw, ch, settings_.chromaNoise, picture->v.data());
}

}  // namespace veltrane::peer
