#include "json_line.h"

#include <cmath>
#include <cstdio>

namespace veltrane::tools {

std::string JsonQuote(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", u);
            out += escape;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

void JsonLine::Key(const char* key) {
    if (!body_.empty()) body_ += ",";
    body_ += JsonQuote(key) + ":";
}

JsonLine& JsonLine::Add(const char* key, uint64_t value) {
    Key(key);
    body_ += std::to_string(value);
    return *this;
}

JsonLine& JsonLine::Add(const char* key, double value) {
    Key(key);
    if (!std::isfinite(value)) {
        body_ += "null";  // JSON has no infinities
        return *this;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", value);
    body_ += text;
    return *this;
}

JsonLine& JsonLine::Add(const char* key, const std::string& value) {
    Key(key);
    body_ += JsonQuote(value);
    return *this;
}

const char* PictureTypeLetter(uint32_t pictureType) {
    static const char* const kLetters[4] = {"I", "P", "D", "E"};
    return kLetters[pictureType & 3];
}

JsonLine& AddPictureHeader(JsonLine& line, const PictureHeader_t& h) {
    return line.Add("type", PictureTypeLetter(h.pictureType))
        .Add("picture_type", h.pictureType)
        .Add("version", h.version)
        .Add("width", h.width)
        .Add("height", h.height)
        .Add("quantiser", h.quantiser)
        .Add("temporal_reference", h.temporalReference)
        .Add("deblocking", h.deblocking);
}

}  // namespace veltrane::tools
