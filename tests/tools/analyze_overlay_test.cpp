// The overlay pictures of `veltrane analyze` against the decoder's own records:
// macroblock types from the fill colour at each macroblock's centre in the PNG,
// vectors from the arrow shafts of the SVG, on the bundled sample and on a copy
// with two damaged frames (a P picture and an intra picture).
#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
#include <tuple>
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

using test::TempDir;

constexpr int kFrames = 30;  // two intra pictures, and both damaged frames
constexpr int kScale = 2;
constexpr uint32_t kDamagedFrames[] = {5, 25};

struct DecodedFrame {
    int32_t status = 0;
    int columns = 0, rows = 0, width = 0, height = 0;
    std::vector<MacroblockRecord> records;
};

// The decoder's records of each frame, from a session of its own.
std::vector<DecodedFrame> DecodeWithRecords(const std::string& path) {
    IvfReader reader;
    std::string error;
    EXPECT_TRUE(reader.Open(path, &error)) << error;
    HostAllocator allocator;
    auto* session = static_cast<DecompressSession_t*>(
        DecompressOpen(reader.header().width, reader.header().height, &allocator));
    std::vector<DecodedFrame> frames;
    IvfFrame frame;
    while (frames.size() < kFrames && reader.ReadFrame(&frame, &error) == IvfRead::kFrame) {
        DecodedFrame out;
        const DecodeInstance_t* d = session->decoder;
        out.records.resize(static_cast<size_t>(d->mbCount));
        int32_t count = 0;
        out.status = DecompressSessionFrameRecordingMacroblocks(
            session, frame.data.data(), static_cast<uint32_t>(frame.data.size()), nullptr,
            out.records.data(), &count);
        DiscardSessionReaderError(session);  // what a failed picture leaves is not the next one's
        out.records.resize(static_cast<size_t>(count));
        out.columns = d->alignedWidth / 16;
        out.rows = d->alignedHeight / 16;
        out.width = d->width;
        out.height = d->height;
        frames.push_back(std::move(out));
    }
    DecompressClose(session);
    return frames;
}

// A copy of the sample whose frames in kDamagedFrames are zero from a third of
// their bytes on, so that the damage lies in the macroblock layer.
void WriteDamagedCopy(const std::string& path) {
    IvfReader reader;
    IvfWriter writer;
    std::string error;
    ASSERT_TRUE(reader.Open(VELTRANE_SAMPLE_IVF, &error)) << error;
    ASSERT_TRUE(writer.Open(path, reader.header(), &error)) << error;
    IvfFrame frame;
    for (uint32_t i = 0; reader.ReadFrame(&frame, &error) == IvfRead::kFrame; ++i) {
        if (std::count(std::begin(kDamagedFrames), std::end(kDamagedFrames), i) != 0) {
            std::fill(frame.data.begin() + static_cast<ptrdiff_t>(frame.data.size() / 3),
                      frame.data.end(), uint8_t{0});
        }
        ASSERT_TRUE(writer.WriteFrame(frame.data.data(), static_cast<uint32_t>(frame.data.size()),
                                      i, &error));
    }
    ASSERT_TRUE(writer.Close(&error)) << error;
}

int Analyze(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    return RunAnalyze(static_cast<int>(argv.size()), argv.data());
}

struct Png {
    cairo_surface_t* surface;
    explicit Png(const std::string& path)
        : surface(cairo_image_surface_create_from_png(path.c_str())) {}
    ~Png() { cairo_surface_destroy(surface); }
    bool ok() const { return cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS; }
    // Red, green and blue of the pixel at (x, y): ARGB32 words, opaque.
    std::array<double, 3> At(int x, int y) const {
        const unsigned char* row =
            cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
        uint32_t word;
        std::memcpy(&word, row + 4 * x, 4);
        return {double((word >> 16) & 255), double((word >> 8) & 255), double(word & 255)};
    }
};

