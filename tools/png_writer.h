// PNG output through libpng, from BGRA pictures.
#ifndef VELTRANE_TOOLS_PNG_WRITER_H
#define VELTRANE_TOOLS_PNG_WRITER_H

#include <string>

#include "bgra_picture.h"

namespace veltrane::tools {

// Writes the picture as 8-bit RGB, or RGBA when `withAlpha` is set.
bool WritePng(const std::string& path, const BgraPicture& picture, bool withAlpha,
              std::string* error);

}  // namespace veltrane::tools

#endif
