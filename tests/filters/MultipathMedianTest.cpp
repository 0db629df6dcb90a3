#include "filters/MultipathMedian.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "filters/MultipathMedianKernel.hpp"

namespace kelvora {
namespace {

uint32_t bitsOf(float v) {
  uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

float fromBits(uint32_t b) {
  float v;
  std::memcpy(&v, &b, sizeof v);
  return v;
}

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
  std::nth_element(v, v + 4, v + 9);
  return v[4];
}

// How the test images are filled.
enum class Fill {
  kFine,    // distinct finite values
  kCoarse,  // four levels, so ties are frequent and exercise equal keys
  kSalted,  // coarse values with -0/+0 ties, NaNs of several sign/payloads, +-inf
};

// Exact-size buffers, so that a read past the image's end is caught by the
// sanitizers.
std::unique_ptr<float[]> randomImage(std::size_t n, Fill fill, std::mt19937& rng) {
  static const float kSalt[] = {0.0f,
                                -0.0f,
                                std::numeric_limits<float>::infinity(),
                                -std::numeric_limits<float>::infinity(),
                                fromBits(0x7FC00000u),
                                fromBits(0xFFC00000u),
                                fromBits(0x7FC12345u)};
  std::uniform_real_distribution<float> fine(-2.0f, 2.0f);
  std::uniform_int_distribution<int> level(0, 3);
  std::uniform_int_distribution<int> salt(0, 2 * static_cast<int>(std::size(kSalt)) - 1);
  std::unique_ptr<float[]> img(new float[n]);
  for (std::size_t i = 0; i < n; ++i) {
    const int s = fill == Fill::kSalted ? salt(rng) : -1;
    if (s >= 0 && s < static_cast<int>(std::size(kSalt))) {
      img[i] = kSalt[s];
    } else {
      img[i] = fill == Fill::kFine ? fine(rng) : static_cast<float>(level(rng) - 1);
    }
  }
  return img;
}

// Widths 1..40 give every count of whole vector steps up to four with every
// scalar remainder, odd and even; 67 and 130 give many steps per row.
std::vector<uint32_t> testWidths() {
  std::vector<uint32_t> widths;
  for (uint32_t w = 1; w <= 40; ++w) widths.push_back(w);
  widths.push_back(67);
  widths.push_back(130);
  return widths;
}

template <class D>
class MultipathMedian : public ::testing::Test {};
TYPED_TEST_SUITE(MultipathMedian, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(MultipathMedian, MatchesTheScalarCodeBitForBitAndBruteForce) {
  // Which of -0 and +0, and which NaN, comes out is fixed by the order of the
  // min/max operations; the vector form must keep it in every lane. Images
  // without NaN or -0 are also checked against a plain 5th-smallest.
  std::mt19937 rng(3);
  for (Fill fill : {Fill::kFine, Fill::kCoarse, Fill::kSalted}) {
    for (uint32_t h : {1u, 2u, 3u, 4u, 5u, 8u}) {
      for (uint32_t w : testWidths()) {
        SCOPED_TRACE(::testing::Message() << w << "x" << h << " fill " << static_cast<int>(fill));
        const std::size_t n = static_cast<std::size_t>(w) * h;
        const std::unique_ptr<float[]> original = randomImage(n, fill, rng);
        std::unique_ptr<float[]> vec(new float[n]), ref(new float[n]);
        std::unique_ptr<float[]> vecScratch(new float[n]), refScratch(new float[n]);
        std::copy(original.get(), original.get() + n, vec.get());
        std::copy(original.get(), original.get() + n, ref.get());
        multipathMedian(TypeParam(), w, h, vec.get(), vecScratch.get());
        multipathMedianScalar(w, h, ref.get(), refScratch.get());
        for (uint32_t y = 0; y < h; ++y) {
          for (uint32_t x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + x;
            ASSERT_EQ(bitsOf(vecScratch[i]), bitsOf(original[i]));
            ASSERT_EQ(bitsOf(vec[i]), bitsOf(ref[i])) << "at " << x << "," << y;
            if (fill == Fill::kSalted) continue;
            const bool filtered = h >= 3 && y >= 1 && y + 1 < h && filteredColumn(w, x);
            const float want = filtered ? bruteMedian(original.get(), w, x, y) : original[i];
            ASSERT_EQ(ref[i], want) << "at " << x << "," << y;
          }
        }
      }
    }
  }
}

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
