#include "html_report.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "json_line.h"
#include "overlay_style.h"

namespace veltrane::tools {

namespace {

// The page, with the marker where the data goes (generated from report_page.html).
constexpr char kPage[] =
#include "report_page.inc"
    ;
constexpr char kDataMarker[] = "@VELTRANE_REPORT_DATA@";

constexpr const char* kShownNames[] = {"decoded", "reached", "previous", "blank"};

std::string HexColour(Rgb c) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", c.red, c.green, c.blue);
    return text;
}

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

template <typename Values>
std::string JsonArray(const Values& values) {
    std::string out = "[";
    for (const auto& v : values) {
        if (out.size() > 1) out += ",";
        out += std::to_string(v);
    }
    return out + "]";
}

std::string StyleJson() {
    std::string classes = "[";
    for (int c = 0; c < kMacroblockClassCount; ++c) {
        if (c > 0) classes += ",";
        classes += "{\"key\":" + JsonQuote(kClassStyles[c].key) +
                   ",\"label\":" + JsonQuote(kClassStyles[c].label) +
                   ",\"colour\":" + JsonQuote(HexColour(kClassStyles[c].colour)) + "}";
    }
    std::string heat = "[";
    for (int i = 0; i < kHeatStops; ++i) {
        heat += (i > 0 ? "," : "") + JsonQuote(HexColour(kHeatRamp[i]));
    }
    return "{\"classes\":" + classes + "],\"heat\":" + heat + "],\"dim\":" + Number(kPictureDim) +
           ",\"fill\":" + Number(kFillOpacity) + "}";
}

std::string HeaderJson(const PictureHeader_t& h) {
    JsonLine line;
    return AddPictureHeader(line, h).str();
}

// The macroblocks as the page draws them: one class digit, quantiser character
// ('0' + q) and bit count per record, and the vectors of the inter macroblocks
// that are drawn, in raster order (two numbers, or eight for four vectors).
std::string MacroblocksJson(const MacroblockCapture& mbs) {
    std::string classes, quantisers;
    std::vector<uint32_t> bits;
    std::vector<int32_t> vectors;
    for (const MacroblockRecord& r : mbs.records) {
        const MacroblockClass c = ClassOf(r);
        classes += static_cast<char>('0' + static_cast<int>(c));
        quantisers += static_cast<char>('0' + r.quantiser);
        bits.push_back(r.bitCount);
        if (c == MacroblockClass::kInter || c == MacroblockClass::kInterQ ||
            c == MacroblockClass::kInter4V) {
            for (int k = 0; k < (c == MacroblockClass::kInter4V ? 4 : 1); ++k) {
                vectors.push_back(r.vectors[k].x);
                vectors.push_back(r.vectors[k].y);
            }
        }
    }
    return "\"columns\":" + std::to_string(mbs.columns) + ",\"rows\":" + std::to_string(mbs.rows) +
           ",\"classes\":" + JsonQuote(classes) + ",\"quantisers\":" + JsonQuote(quantisers) +
           ",\"mb_bits\":" + JsonArray(bits) + ",\"vectors\":" + JsonArray(vectors);
}

void AppendToVector(png_structp png, png_bytep data, png_size_t length) {
    auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    out->insert(out->end(), data, data + length);
}

[[noreturn]] void OnPngError(png_structp png, png_const_charp) {
    std::longjmp(*static_cast<std::jmp_buf*>(png_get_error_ptr(png)), 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

}  // namespace

std::string Base64(const std::vector<uint8_t>& bytes) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t n = std::min<size_t>(3, bytes.size() - i);
        uint32_t word = uint32_t{bytes[i]} << 16;
        if (n > 1) word |= uint32_t{bytes[i + 1]} << 8;
        if (n > 2) word |= bytes[i + 2];
        for (size_t k = 0; k < 4; ++k) {
            out += k <= n ? kDigits[(word >> (18 - 6 * k)) & 63] : '=';
        }
    }
    return out;
}

