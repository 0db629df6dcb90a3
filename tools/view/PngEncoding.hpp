#pragma once
// RGB images as PNG bytes in memory, for serving rather than writing files.
#include <string>

#include "support/PngWriter.hpp"

namespace kelvora::tools {

// The PNG file of the image, as bytes in a string. Throws ToolError when
// libpng reports an error or the image is empty.
std::string encodePng(const RgbImage& image);

}  // namespace kelvora::tools
