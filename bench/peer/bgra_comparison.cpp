// YUV 4:2:0 to 32-bit BGRA alone, on pictures our decoder made.
#include <libyuv.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "peer_sections.h"
#include "veltrane_decoding.h"

namespace veltrane::peer {

namespace {

// Enough pictures that a pass is not one picture's cache footprint.
constexpr int kPictures = 30;
// Both sides implement studio-range BT.601, each with its own precision and
// rounding: colour bytes differ by under a level on average (a swapped or
// misaligned plane would make it tens of levels).
constexpr double kMaxMeanDifference = 2.0;

std::vector<tools::YuvPicture> DecodedPictures(const StreamPair& pair, IAllocator* allocator) {
    std::vector<tools::YuvPicture> pictures;
    const PictureVisitor keep = [&](const PlanarPicture& picture) {
        if (static_cast<int>(pictures.size()) >= kPictures) return;
        pictures.emplace_back();
        pictures.back().CopyFrom(picture.width, picture.height, picture.y, picture.u, picture.v,
                                 picture.yStride, picture.uvStride);
    };
    DecodeOurStream(pair.ourFrames, pair.width, pair.height, allocator, nullptr, &keep);
    return pictures;
}

// The pairs whose pictures are converted: one of each size named, else the first.
std::vector<const StreamPair*> ConversionPairs(const std::vector<StreamPair>& pairs) {
    std::vector<const StreamPair*> chosen;
    for (const auto& [width, height] : {std::pair{352, 288}, std::pair{1280, 720}}) {
        const auto found = std::find_if(pairs.begin(), pairs.end(), [&](const StreamPair& p) {
            return p.width == width && p.height == height;
        });
        if (found != pairs.end()) chosen.push_back(&*found);
    }
    if (chosen.empty()) chosen.push_back(&pairs.front());
    return chosen;
}

}  // namespace

void CompareBgraConversion(const BenchContext& context) {
    ColorConverter_t* converter = OpenColorConverter(context.allocator);
    if (!converter) {
        context.report->Check(false, "OpenColorConverter");
        return;
    }
    for (const StreamPair* pair : ConversionPairs(*context.pairs)) {
        const std::vector<tools::YuvPicture> pictures = DecodedPictures(*pair, context.allocator);
        if (pictures.empty()) {
            context.report->Check(false, pair->name + ": no pictures to convert");
            continue;
        }
        const int width = pair->width, height = pair->height, rowBytes = width * 4;
        const int chromaWidth = pictures[0].chromaWidth();
        std::vector<uint8_t> ourPixels(static_cast<size_t>(rowBytes) * height);
        std::vector<uint8_t> theirPixels(ourPixels.size());
        QXImage_t ourImage = {kQXImageFormatBGRA32, width, height, 0, rowBytes, ourPixels.data()};
        auto convertOurs = [&](const tools::YuvPicture& p, QXImage_t* image) {
            ConvertCharYUV12ToBGRA(converter, width, height, width, chromaWidth, p.y.data(),
                                   p.u.data(), p.v.data(), image, 0);
        };
        auto convertTheirs = [&](const tools::YuvPicture& p, uint8_t* pixels) {
            libyuv::I420ToARGB(p.y.data(), width, p.u.data(), chromaWidth, p.v.data(), chromaWidth,
                               pixels, rowBytes, width, height);
        };

        // Same pixel layout, nearly the same colours.
        convertOurs(pictures[0], &ourImage);
        convertTheirs(pictures[0], theirPixels.data());
        double sum = 0;
        int largest = 0;
        bool alphaEqual = true;
        for (size_t i = 0; i < ourPixels.size(); ++i) {
            const int d = std::abs(ourPixels[i] - theirPixels[i]);
            if (i % 4 == 3) {
                alphaEqual &= d == 0;
                continue;
            }
            sum += d;
            largest = std::max(largest, d);
        }
        const double mean = sum / (static_cast<double>(ourPixels.size()) * 3 / 4);
        context.report->Check(alphaEqual && mean <= kMaxMeanDifference,
                              pair->name +
                                  ": our BGRA and libyuv's ARGB agree: mean |difference| " +
                                  FormatValue("%.3f", mean) + ", largest " +
                                  std::to_string(largest) + " levels, alpha equal");

        // Both write into the same image, one picture after another.
        context.report->AddRow({"YUV 4:2:0 -> BGRA",
                                std::to_string(width) + "x" + std::to_string(height) + ", " +
                                    std::to_string(pictures.size()) + " decoded pictures",
                                "libyuv I420ToARGB",
                                CompareInterleaved(
                                    context.plan,
                                    [&] {
                                        for (const auto& p : pictures) convertOurs(p, &ourImage);
                                    },
                                    [&] {
                                        for (const auto& p : pictures)
                                            convertTheirs(p, ourPixels.data());
                                    })});
    }
    CloseColorConverter(converter);
}

}  // namespace veltrane::peer
