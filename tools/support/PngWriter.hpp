#pragma once
// 8-bit RGB images, written through libpng.
#include <cstdint>
#include <string>
#include <vector>

namespace kelvora::tools {

struct RgbImage {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> rgb;  // 3 bytes per pixel, row-major

  RgbImage() = default;
  RgbImage(uint32_t w, uint32_t h, uint8_t fill = 0)
      : width(w), height(h), rgb(3ull * w * h, fill) {}
  uint8_t* at(uint32_t x, uint32_t y) { return &rgb[3 * (static_cast<size_t>(y) * width + x)]; }
  void set(uint32_t x, uint32_t y, const uint8_t c[3]) {
    if (x < width && y < height) {
      uint8_t* p = at(x, y);
      p[0] = c[0];
      p[1] = c[1];
      p[2] = c[2];
    }
  }
};

// Throws ToolError when libpng reports an error or the file cannot be opened.
void writePng(const std::string& path, const RgbImage& image);

// The PNG file of the image, as bytes in a string, at a zlib compression
// level (0..9; -1 for libpng's default, which writePng uses). Throws
// ToolError when libpng reports an error or the image is empty.
std::string encodePng(const RgbImage& image, int compressionLevel = -1);

}  // namespace kelvora::tools