// The class whose colour, laid over `under` at kFillOpacity, comes nearest to `over`.
MacroblockClass NearestClass(const std::array<double, 3>& under,
                             const std::array<double, 3>& over) {
    int best = 0;
    double bestDistance = 1e9;
    for (int c = 0; c < kMacroblockClassCount; ++c) {
        const Rgb colour = kClassStyles[c].colour;
        const double fill[3] = {double(colour.red), double(colour.green), double(colour.blue)};
        double distance = 0;
        for (int k = 0; k < 3; ++k) {
            const double expected = under[k] * (1 - kFillOpacity) + fill[k] * kFillOpacity;
            distance += (expected - over[k]) * (expected - over[k]);
        }
        if (distance < bestDistance) {
            bestDistance = distance;
            best = c;
        }
    }
    return static_cast<MacroblockClass>(best);
}

// What the fill of a macroblock must say: damaged, skipped, or its type.
const char* ExpectedClass(const MacroblockRecord& r) {
    static const char* const kByType[] = {"inter", "inter_q", "inter_4v", "intra", "intra_q"};
    return r.damaged ? "damaged" : r.skipped ? "skipped" : kByType[r.type];
}

// Each macroblock's class from the colour at its centre in the type overlay,
// against the picture without overlays.
void ExpectTypesAtCentres(const std::string& typePng, const std::string& barePng,
                          const DecodedFrame& frame) {
    const Png typed(typePng), bare(barePng);
    ASSERT_TRUE(typed.ok() && bare.ok()) << typePng;
    for (size_t i = 0; i < frame.records.size(); ++i) {
        const int x = static_cast<int>(i % frame.columns) * 16 + 8;
        const int y = static_cast<int>(i / frame.columns) * 16 + 8;
        if (x >= frame.width || y >= frame.height) continue;
        const MacroblockClass got =
            NearestClass(bare.At(x * kScale, y * kScale), typed.At(x * kScale, y * kScale));
        ASSERT_STREQ(StyleOf(got).key, ExpectedClass(frame.records[i]))
            << typePng << ", macroblock " << i;
    }
}

struct Segment {
    double x0, y0, x1, y1;
    bool operator<(const Segment& o) const {
        return std::tie(x0, y0, x1, y1) < std::tie(o.x0, o.y0, o.x1, o.y1);
    }
};

// The arrow shafts (white strokes) that start inside the picture.
std::vector<Segment> ShaftsInSvg(const std::string& path, const DecodedFrame& frame) {
    std::ifstream in(path);
    const std::string svg((std::istreambuf_iterator<char>(in)), {});
    static const std::regex kShaft(
        R"re(stroke:rgb\(100%,100%,100%\);[^"]*" d="M ([-0-9.]+) ([-0-9.]+) L ([-0-9.]+) ([-0-9.]+) ")re");
    std::vector<Segment> shafts;
    for (auto it = std::sregex_iterator(svg.begin(), svg.end(), kShaft);
         it != std::sregex_iterator(); ++it) {
        const Segment s{std::stod((*it)[1]), std::stod((*it)[2]), std::stod((*it)[3]),
                        std::stod((*it)[4])};
        if (s.y0 < frame.height * kScale) shafts.push_back(s);  // not the legend's sample
    }
    std::sort(shafts.begin(), shafts.end());
    return shafts;
}

std::vector<Segment> ExpectedShafts(const DecodedFrame& frame) {
    std::vector<Segment> shafts;
    for (size_t i = 0; i < frame.records.size(); ++i) {
        const MacroblockRecord& r = frame.records[i];
        if (r.damaged || r.skipped || IsIntraMacroblock(r.type)) continue;
        const bool four = r.type == kMacroblockInter4V;
        for (int k = 0; k < (four ? 4 : 1); ++k) {
            if (r.vectors[k].x == 0 && r.vectors[k].y == 0) continue;
            // From the centre of the macroblock, or of luma block k (upper left,
            // upper right, lower left, lower right) of a four-vector one.
            const double x =
                static_cast<double>(i % frame.columns) * 16 + (four ? 4 + 8 * (k & 1) : 8);
            const double y =
                static_cast<double>(i / frame.columns) * 16 + (four ? 4 + 8 * (k >> 1) : 8);
            // Half-sample vectors at two output pixels per picture pixel.
            shafts.push_back(
                {x * kScale, y * kScale, x * kScale + r.vectors[k].x, y * kScale + r.vectors[k].y});
        }
    }
    std::sort(shafts.begin(), shafts.end());
    return shafts;
}

