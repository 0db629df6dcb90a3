// The file writers read back by independent means: libpng's own reader for
// PNG, a hand parse of the documented npy and PLY layouts.
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
#include "support/NpyWriter.hpp"
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

struct NpyCase {
  const char* descr;
  std::vector<uint32_t> shape;
  const char* shapeText;
};

TEST(NpyWriter, HeaderFollowsTheFormat) {
  for (const NpyCase& c : {NpyCase{"<f4", {172, 224}, "(172, 224)"}, NpyCase{"<u4", {3}, "(3,)"},
                           NpyCase{"<f4", {2, 3, 4}, "(2, 3, 4)"}}) {
    const std::vector<uint8_t> h = npyHeader(c.descr, c.shape);
    ASSERT_GE(h.size(), 10u);
    EXPECT_EQ(std::memcmp(h.data(), "\x93NUMPY\x01\x00", 8), 0);
    const size_t length = h[8] | h[9] << 8;
    EXPECT_EQ(10 + length, h.size());
    EXPECT_EQ(h.size() % 64, 0u) << "data must start aligned";
    const std::string dict(h.begin() + 10, h.end());
    EXPECT_EQ(dict.back(), '\n');
    EXPECT_NE(dict.find(std::string("'descr': '") + c.descr + "'"), std::string::npos) << dict;
    EXPECT_NE(dict.find("'fortran_order': False"), std::string::npos) << dict;
    EXPECT_NE(dict.find(std::string("'shape': ") + c.shapeText), std::string::npos) << dict;
  }
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

// The ends of the scale clamp (NaN to the low end); each cause of a flag
// word has a colour of its own, the first listed wins, and the bare invalid
// bit left by image validation is none of them.
TEST(ColourMap, EndsClampAndFlagCausesAreDistinct) {
  uint8_t lo[3], hi[3], below[3], above[3], nan[3];
  colourMap(0.0f, lo);
  colourMap(1.0f, hi);
  colourMap(-3.0f, below);
  colourMap(7.0f, above);
  colourMap(std::nanf(""), nan);
  EXPECT_TRUE(std::equal(lo, lo + 3, below) && std::equal(lo, lo + 3, nan));
  EXPECT_TRUE(std::equal(hi, hi + 3, above));
  EXPECT_FALSE(std::equal(lo, lo + 3, hi));

  const std::vector<FlagCause>& causes = flagCauses();
  ASSERT_EQ(causes.size(), 7u);
  std::vector<uint32_t> colours;
  uint8_t rgb[3];
  for (const FlagCause& c : causes) {
    flagColour(c.value, rgb);
    colours.push_back(rgb[0] << 16 | rgb[1] << 8 | rgb[2]);
  }
  flagColour(1, rgb);
  colours.push_back(rgb[0] << 16 | rgb[1] << 8 | rgb[2]);
  std::sort(colours.begin(), colours.end());
  EXPECT_EQ(std::unique(colours.begin(), colours.end()), colours.end());
  flagColour(0, rgb);
  EXPECT_EQ(rgb[0] + rgb[1] + rgb[2], 0);
  flagColour(causes[0].value | causes[3].value, rgb);
  EXPECT_TRUE(std::equal(rgb, rgb + 3, causes[0].colour));
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
