// The overlay pictures of `veltrane analyze` against the decoder's own records:
// macroblock types from the fill colour at each macroblock's centre in the PNG,
// vectors from the arrow shafts of the SVG, on a copy of the bundled sample with
// two damaged frames (a P picture and an intra picture).
#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "core/macroblock_type.h"
#include "core/picture_decoder.h"
#include "host_allocator.h"
#include "ivf.h"
#include "overlay_style.h"
#include "temp_dir.h"
#include "veltrane/session.h"

namespace veltrane::tools {
namespace {

constexpr int kFrames = 30;  // two intra pictures, and both damaged frames
constexpr int kScale = 2;
// The sample is 176x144: 11 x 9 macroblocks, none of them cut by the edge.
constexpr int kColumns = 11;

using Shaft = std::array<long, 4>;  // from x, y to x, y in output pixels

// Copies the sample's first frames to `copy`, frames 5 and 25 zero from a third of
// their bytes on (so that the damage lies in the macroblock layer), and returns the
// decoder's records of each frame from a session of its own.
std::vector<std::vector<MacroblockRecord>> CopyAndDecodeWithRecords(const std::string& copy) {
    IvfReader reader;
    IvfWriter writer;
    std::string error;
    EXPECT_TRUE(reader.Open(VELTRANE_SAMPLE_IVF, &error)) << error;
    EXPECT_TRUE(writer.Open(copy, reader.header(), &error)) << error;
    HostAllocator allocator;
    auto* session = static_cast<DecompressSession_t*>(DecompressOpen(176, 144, &allocator));
    std::vector<std::vector<MacroblockRecord>> frames;
    IvfFrame frame;
    for (uint32_t i = 0; i < kFrames && reader.ReadFrame(&frame, &error) == IvfRead::kFrame; ++i) {
        const bool damaged = i == 5 || i == 25;
        if (damaged)
            std::fill(frame.data.begin() + long(frame.data.size() / 3), frame.data.end(), 0);
        const auto size = static_cast<uint32_t>(frame.data.size());
        EXPECT_TRUE(writer.WriteFrame(frame.data.data(), size, i, &error));
        std::vector<MacroblockRecord> records(size_t(session->decoder->mbCount));
        int32_t count = 0;
        EXPECT_EQ(DecompressSessionFrameRecordingMacroblocks(session, frame.data.data(), size,
                                                             nullptr, records.data(), &count) != 0,
                  damaged);
        DiscardSessionReaderError(session);  // what a failed picture leaves is not the next one's
        EXPECT_EQ(count, kColumns * 9);
        frames.push_back(std::move(records));
    }
    DecompressClose(session);
    EXPECT_TRUE(writer.Close(&error)) << error;
    return frames;
}

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
Surface LoadPng(const std::string& path) {
    return {cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy};
}

// Red, green and blue at picture pixel (x, y) of an opaque ARGB32 surface.
std::array<double, 3> At(cairo_surface_t* surface, int x, int y) {
    const unsigned char* row = cairo_image_surface_get_data(surface) +
                               y * kScale * cairo_image_surface_get_stride(surface);
    const uint32_t word = reinterpret_cast<const uint32_t*>(row)[x * kScale];
    return {double((word >> 16) & 255), double((word >> 8) & 255), double(word & 255)};
}

// The class whose colour, laid over `under` at kFillOpacity, comes nearest to `over`.
const char* NearestClass(const std::array<double, 3>& under, const std::array<double, 3>& over) {
    const auto distance = [&](const ClassStyle& style) {
        const Rgb c = style.colour;
        const double fill[3] = {double(c.red), double(c.green), double(c.blue)};
        double sum = 0;
        for (int k = 0; k < 3; ++k)
            sum += std::pow(under[k] * (1 - kFillOpacity) + fill[k] * kFillOpacity - over[k], 2);
        return sum;
    };
    return std::min_element(std::begin(kClassStyles), std::end(kClassStyles),
                            [&](auto& a, auto& b) { return distance(a) < distance(b); })
        ->key;
}

// The arrow shafts (white strokes) that start inside the picture.
std::vector<Shaft> ShaftsInSvg(const std::string& path) {
    std::ifstream in(path);
    const std::string svg((std::istreambuf_iterator<char>(in)), {});
    static const std::regex kShaft(
        R"re(stroke:rgb\(100%,100%,100%\);[^"]*" d="M ([-0-9.]+) ([-0-9.]+) L ([-0-9.]+) ([-0-9.]+) ")re");
    std::vector<Shaft> shafts;
    for (auto it = std::sregex_iterator(svg.begin(), svg.end(), kShaft);
         it != std::sregex_iterator(); ++it) {
        Shaft s;
        for (int k = 0; k < 4; ++k) s[k] = std::lround(std::stod((*it)[k + 1]));
        if (s[1] < 144 * kScale) shafts.push_back(s);  // not the legend's sample
    }
    std::sort(shafts.begin(), shafts.end());
    return shafts;
}

// From the centre of each moving macroblock, or of luma block k (upper left, upper
// right, lower left, lower right) of a four-vector one; half-sample vectors at two
// output pixels per picture pixel.
std::vector<Shaft> ExpectedShafts(const std::vector<MacroblockRecord>& records) {
    std::vector<Shaft> shafts;
    for (size_t i = 0; i < records.size(); ++i) {
        const MacroblockRecord& r = records[i];
        if (r.damaged || r.skipped || IsIntraMacroblock(r.type)) continue;
        const bool four = r.type == kMacroblockInter4V;
        for (int k = 0; k < (four ? 4 : 1); ++k) {
            if (r.vectors[k].x == 0 && r.vectors[k].y == 0) continue;
            const long x = kScale * (long(i % kColumns) * 16 + (four ? 4 + 8 * (k & 1) : 8));
            const long y = kScale * (long(i / kColumns) * 16 + (four ? 4 + 8 * (k >> 1) : 8));
            shafts.push_back({x, y, x + r.vectors[k].x, y + r.vectors[k].y});
        }
    }
    std::sort(shafts.begin(), shafts.end());
    return shafts;
}

TEST(AnalyzeOverlayTest, PicturesShowTheDecodersTypesAndVectors) {
    test::TempDir dir;
    std::string input = dir.File("copy.ivf"), overlays = "--overlays";
    const std::vector<std::vector<MacroblockRecord>> frames = CopyAndDecodeWithRecords(input);
    ASSERT_EQ(frames.size(), size_t{kFrames});
    const auto file = [&](const std::string& overlay, const std::string& number) {
        return dir.File(overlay + number + (overlay == "vectors" ? ".svg" : ".png"));
    };
    for (std::string overlay : {"type", "none", "vectors"}) {
        std::string pattern = file(overlay, "%02d"), o = "-o";
        char* argv[] = {input.data(), o.data(), pattern.data(), overlays.data(), overlay.data()};
        ASSERT_EQ(RunAnalyze(5, argv), kExitFailure);
    }

    static const char* const kByType[] = {"inter", "inter_q", "inter_4v", "intra", "intra_q"};
    int fourVectorMacroblocks = 0, damagedMacroblocks = 0;
    for (uint32_t i = 0; i < kFrames; ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const auto& records = frames[i];
        char number[8];
        std::snprintf(number, sizeof number, "%02u", i);
        const Surface typed = LoadPng(file("type", number)), bare = LoadPng(file("none", number));
        ASSERT_TRUE(cairo_surface_status(typed.get()) == CAIRO_STATUS_SUCCESS &&
                    cairo_surface_status(bare.get()) == CAIRO_STATUS_SUCCESS);
        // Each macroblock's fill: damaged, skipped, or its type.
        for (size_t k = 0; k < records.size(); ++k) {
            const MacroblockRecord& r = records[k];
            const int x = int(k % kColumns) * 16 + 8, y = int(k / kColumns) * 16 + 8;
            ASSERT_STREQ(NearestClass(At(bare.get(), x, y), At(typed.get(), x, y)),
                         r.damaged   ? "damaged"
                         : r.skipped ? "skipped"
                                     : kByType[r.type])
                << "macroblock " << k;
            damagedMacroblocks += r.damaged;
            fourVectorMacroblocks += !r.damaged && r.type == kMacroblockInter4V;
        }
        EXPECT_EQ(ShaftsInSvg(file("vectors", number)), ExpectedShafts(records));
    }
    // The checks above met every kind of macroblock that matters here.
    EXPECT_GT(fourVectorMacroblocks, 50);
    EXPECT_GT(damagedMacroblocks, 0);
}

}  // namespace
}  // namespace veltrane::tools
