// The file writers read back by independent means: libpng's own reader for
// PNG and a hand parse of the PLY layout (the npy files are parsed by the
// end-to-end table); and the percentile behind the demo's accuracy claim
// against a sort.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/ColourMap.hpp"
#include "support/PlyWriter.hpp"
#include "support/PngWriter.hpp"

namespace kelvora::tools {
namespace {

std::string tempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("kelvora-tools-" + name)).string();
}

std::vector<uint8_t> readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
}

TEST(PlyWriter, HeaderCountsThePointsAndDataFollows) {
  const std::vector<PlyPoint> points = {{0.1f, -0.2f, 1.5f, 0.9f}, {1, 2, 3, 4}, {-1, 0, 9, 0}};
  const std::string path = tempPath("p.ply");
  writePly(path, points);
  const std::vector<uint8_t> bytes = readAll(path);
  const std::string text(bytes.begin(), bytes.end());
  const size_t end = text.find("end_header\n");
  ASSERT_NE(end, std::string::npos);
  const std::string header = text.substr(0, end);
  EXPECT_EQ(header.rfind("ply\nformat binary_little_endian 1.0\n", 0), 0u);
  EXPECT_NE(header.find("element vertex 3\n"), std::string::npos);
  const size_t x = header.find("property float x"), z = header.find("property float z"),
               c = header.find("property float confidence");
  EXPECT_TRUE(x < z && z < c && c != std::string::npos);
  const size_t data = end + std::strlen("end_header\n");
  ASSERT_EQ(bytes.size(), data + 16 * points.size());
  float got[12];
  std::memcpy(got, &bytes[data], sizeof(got));  // little-endian host
  EXPECT_EQ(got[0], 0.1f);
  EXPECT_EQ(got[3], 0.9f);
  EXPECT_EQ(got[6], 3.0f);
  EXPECT_EQ(got[10], 9.0f);
  std::filesystem::remove(path);
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

TEST(Percentile, MatchesNearestRankOnSortedValues) {
  std::vector<float> v;
  for (int i = 0; i < 101; ++i) v.push_back(static_cast<float>((i * 37) % 101));
  v.push_back(std::nanf(""));
  std::vector<float> sorted(v.begin(), v.end() - 1);
  std::sort(sorted.begin(), sorted.end());
  for (float q : {0.0f, 0.01f, 0.5f, 0.95f, 1.0f}) {
    const size_t rank = std::max<size_t>(1, static_cast<size_t>(std::ceil(q * sorted.size())));
    EXPECT_EQ(percentile(v, q), sorted[rank - 1]) << q;
  }
  EXPECT_EQ(percentile({}, 0.5f), 0.0f);
}

}  // namespace
}  // namespace kelvora::tools
