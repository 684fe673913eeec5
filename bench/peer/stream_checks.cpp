// Before anything is timed: both decoders must turn each pair into the same
// number of pictures of the right size that resemble the source.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "mpeg2_decoding.h"
#include "peer_sections.h"
#include "veltrane_decoding.h"

namespace veltrane::peer {

namespace {

// Luma PSNR of a decoded picture against the source; 100 when identical.
double LumaPsnr(const PlanarPicture& decoded, const tools::YuvPicture& source) {
    double squares = 0;
    for (int r = 0; r < source.height; ++r)
        for (int c = 0; c < source.width; ++c) {
            const int d = decoded.y[static_cast<size_t>(r) * decoded.yStride + c] -
                          source.y[static_cast<size_t>(r) * source.width + c];
            squares += d * d;
        }
    const double mse = squares / (static_cast<double>(source.width) * source.height);
    return mse == 0 ? 100.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

// Mean luma PSNR over the pictures a decoder hands out, matched to the source
// by order.
struct PsnrMeter {
    const std::vector<tools::YuvPicture>* source;
    int count = 0;
    double sum = 0;
    PictureVisitor Visitor() {
        return [this](const PlanarPicture& picture) {
            if (count < static_cast<int>(source->size()))
                sum += LumaPsnr(picture, (*source)[count]);
            ++count;
        };
    }
    double mean() const { return count ? sum / count : 0; }
};

// Below this the pictures are not a decode of the source at all.
constexpr double kMinimumPsnr = 20.0;
// Largest size difference between the two streams of a pair.
constexpr double kByteTolerance = 0.05;

}  // namespace

std::string SizeAndRate(const StreamPair& pair) {
    return std::to_string(pair.width) + "x" + std::to_string(pair.height) + ", " +
           FormatValue("%.3f", pair.BitsPerPixel(pair.ourBytes())) + " bpp";
}

std::string CheckStreamPairs(const BenchContext& context) {
    Report& report = *context.report;
    std::string table =
        "| stream | pictures | bytes: ours | MPEG-2 | difference | bits/pixel: ours | MPEG-2 | "
        "PSNR-Y: ours | MPEG-2 |\n|---|---|---|---|---|---|---|---|---|\n";
    for (const StreamPair& pair : *context.pairs) {
        std::vector<tools::YuvPicture> source;
        std::string error;
        if (!LoadPictures(pair.sourcePath, 0, &source, &error)) {
            report.Check(false, error);
            continue;
        }
        const std::string label = pair.name + " at " + SizeAndRate(pair);
        PsnrMeter ourMeter{&source}, theirMeter{&source};
        const PictureVisitor ourVisitor = ourMeter.Visitor();
        const PictureVisitor theirVisitor = theirMeter.Visitor();
        const OurDecodeResult ours = DecodeOurStream(pair.ourFrames, pair.width, pair.height,
                                                     context.allocator, nullptr, &ourVisitor);
        const Mpeg2DecodeResult theirs = DecodeTheirStream(pair.theirStream, &theirVisitor);

        report.Check(
            ours.opened && ours.failed == 0 && ours.decoded == static_cast<int>(source.size()),
            label + ": libveltrane decoded " + std::to_string(ours.decoded) + " of " +
                std::to_string(source.size()) + " pictures" +
                (ours.failed ? ", first error status " + std::to_string(ours.firstError)
                             : std::string()));
        report.Check(theirs.opened && theirs.invalid == 0 &&
                         theirs.pictures == static_cast<int>(source.size()) &&
                         theirs.width == pair.width && theirs.height == pair.height,
                     label + ": libmpeg2 decoded " + std::to_string(theirs.pictures) + " of " +
                         std::to_string(source.size()) + " pictures at " +
                         std::to_string(theirs.width) + "x" + std::to_string(theirs.height));
        report.Check(ourMeter.mean() > kMinimumPsnr && theirMeter.mean() > kMinimumPsnr,
                     label + ": both decodes resemble the source (PSNR-Y " +
                         FormatValue("%.2f", ourMeter.mean()) + " and " +
                         FormatValue("%.2f", theirMeter.mean()) + " dB)");
        const double ourBytes = static_cast<double>(pair.ourBytes());
        const double theirBytes = static_cast<double>(pair.theirStream.size());
        const double difference = theirBytes / ourBytes - 1;
        report.Check(std::abs(difference) <= kByteTolerance,
                     label + ": MPEG-2 stream within 5 % of our bytes (" +
                         FormatValue("%+.1f %%", 100 * difference) + ")");
        table += "| " + pair.name + " " + std::to_string(pair.width) + "x" +
                 std::to_string(pair.height) + " | " + std::to_string(source.size()) + " | " +
                 std::to_string(pair.ourBytes()) + " | " + std::to_string(pair.theirStream.size()) +
                 " | " + FormatValue("%+.1f %%", 100 * difference) + " | " +
                 FormatValue("%.3f", pair.BitsPerPixel(pair.ourBytes())) + " | " +
                 FormatValue("%.3f", pair.BitsPerPixel(pair.theirStream.size())) + " | " +
                 FormatValue("%.2f dB", ourMeter.mean()) + " | " +
                 FormatValue("%.2f dB", theirMeter.mean()) + " |\n";
    }
    return table;
}

}  // namespace veltrane::peer