std::vector<uint8_t> LumaPng(const BgraPicture& picture) {
    std::vector<uint8_t> out;
    if (picture.width <= 0 || picture.height <= 0) return out;
    std::vector<uint8_t> grey(static_cast<size_t>(picture.width) * picture.height);
    for (size_t i = 0; i < grey.size(); ++i) {
        const uint32_t p = picture.pixels[i];
        // BT.601 weights in 8-bit fixed point (77 + 150 + 29 = 256). Under a dimmed
        // overlay 64 grey levels look as 256 do, and the PNG is a third smaller.
        const uint32_t luma =
            (77 * ((p >> 16) & 255) + 150 * ((p >> 8) & 255) + 29 * (p & 255) + 128) >> 8;
        grey[i] = static_cast<uint8_t>(luma & 0xFC);
    }
    std::jmp_buf jump;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &jump, OnPngError, OnPngWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr || setjmp(jump) != 0) {
        png_destroy_write_struct(&png, &info);
        return {};
    }
    png_set_write_fn(png, &out, AppendToVector, nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width),
                 static_cast<png_uint_32>(picture.height), 8, PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int row = 0; row < picture.height; ++row) {
        png_write_row(png, grey.data() + static_cast<size_t>(row) * picture.width);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return out;
}

HtmlReport::HtmlReport(const std::string& input, const IvfFileHeader& header, bool withSource)
    : input_(input), header_(header), withSource_(withSource) {}

void HtmlReport::Add(const FrameAnalysis& frame) {
    int picture = -1;
    if (frame.shown == ShownPicture::kPrevious) {
        picture = lastGoodPicture_;
    } else {
        const std::vector<uint8_t> png = LumaPng(frame.picture);
        if (!png.empty()) {
            picture = static_cast<int>(pictures_.size());
            pictures_.push_back("data:image/png;base64," + Base64(png));
        }
        if (frame.shown == ShownPicture::kDecoded) lastGoodPicture_ = picture;
    }

    uint64_t bitsByClass[kMacroblockClassCount] = {};
    for (const MacroblockRecord& r : frame.macroblocks.records) {
        bitsByClass[static_cast<int>(ClassOf(r))] += r.bitCount;
    }
    std::string json =
        "{\"index\":" + std::to_string(frame.index) + ",\"bytes\":" + std::to_string(frame.bytes) +
        ",\"bits\":" + std::to_string(frame.bits()) +
        ",\"header_bits\":" + std::to_string(frame.headerBits()) +
        ",\"header\":" + (frame.headerParsed ? HeaderJson(frame.header) : "null") +
        ",\"shown\":\"" + kShownNames[static_cast<int>(frame.shown)] + "\"" +
        ",\"picture\":" + std::to_string(picture) + ",\"bits_by_class\":" + JsonArray(bitsByClass) +
        "," + MacroblocksJson(frame.macroblocks);
    if (frame.hasPsnr) {
        json += ",\"psnr\":[" + Number(frame.psnr[0]) + "," + Number(frame.psnr[1]) + "," +
                Number(frame.psnr[2]) + "]";
    }
    if (!frame.error.empty()) {
        json += ",\"error\":" + JsonQuote(frame.error) +
                ",\"first_damaged\":" + std::to_string(frame.macroblocks.FirstDamaged());
    }
    frames_.push_back(json + "}");
}

std::string HtmlReport::DataJson() const {
    std::string json = "{\"input\":" + JsonQuote(input_) +
                       ",\"width\":" + std::to_string(header_.width) +
                       ",\"height\":" + std::to_string(header_.height) +
                       ",\"rate\":" + std::to_string(header_.rate) +
                       ",\"scale\":" + std::to_string(header_.scale) +
                       ",\"with_source\":" + (withSource_ ? "true" : "false") +
                       ",\"style\":" + StyleJson() + ",\"pictures\":[";
    for (size_t i = 0; i < pictures_.size(); ++i) {
        json += (i > 0 ? ",\"" : "\"") + pictures_[i] + "\"";
    }
    json += "],\"frames\":[\n";
    for (size_t i = 0; i < frames_.size(); ++i) {
        json += frames_[i] + (i + 1 < frames_.size() ? ",\n" : "\n");
    }
    return json + "]}";
}

bool HtmlReport::Write(const std::string& path, std::string* error) const {
    // '<' only occurs inside JSON strings, where \u003c stands for it; without
    // it no "</script>" in a file name can end the data early.
    std::string data;
    for (const char c : DataJson()) {
        if (c == '<') {
            data += "\\u003c";
        } else {
            data += c;
        }
    }
    const std::string page = kPage;
    const size_t marker = page.find(kDataMarker);
    const std::string html =
        page.substr(0, marker) + data + page.substr(marker + std::strlen(kDataMarker));
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *error = path + ": cannot create: " + std::strerror(errno);
        return false;
    }
    const bool written = std::fwrite(html.data(), 1, html.size(), file) == html.size();
    const int savedErrno = errno;
    if (std::fclose(file) != 0 || !written) {
        *error = path + ": cannot write: " + std::strerror(written ? errno : savedErrno);
        return false;
    }
    return true;
}

}  // namespace veltrane::tools
