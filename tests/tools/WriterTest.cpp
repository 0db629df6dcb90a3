// The PNG writer read back by libpng's own reader. (The npy files are parsed,
// and the PLY files' points counted, by the end-to-end table.)
#include <gtest/gtest.h>
#include <png.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/PngWriter.hpp"

namespace kelvora::tools {
namespace {

std::string tempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("kelvora-tools-" + name)).string();
}

TEST(PngWriter, LibpngReadsBackSizeAndPixels) {
  RgbImage image(13, 7);
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const uint8_t c[3] = {static_cast<uint8_t>(x * 19), static_cast<uint8_t>(y * 37),
                            static_cast<uint8_t>(x ^ y)};
      image.set(x, y, c);
    }
  }
  const std::string path = tempPath("i.png");
  writePng(path, image);
  png_image read;
  std::memset(&read, 0, sizeof(read));
  read.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_file(&read, path.c_str())) << read.message;
  EXPECT_EQ(read.width, 13u);
  EXPECT_EQ(read.height, 7u);
  read.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(read));
  ASSERT_TRUE(png_image_finish_read(&read, nullptr, pixels.data(), 0, nullptr)) << read.message;
  EXPECT_EQ(pixels, image.rgb);
  std::filesystem::remove(path);
  EXPECT_ANY_THROW(writePng("/nonexistent-dir/x.png", RgbImage(2, 2)));
  EXPECT_ANY_THROW(writePng(tempPath("empty.png"), RgbImage()));
}

}  // namespace
}  // namespace kelvora::tools
