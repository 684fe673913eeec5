// One JSON object on one line, built field by field.
#ifndef VELTRANE_TOOLS_JSON_LINE_H
#define VELTRANE_TOOLS_JSON_LINE_H

#include <cstdint>
#include <string>

#include "veltrane/decoder.h"

namespace veltrane::tools {

class JsonLine {
public:
    JsonLine& Add(const char* key, uint64_t value);
    JsonLine& Add(const char* key, uint32_t value) { return Add(key, uint64_t{value}); }
    JsonLine& Add(const char* key, double value);
    JsonLine& Add(const char* key, const std::string& value);
    JsonLine& Add(const char* key, const char* value) { return Add(key, std::string(value)); }
    std::string str() const { return "{" + body_ + "}"; }

private:
    void Key(const char* key);
    std::string body_;
};

// The letter the tool shows for a picture type: I intra, P inter, D disposable
// inter, E empty (type 3, no macroblock data).
const char* PictureTypeLetter(uint32_t pictureType);

// The picture header's fields, as `info --json` and the analysis report give them.
JsonLine& AddPictureHeader(JsonLine& line, const PictureHeader_t& h);

// The text as a quoted JSON string.
std::string JsonQuote(const std::string& text);

}  // namespace veltrane::tools

#endif
