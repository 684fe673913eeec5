// Overlay pictures with cairo: the picture of a frame analysis, dimmed, with
// the macroblock types as a colour fill, motion vectors as arrows, quantisers,
// a heat map of bits per macroblock and the macroblock grid, each of which can
// be switched off, and a legend strip below the picture.
#ifndef VELTRANE_TOOLS_OVERLAY_PAINTER_H
#define VELTRANE_TOOLS_OVERLAY_PAINTER_H

#include <string>

#include "stream_analysis.h"

namespace veltrane::tools {

struct OverlayOptions {
    bool types = true;        // colour fill by macroblock type
    bool vectors = true;      // arrows, one per vector
    bool quantisers = false;  // the quantiser of each coded macroblock
    bool bits = false;        // heat map of bits per macroblock (types then become outlines)
    bool grid = true;         // macroblock boundaries
    int scale = 2;            // output pixels per picture pixel
};

// Parses a comma-separated list of the overlays to show: type, vectors, quant,
// bits, grid, or none.
bool ParseOverlayList(const std::string& list, OverlayOptions* options, std::string* error);

// Draws the overlay picture of `frame` into a PNG or, for a name ending in
// .svg, an SVG file. Errors name the file.
bool WriteOverlayPicture(const std::string& path, const FrameAnalysis& frame,
                         const OverlayOptions& options, std::string* error);

}  // namespace veltrane::tools

#endif
