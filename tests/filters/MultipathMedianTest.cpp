#include "filters/MultipathMedian.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

namespace kelvora {
namespace {

// Which columns the pair-wise median filters: 1 .. 2 * pairs, with
// pairs = ((width - 4) with the low bit cleared) / 2 + 1, none under width 4.
bool filteredColumn(uint32_t width, uint32_t x) {
  if (width < 4) return false;
  const uint32_t pairs = ((width - 4) & ~1u) / 2 + 1;
  return x >= 1 && x <= 2 * pairs;
}

float bruteMedian(const float* img, uint32_t width, uint32_t x, uint32_t y) {
  float v[9];
  int k = 0;
  for (uint32_t yy = y - 1; yy <= y + 1; ++yy)
    for (uint32_t xx = x - 1; xx <= x + 1; ++xx) v[k++] = img[yy * width + xx];
  std::sort(v, v + 9);
  return v[4];
}

class MultipathMedian : public ::testing::TestWithParam<bool> {};

TEST_P(MultipathMedian, MatchesBruteForceAndLeavesTheRestAlone) {
  // With coarse values, ties are frequent and exercise the merge's equal keys.
  const bool coarse = GetParam();
  std::mt19937 rng(coarse ? 3 : 4);
  std::uniform_real_distribution<float> fine(-2.0f, 2.0f);
  std::uniform_int_distribution<int> levels(0, 3);
  for (uint32_t h : {1u, 2u, 3u, 4u, 5u, 8u}) {
    for (uint32_t w = 1; w <= 12; ++w) {
      SCOPED_TRACE(::testing::Message() << w << "x" << h);
      const std::size_t n = static_cast<std::size_t>(w) * h;
      std::unique_ptr<float[]> original(new float[n]);
      std::unique_ptr<float[]> data(new float[n]);
      std::unique_ptr<float[]> scratch(new float[n]());
      for (std::size_t i = 0; i < n; ++i) {
        original[i] = coarse ? static_cast<float>(levels(rng)) : fine(rng);
      }
      std::copy(original.get(), original.get() + n, data.get());
      zyn_mpiFastMedian(w, h, data.get(), scratch.get());
      for (uint32_t y = 0; y < h; ++y) {
        for (uint32_t x = 0; x < w; ++x) {
          const std::size_t i = static_cast<std::size_t>(y) * w + x;
          ASSERT_EQ(scratch[i], original[i]);
          const bool filtered = h >= 3 && y >= 1 && y + 1 < h && filteredColumn(w, x);
          const float want = filtered ? bruteMedian(original.get(), w, x, y) : original[i];
          ASSERT_EQ(data[i], want) << "at " << x << "," << y;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Values, MultipathMedian, ::testing::Bool(),
                         [](const auto& param) { return param.param ? "Coarse" : "Fine"; });

TEST(MultipathMedianShape, OddWidthKeepsTheOutlierInTheLastInteriorColumn) {
  // An outlier in every interior column: at width 5 the one in column 3 stays,
  // at width 6 all are removed.
  for (uint32_t w : {5u, 6u}) {
    std::unique_ptr<float[]> data(new float[3 * w]);
    std::unique_ptr<float[]> scratch(new float[3 * w]);
    std::fill(data.get(), data.get() + 3 * w, 9.0f);
    for (uint32_t x = 1; x + 1 < w; ++x) data[w + x] = 0.0f;
    data[w + 2] = 9.0f;  // column 2 is not an outlier, so 1 and 3 stay isolated
    zyn_mpiFastMedian(w, 3, data.get(), scratch.get());
    EXPECT_EQ(data[w + 1], 9.0f);
    EXPECT_EQ(data[w + 3], w == 5 ? 0.0f : 9.0f) << "width " << w;
  }
}

}  // namespace
}  // namespace kelvora
