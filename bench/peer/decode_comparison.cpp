// Whole decodes: every frame of a stream already in memory, from opening a
// decoder to closing it, with and without conversion of each picture to BGRA.
#include <libyuv.h>

#include <vector>

#include "mpeg2_decoding.h"
#include "peer_sections.h"
#include "veltrane_decoding.h"

namespace veltrane::peer {

void CompareWholeDecoding(const BenchContext& context) {
    for (const StreamPair& pair : *context.pairs) {
        const std::string size = SizeAndRate(pair);
        context.report->AddRow({"whole decode", size, "libmpeg2",
                                CompareInterleaved(
                                    context.plan,
                                    [&] {
                                        DecodeOurStream(pair.ourFrames, pair.width, pair.height,
                                                        context.allocator, nullptr);
                                    },
                                    [&] { DecodeTheirStream(pair.theirStream); })});
    }
    for (const StreamPair& pair : *context.pairs) {
        // Both sides write every picture into a top-down image of the same size.
        const int rowBytes = pair.width * 4;
        std::vector<uint8_t> ourPixels(static_cast<size_t>(rowBytes) * pair.height);
        std::vector<uint8_t> theirPixels(ourPixels.size());
        QXImage_t image = {kQXImageFormatBGRA32, pair.width, pair.height, 0, rowBytes,
                           ourPixels.data()};
        const PictureVisitor toArgb = [&](const PlanarPicture& picture) {
            libyuv::I420ToARGB(picture.y, picture.yStride, picture.u, picture.uvStride, picture.v,
                               picture.uvStride, theirPixels.data(), rowBytes, picture.width,
                               picture.height);
        };
        context.report->AddRow({"whole decode + BGRA", SizeAndRate(pair),
                                "libmpeg2 + libyuv I420ToARGB",
                                CompareInterleaved(
                                    context.plan,
                                    [&] {
                                        DecodeOurStream(pair.ourFrames, pair.width, pair.height,
                                                        context.allocator, &image);
                                    },
                                    [&] { DecodeTheirStream(pair.theirStream, &toArgb); })});
    }
}

}  // namespace veltrane::peer
