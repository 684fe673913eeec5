#include "overlay_painter.h"

#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <sstream>
#include <vector>

#include "core/macroblock_type.h"
#include "overlay_style.h"

namespace veltrane::tools {

namespace {

constexpr double kFontSize = 11;
constexpr double kLineHeight = 17;
constexpr double kPadding = 6;
constexpr int kMinimumWidth = 360;  // room for the legend beside small pictures
constexpr Rgb kBackground = {30, 30, 30};
constexpr Rgb kText = {225, 225, 225};
constexpr Rgb kErrorText = {255, 110, 110};
constexpr Rgb kWhite = {255, 255, 255};
constexpr Rgb kBlack = {0, 0, 0};

using SurfacePtr = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using ContextPtr = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

void SetColour(cairo_t* cr, Rgb c, double alpha = 1.0) {
    cairo_set_source_rgba(cr, c.red / 255.0, c.green / 255.0, c.blue / 255.0, alpha);
}

bool EndsWithSvg(const std::string& path) {
    return path.size() >= 4 && (path.compare(path.size() - 4, 4, ".svg") == 0 ||
                                path.compare(path.size() - 4, 4, ".SVG") == 0);
}

// One entry of the legend's flowing part.
struct LegendItem {
    enum Kind { kSwatch, kArrow, kRamp, kQuantiser } kind;
    Rgb colour;
    std::string label;
    double x = 0, y = 0;  // baseline origin of the item, set by the layout
};

// The legend: text lines, then items flowing left to right, wrapped at the width.
struct Legend {
    struct Line {
        std::string text;
        Rgb colour;
        double y;
    };
    std::vector<Line> lines;
    std::vector<LegendItem> items;
    double height = 0;
};

constexpr double kSwatchSize = 11;
constexpr double kSymbolWidth = 26;  // arrow, ramp and quantiser samples
constexpr double kItemGap = 14;

double TextWidth(cairo_t* cr, const std::string& text) {
    cairo_text_extents_t e;
    cairo_text_extents(cr, text.c_str(), &e);
    return e.x_advance;
}

double SymbolWidth(const LegendItem& item) {
    return item.kind == LegendItem::kSwatch
               ? kSwatchSize
               : kSymbolWidth * (item.kind == LegendItem::kRamp ? 2 : 1);
}

// Splits `text` into lines no wider than `width`, at spaces.
std::vector<std::string> WrapText(cairo_t* cr, const std::string& text, double width) {
    std::vector<std::string> lines;
    std::istringstream words(text);
    std::string word, line;
    while (words >> word) {
        const std::string longer = line.empty() ? word : line + " " + word;
        if (!line.empty() && TextWidth(cr, longer) > width) {
            lines.push_back(line);
            line = word;
        } else {
            line = longer;
        }
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

void SelectFont(cairo_t* cr, double size, bool bold = false) {
    cairo_select_font_face(cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, size);
}

const char* PictureTypeName(uint32_t type) {
    static const char* const kNames[4] = {"I (intra)", "P (inter)", "D (disposable inter)",
                                          "E (no macroblock data)"};
    return kNames[type & 3];
}

std::string TitleOf(const FrameAnalysis& frame) {
    std::string title = "frame " + std::to_string(frame.index);
    if (frame.headerParsed) {
        const PictureHeader_t& h = frame.header;
        title += "  \u00b7  " + std::string(PictureTypeName(h.pictureType)) + "  \u00b7  q " +
                 std::to_string(h.quantiser) + "  \u00b7  tref " +
                 std::to_string(h.temporalReference);
    }
    title += "  \u00b7  " + std::to_string(frame.bits()) + " bits";
    if (!frame.macroblocks.records.empty()) {
        title += " (header " + std::to_string(frame.headerBits()) + ")";
    }
    if (frame.hasPsnr) {
        char psnr[48];
        std::snprintf(psnr, sizeof psnr, "  \u00b7  PSNR Y %.2f dB", frame.psnr[0]);
        title += psnr;
    }
    return title;
}

std::string FailureOf(const FrameAnalysis& frame) {
    std::string text = "failed: " + frame.error + ".";
    switch (frame.shown) {
        case ShownPicture::kReached: {
            const size_t first = frame.macroblocks.FirstDamaged();
            const size_t grid = static_cast<size_t>(frame.macroblocks.columns) *
                                static_cast<size_t>(frame.macroblocks.rows);
            if (first < frame.macroblocks.records.size()) {
                text += " Damaged from macroblock " + std::to_string(first) + " of " +
                        std::to_string(grid) + " on, where the decoder noticed.";
            }
            if (frame.macroblocks.records.size() < grid) {
                text += " Decoding stopped before macroblock " +
                        std::to_string(frame.macroblocks.records.size()) + ".";
            }
            text += " Shown: what the decoder wrote.";
            break;
        }
        case ShownPicture::kPrevious:
            text += " Shown: the last good picture.";
            break;
        case ShownPicture::kBlank:
            text += " No picture decoded yet.";
            break;
        case ShownPicture::kDecoded:
            break;
    }
    return text;
}

Legend LayoutLegend(cairo_t* cr, const FrameAnalysis& frame, const OverlayOptions& options,
                    double width) {
    Legend legend;
    double y = kPadding + kFontSize;
    SelectFont(cr, kFontSize, true);
    for (const std::string& text : WrapText(cr, TitleOf(frame), width - 2 * kPadding)) {
        legend.lines.push_back({text, kText, y});
        y += kLineHeight;
    }
    SelectFont(cr, kFontSize);
    if (!frame.error.empty()) {
        for (const std::string& text : WrapText(cr, FailureOf(frame), width - 2 * kPadding)) {
            legend.lines.push_back({text, kErrorText, y});
            y += kLineHeight;
        }
    }

    uint32_t counts[kMacroblockClassCount] = {};
    const MacroblockCapture& mbs = frame.macroblocks;
    for (const MacroblockRecord& r : mbs.records) ++counts[static_cast<int>(ClassOf(r))];
    if (!frame.error.empty() && !mbs.records.empty()) {
        counts[static_cast<int>(MacroblockClass::kNotReached)] = static_cast<uint32_t>(
            static_cast<size_t>(mbs.columns) * static_cast<size_t>(mbs.rows) - mbs.records.size());
    }
    for (int c = 0; c < kMacroblockClassCount; ++c) {
        const bool failureClass = c >= static_cast<int>(MacroblockClass::kDamaged);
        if (!(options.types || options.bits) || (failureClass && counts[c] == 0)) continue;
        legend.items.push_back(
            {LegendItem::kSwatch, kClassStyles[c].colour,
             std::string(kClassStyles[c].label) + " " + std::to_string(counts[c])});
    }
    if (options.vectors) legend.items.push_back({LegendItem::kArrow, kWhite, "motion vector"});
    if (options.quantisers) legend.items.push_back({LegendItem::kQuantiser, kWhite, "quantiser"});
    if (options.bits) {
        uint32_t most = 0;
        for (const MacroblockRecord& r : mbs.records) most = std::max(most, r.bitCount);
        legend.items.push_back(
            {LegendItem::kRamp, kWhite, "bits per macroblock, 0 to " + std::to_string(most)});
    }

    double x = kPadding;
    for (LegendItem& item : legend.items) {
        const double itemWidth = SymbolWidth(item) + 5 + TextWidth(cr, item.label);
        if (x > kPadding && x + itemWidth > width - kPadding) {
            x = kPadding;
            y += kLineHeight;
        }
        item.x = x;
        item.y = y;
        x += itemWidth + kItemGap;
    }
    if (!legend.items.empty()) y += kLineHeight;
    legend.height = y - kFontSize + kPadding;
    return legend;
}

struct ArrowStart {
    double x, y;
};

// Where arrows start: the centre of the macroblock, or of each 8x8 luma block
// of a four-vector macroblock; in picture pixels.
ArrowStart VectorOrigin(int column, int row, int vectorIndex, bool fourVectors) {
    if (!fourVectors) return {column * 16 + 8.0, row * 16 + 8.0};
    return {column * 16 + 4.0 + 8 * (vectorIndex & 1), row * 16 + 4.0 + 8 * (vectorIndex >> 1)};
}

void DrawArrow(cairo_t* cr, double x0, double y0, double x1, double y1) {
    const double length = std::hypot(x1 - x0, y1 - y0);
    if (length < 0.5) return;
    const double head = std::min(6.0, length * 0.5);
    const double angle = std::atan2(y1 - y0, x1 - x0);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    // A dark outline keeps the white arrow visible on any fill.
    for (const bool outline : {true, false}) {
        SetColour(cr, outline ? kBlack : kWhite, outline ? 0.7 : 1.0);
        cairo_set_line_width(cr, outline ? 3.0 : 1.4);
        cairo_move_to(cr, x0, y0);
        cairo_line_to(cr, x1, y1);
        cairo_stroke(cr);
    }
    cairo_move_to(cr, x1, y1);
    cairo_line_to(cr, x1 - head * std::cos(angle - 0.45), y1 - head * std::sin(angle - 0.45));
    cairo_line_to(cr, x1 - head * std::cos(angle + 0.45), y1 - head * std::sin(angle + 0.45));
    cairo_close_path(cr);
    SetColour(cr, kWhite);
    cairo_fill_preserve(cr);
    SetColour(cr, kBlack, 0.7);
    cairo_set_line_width(cr, 0.8);
    cairo_stroke(cr);
}

// Text centred on (x, y), white with a dark outline.
void DrawOutlinedText(cairo_t* cr, const std::string& text, double x, double y) {
    cairo_text_extents_t e;
    cairo_text_extents(cr, text.c_str(), &e);
    cairo_move_to(cr, x - e.width / 2 - e.x_bearing, y - e.height / 2 - e.y_bearing);
    cairo_text_path(cr, text.c_str());
    SetColour(cr, kBlack, 0.85);
    cairo_set_line_width(cr, 2.5);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke_preserve(cr);
    SetColour(cr, kWhite);
    cairo_fill(cr);
}

void DrawLegend(cairo_t* cr, const Legend& legend, double top) {
    // Coordinates are offset by hand rather than translated, so that an SVG
    // carries every shape in picture coordinates without transforms.
    for (const Legend::Line& line : legend.lines) {
        SelectFont(cr, kFontSize, &line == &legend.lines.front());
        SetColour(cr, line.colour);
        cairo_move_to(cr, kPadding, top + line.y);
        cairo_show_text(cr, line.text.c_str());
    }
    SelectFont(cr, kFontSize);
    for (const LegendItem& item : legend.items) {
        const double mid = top + item.y - kFontSize * 0.35;
        switch (item.kind) {
            case LegendItem::kSwatch:
                cairo_rectangle(cr, item.x, mid - kSwatchSize / 2, kSwatchSize, kSwatchSize);
                SetColour(cr, item.colour);
                cairo_fill(cr);
                break;
            case LegendItem::kArrow:
                DrawArrow(cr, item.x + 2, mid, item.x + kSymbolWidth - 2, mid);
                break;
            case LegendItem::kQuantiser:
                SelectFont(cr, kFontSize, true);
                DrawOutlinedText(cr, "12", item.x + kSymbolWidth / 2, mid);
                SelectFont(cr, kFontSize);
                break;
            case LegendItem::kRamp: {
                cairo_pattern_t* ramp =
                    cairo_pattern_create_linear(item.x, 0, item.x + 2 * kSymbolWidth, 0);
                for (int i = 0; i < kHeatStops; ++i) {
                    const Rgb c = kHeatRamp[i];
                    cairo_pattern_add_color_stop_rgb(ramp, i / (kHeatStops - 1.0), c.red / 255.0,
                                                     c.green / 255.0, c.blue / 255.0);
                }
                cairo_rectangle(cr, item.x, mid - kSwatchSize / 2, 2 * kSymbolWidth, kSwatchSize);
                cairo_set_source(cr, ramp);
                cairo_fill(cr);
                cairo_pattern_destroy(ramp);
                break;
            }
        }
        SetColour(cr, kText);
        cairo_move_to(cr, item.x + SymbolWidth(item) + 5, top + item.y);
        cairo_show_text(cr, item.label.c_str());
    }
}

void DrawPicture(cairo_t* cr, const BgraPicture& picture, int scale) {
    if (picture.width == 0 || picture.height == 0) return;
    // The library writes native 0xAARRGGBB words with opaque alpha, which is
    // cairo's ARGB32 layout; cairo only reads the pixels.
    SurfacePtr image(
        cairo_image_surface_create_for_data(
            reinterpret_cast<unsigned char*>(const_cast<uint32_t*>(picture.pixels.data())),
            CAIRO_FORMAT_ARGB32, picture.width, picture.height, picture.width * 4),
        cairo_surface_destroy);
    cairo_save(cr);
    cairo_scale(cr, scale, scale);
    cairo_set_source_surface(cr, image.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_rectangle(cr, 0, 0, picture.width, picture.height);
    cairo_fill(cr);
    cairo_restore(cr);
    cairo_rectangle(cr, 0, 0, picture.width * scale, picture.height * scale);
    SetColour(cr, kBlack, kPictureDim);
    cairo_fill(cr);
}

void DrawMacroblocks(cairo_t* cr, const FrameAnalysis& frame, const OverlayOptions& options) {
    const MacroblockCapture& mbs = frame.macroblocks;
    const int s = options.scale;
    const double size = 16.0 * s;
    uint32_t most = 1;
    for (const MacroblockRecord& r : mbs.records) most = std::max(most, r.bitCount);
    const size_t grid = static_cast<size_t>(mbs.columns) * static_cast<size_t>(mbs.rows);
    const bool showNotReached = !frame.error.empty() && !mbs.records.empty();
    for (size_t i = 0; i < grid; ++i) {
        const size_t column = i % mbs.columns;
        const size_t row = i / mbs.columns;
        const double x = static_cast<double>(column) * size;
        const double y = static_cast<double>(row) * size;
        if (i >= mbs.records.size()) {
            if (!showNotReached || !(options.types || options.bits)) break;
            cairo_rectangle(cr, x, y, size, size);
            SetColour(cr, StyleOf(MacroblockClass::kNotReached).colour, 0.75);
            cairo_fill(cr);
            continue;
        }
        const MacroblockRecord& r = mbs.records[i];
        const MacroblockClass c = ClassOf(r);
        const bool failed = c == MacroblockClass::kDamaged;
        // A damaged macroblock has no bit count to show: its class colour
        // stands in the heat map too.
        if (options.bits && !failed) {
            cairo_rectangle(cr, x, y, size, size);
            SetColour(cr, HeatColour(std::sqrt(static_cast<double>(r.bitCount) / most)),
                      kFillOpacity);
            cairo_fill(cr);
            if (options.types) {
                cairo_rectangle(cr, x + 1.5, y + 1.5, size - 3, size - 3);
                SetColour(cr, StyleOf(c).colour);
                cairo_set_line_width(cr, 1.5);
                cairo_stroke(cr);
            }
        } else if (options.types || (failed && options.bits)) {
            cairo_rectangle(cr, x, y, size, size);
            SetColour(cr, StyleOf(c).colour, kFillOpacity);
            cairo_fill(cr);
        }
    }
    if (options.grid) {
        SetColour(cr, kWhite, 0.25);
        cairo_set_line_width(cr, 1);
        for (int col = 1; col < mbs.columns; ++col) {
            cairo_move_to(cr, col * size + 0.5, 0);
            cairo_line_to(cr, col * size + 0.5, mbs.rows * size);
        }
        for (int row = 1; row < mbs.rows; ++row) {
            cairo_move_to(cr, 0, row * size + 0.5);
            cairo_line_to(cr, mbs.columns * size, row * size + 0.5);
        }
        cairo_stroke(cr);
    }
    for (size_t i = 0; i < mbs.records.size() && options.vectors; ++i) {
        const MacroblockRecord& r = mbs.records[i];
        if (r.damaged || r.skipped || IsIntraMacroblock(r.type)) continue;
        const bool four = r.type == kMacroblockInter4V;
        for (int k = 0; k < (four ? 4 : 1); ++k) {
            const ArrowStart o = VectorOrigin(static_cast<int>(i % mbs.columns),
                                              static_cast<int>(i / mbs.columns), k, four);
            // Vectors count half samples.
            DrawArrow(cr, o.x * s, o.y * s, (o.x + r.vectors[k].x / 2.0) * s,
                      (o.y + r.vectors[k].y / 2.0) * s);
        }
    }
    if (options.quantisers) {
        SelectFont(cr, 6.5 * s, true);
        for (size_t i = 0; i < mbs.records.size(); ++i) {
            const MacroblockRecord& r = mbs.records[i];
            if (r.damaged || r.skipped) continue;
            const ArrowStart o = VectorOrigin(static_cast<int>(i % mbs.columns),
                                              static_cast<int>(i / mbs.columns), 0, false);
            DrawOutlinedText(cr, std::to_string(r.quantiser), o.x * s, o.y * s);
        }
    }
}

void Paint(cairo_t* cr, const FrameAnalysis& frame, const OverlayOptions& options,
           const Legend& legend, int width, int height) {
    const int pictureWidth = frame.picture.width * options.scale;
    const int pictureHeight = frame.picture.height * options.scale;
    SetColour(cr, kBackground);
    cairo_rectangle(cr, 0, 0, width, height);
    cairo_fill(cr);
    DrawPicture(cr, frame.picture, options.scale);
    cairo_save(cr);
    // The macroblock grid may reach past the picture's right and bottom edges.
    cairo_rectangle(cr, 0, 0, pictureWidth, pictureHeight);
    cairo_clip(cr);
    DrawMacroblocks(cr, frame, options);
    cairo_restore(cr);
    DrawLegend(cr, legend, pictureHeight);
}

}  // namespace

bool ParseOverlayList(const std::string& list, OverlayOptions* options, std::string* error) {
    options->types = options->vectors = options->quantisers = options->bits = options->grid = false;
    std::stringstream names(list);
    std::string name;
    while (std::getline(names, name, ',')) {
        if (name == "type") {
            options->types = true;
        } else if (name == "vectors") {
            options->vectors = true;
        } else if (name == "quant") {
            options->quantisers = true;
        } else if (name == "bits") {
            options->bits = true;
        } else if (name == "grid") {
            options->grid = true;
        } else if (name != "none") {
            *error = "--overlays: unknown overlay '" + name +
                     "' (choose from type, vectors, quant, bits, grid, none)";
            return false;
        }
    }
    return true;
}

bool WriteOverlayPicture(const std::string& path, const FrameAnalysis& frame,
                         const OverlayOptions& options, std::string* error) {
    const int width = std::max(frame.picture.width * options.scale, kMinimumWidth);
    // Text is measured on a scratch surface, so the legend's height is known
    // before the drawing surface is made.
    SurfacePtr scratch(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1),
                       cairo_surface_destroy);
    ContextPtr measure(cairo_create(scratch.get()), cairo_destroy);
    const Legend legend = LayoutLegend(measure.get(), frame, options, width);
    const int height =
        frame.picture.height * options.scale + static_cast<int>(std::ceil(legend.height));

    const bool svg = EndsWithSvg(path);
    SurfacePtr surface(svg ? cairo_svg_surface_create(path.c_str(), width, height)
                           : cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height),
                       cairo_surface_destroy);
    ContextPtr cr(cairo_create(surface.get()), cairo_destroy);
    Paint(cr.get(), frame, options, legend, width, height);
    cairo_status_t status = cairo_status(cr.get());
    if (status == CAIRO_STATUS_SUCCESS) {
        if (svg) {
            cairo_surface_finish(surface.get());
            status = cairo_surface_status(surface.get());
        } else {
            status = cairo_surface_write_to_png(surface.get(), path.c_str());
        }
    }
    if (status != CAIRO_STATUS_SUCCESS) {
        *error = path + ": cannot write the overlay picture: " + cairo_status_to_string(status);
        return false;
    }
    return true;
}

}  // namespace veltrane::tools
