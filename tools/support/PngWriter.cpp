#include "support/PngWriter.hpp"

#include <png.h>

#include <fstream>

#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

[[noreturn]] void onPngError(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}
void onPngWarning(png_structp, png_const_charp) {}

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
  static_cast<std::string*>(png_get_io_ptr(png))
      ->append(reinterpret_cast<const char*>(data), length);
}
void flushNothing(png_structp) {}

// No object with a destructor may live in the frame that setjmp returns
// into, so the caller owns the output string.
bool encodeRows(const RgbImage& image, int compressionLevel, std::string* out) {
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onPngError, onPngWarning);
  if (png == nullptr) return false;
  png_infop info = png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_set_write_fn(png, out, appendBytes, flushNothing);
  if (compressionLevel >= 0) png_set_compression_level(png, compressionLevel);
  png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (uint32_t y = 0; y < image.height; ++y) {
    png_write_row(png, &image.rgb[3ull * image.width * y]);
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

void checkShape(const RgbImage& image, const std::string& what) {
  if (image.width == 0 || image.height == 0 ||
      image.rgb.size() != 3ull * image.width * image.height) {
    throw ToolError("empty or inconsistent image" + what);
  }
}

}  // namespace

std::string encodePng(const RgbImage& image, int compressionLevel) {
  checkShape(image, "");
  std::string out;
  if (!encodeRows(image, compressionLevel, &out)) throw ToolError("cannot encode a PNG image");
  return out;
}

void writePng(const std::string& path, const RgbImage& image) {
  checkShape(image, " for " + path);
  std::string bytes;
  if (!encodeRows(image, -1, &bytes)) throw ToolError("cannot write PNG " + path);
  std::ofstream file(path, std::ios::binary);
  if (!file) throw ToolError("cannot write " + path);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.flush();
  if (!file) throw ToolError("cannot write PNG " + path);
}

}  // namespace kelvora::tools