class AnalyzeOverlayTest : public ::testing::TestWithParam<bool> {};

TEST_P(AnalyzeOverlayTest, PicturesShowTheDecodersTypesAndVectors) {
    const bool damaged = GetParam();
    TempDir dir;
    const std::string input = damaged ? dir.File("damaged.ivf") : VELTRANE_SAMPLE_IVF;
    if (damaged) WriteDamagedCopy(input);
    const std::vector<DecodedFrame> frames = DecodeWithRecords(input);
    ASSERT_EQ(frames.size(), size_t{kFrames});
    const std::string frameCount = std::to_string(kFrames);
    const int exit = damaged ? kExitFailure : kExitOk;
    ASSERT_EQ(
        Analyze({input, "-o", dir.File("t%02d.png"), "--overlays", "type", "--frames", frameCount}),
        exit);
    ASSERT_EQ(
        Analyze({input, "-o", dir.File("n%02d.png"), "--overlays", "none", "--frames", frameCount}),
        exit);
    ASSERT_EQ(Analyze({input, "-o", dir.File("v%02d.svg"), "--overlays", "vectors", "--frames",
                       frameCount}),
              exit);

    int framesWithFourVectors = 0, damagedMacroblocks = 0;
    for (int i = 0; i < kFrames; ++i) {
        const DecodedFrame& frame = frames[static_cast<size_t>(i)];
        const bool failed =
            std::count(std::begin(kDamagedFrames), std::end(kDamagedFrames), i) != 0;
        ASSERT_EQ(frame.status != 0, damaged && failed) << "frame " << i;
        ASSERT_EQ(frame.records.size(), size_t(frame.columns * frame.rows));
        char name[16];
        std::snprintf(name, sizeof name, "%02d", i);
        ExpectTypesAtCentres(dir.File("t" + std::string(name) + ".png"),
                             dir.File("n" + std::string(name) + ".png"), frame);
        const std::vector<Segment> expected = ExpectedShafts(frame);
        const std::vector<Segment> drawn =
            ShaftsInSvg(dir.File("v" + std::string(name) + ".svg"), frame);
        ASSERT_EQ(drawn.size(), expected.size()) << "frame " << i;
        for (size_t k = 0; k < drawn.size(); ++k) {
            EXPECT_NEAR(drawn[k].x0, expected[k].x0, 0.01) << "frame " << i << " shaft " << k;
            EXPECT_NEAR(drawn[k].y0, expected[k].y0, 0.01) << "frame " << i << " shaft " << k;
            EXPECT_NEAR(drawn[k].x1, expected[k].x1, 0.01) << "frame " << i << " shaft " << k;
            EXPECT_NEAR(drawn[k].y1, expected[k].y1, 0.01) << "frame " << i << " shaft " << k;
        }
        framesWithFourVectors +=
            std::any_of(frame.records.begin(), frame.records.end(),
                        [](auto& r) { return !r.damaged && r.type == kMacroblockInter4V; });
        for (const MacroblockRecord& r : frame.records) damagedMacroblocks += r.damaged;
    }
    // The checks above met every kind of macroblock that matters here.
    EXPECT_GT(framesWithFourVectors, 10);
    EXPECT_EQ(damagedMacroblocks > 0, damaged);
}

INSTANTIATE_TEST_SUITE_P(SampleAndDamagedCopy, AnalyzeOverlayTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Damaged" : "Sample"; });

}  // namespace
}  // namespace veltrane::tools
