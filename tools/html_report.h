// The HTML stream report: one self-contained file (page, script and data, no
// network) with a chart of bits per picture stacked by macroblock type, the
// picture types, quantisers and PSNR, and per picture its header fields and an
// overlay that the page draws from the decoder's macroblock records over the
// picture's luma, embedded as a grey PNG.
#ifndef VELTRANE_TOOLS_HTML_REPORT_H
#define VELTRANE_TOOLS_HTML_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "ivf.h"
#include "stream_analysis.h"

namespace veltrane::tools {

class HtmlReport {
public:
    HtmlReport(const std::string& input, const IvfFileHeader& header, bool withSource);

    // Keeps what the page needs of the frame: its fields, its macroblocks in a
    // compact form and its picture.
    void Add(const FrameAnalysis& frame);
    // Writes the page; errors name the file.
    bool Write(const std::string& path, std::string* error) const;
    // The data the page is built from, as JSON.
    std::string DataJson() const;

private:
    std::string input_;
    IvfFileHeader header_;
    bool withSource_;
    std::vector<std::string> frames_;    // one JSON object per frame
    std::vector<std::string> pictures_;  // data: URLs of the grey pictures
    // The picture a failed frame shows again is shared with the frame that
    // decoded it.
    int lastGoodPicture_ = -1;
};

// `bytes` in base64.
std::string Base64(const std::vector<uint8_t>& bytes);
// A grey PNG of the luma (BT.601 weights, 6 bits) of a BGRA picture.
std::vector<uint8_t> LumaPng(const BgraPicture& picture);

}  // namespace veltrane::tools

#endif
