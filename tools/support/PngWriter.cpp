#include "support/PngWriter.hpp"

#include <png.h>

#include <cstdio>
#include <memory>

#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

[[noreturn]] void onPngError(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}
void onPngWarning(png_structp, png_const_charp) {}

// Kept apart from writePng so that no object with a destructor lives in the
// frame that setjmp returns into.
bool writeRows(std::FILE* file, const RgbImage& image) {
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onPngError, onPngWarning);
  if (png == nullptr) return false;
  png_infop info = png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
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

}  // namespace

void writePng(const std::string& path, const RgbImage& image) {
  if (image.width == 0 || image.height == 0 ||
      image.rgb.size() != 3ull * image.width * image.height) {
    throw ToolError("empty or inconsistent image for " + path);
  }
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
  if (!file) throw ToolError("cannot write " + path);
  const bool written = writeRows(file.get(), image);
  if (!written || std::fflush(file.get()) != 0) throw ToolError("cannot write PNG " + path);
}

}  // namespace kelvora::tools
