// The four-pixel path of the unwrapping-error filter against the one-pixel
// path, bit for bit, on every backend: images with smooth areas, unwrapping
// errors of one step either way, values on the vote thresholds, values outside
// the range and non-finite values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "filters/Filter2FreqKernel.hpp"

namespace kelvora {
namespace {

template <class D>
class Filter2FreqKernelTest : public ::testing::Test {};
TYPED_TEST_SUITE(Filter2FreqKernelTest, testing::AllSimdTags, testing::SimdTagName);

std::vector<float> mixedImage(int w, int h, const Filter2FreqConstants& c, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::uniform_int_distribution<int> kind(0, 9);
  std::vector<float> img(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      // A tilted plane, so neighbours mostly agree.
      float v = std::fmod(1.0f + 0.05f * x + 0.03f * y, c.range);
      switch (kind(rng)) {
        case 0:
          v += c.shift;  // an unwrapping error one way
          break;
        case 1:
          v -= c.shift;  // and the other
          break;
        case 2:
          v = unit(rng) * 9.0f - 1.0f;  // noise, partly outside [0, R)
          break;
        case 3:
          v += c.threshold * (unit(rng) < 0.5f ? 1.0f : -1.0f);  // on a vote boundary
          break;
        default:
          break;
      }
      img[static_cast<std::size_t>(y) * w + x] = v;
    }
  }
  return img;
}

void expectSameBits(const std::vector<float>& a, const std::vector<float>& b, int w, int h) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(std::memcmp(&a[i], &b[i], sizeof(float)), 0)
        << w << "x" << h << " pixel " << i << ": " << a[i] << " vs " << b[i];
  }
}

std::vector<float> perPixel(const std::vector<float>& img, int w, int h,
                            const Filter2FreqConstants& c) {
  std::vector<float> out(img.size());
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      out[static_cast<std::size_t>(y) * w + x] = filter2FreqPixel(img.data(), w, h, x, y, c);
    }
  }
  return out;
}

TYPED_TEST(Filter2FreqKernelTest, GroupsOfFourMatchOnePixelAtATime) {
  struct Pair {
    uint32_t f1, f2;
  };
  for (const Pair p : {Pair{80320000u, 60240000u}, Pair{40000000u, 80000000u}}) {
    const Filter2FreqConstants c = filter2FreqConstants(p.f1, p.f2);
    uint32_t seed = 1;
    for (int w : {1, 2, 5, 6, 9, 10, 13, 64}) {
      for (int h : {1, 2, 3, 4, 7}) {
        const std::vector<float> img = mixedImage(w, h, c, seed++);
        std::vector<float> out(img.size(), -1.0f);
        Filter2FreqImage(TypeParam(), c, w, h, img.data(), out.data());
        expectSameBits(out, perPixel(img, w, h, c), w, h);
      }
    }
  }
}

TYPED_TEST(Filter2FreqKernelTest, NonFiniteAndHugeValuesTakeTheSamePath) {
  const Filter2FreqConstants c = filter2FreqConstants(80320000u, 60240000u);
  const int w = 11, h = 5;
  std::vector<float> img = mixedImage(w, h, c, 99);
  img[13] = std::numeric_limits<float>::quiet_NaN();
  img[17] = std::numeric_limits<float>::infinity();
  img[25] = -std::numeric_limits<float>::infinity();
  img[30] = 3e12f;  // far beyond the int32 range in units of R
  img[40] = -0.0f;
  std::vector<float> out(img.size(), -1.0f);
  Filter2FreqImage(TypeParam(), c, w, h, img.data(), out.data());
  expectSameBits(out, perPixel(img, w, h, c), w, h);
}

// The public entry point runs the native path; it must agree with the
// one-pixel path as well and leave a smooth image alone.
TEST(Filter2FreqKernel, EntryPointMatchesOnePixelPath) {
  const Filter2FreqConstants c = filter2FreqConstants(80320000u, 60240000u);
  const int w = 37, h = 9;
  std::vector<float> img = mixedImage(w, h, c, 5);
  std::vector<float> distance = img;
  std::vector<float> scratch(img.size());
  filter2Freq(w, h, 80320000u, 60240000u, scratch.data(), distance.data());
  expectSameBits(distance, perPixel(img, w, h, c), w, h);
  int changed = 0;
  for (std::size_t i = 0; i < img.size(); ++i) changed += distance[i] != img[i] ? 1 : 0;
  EXPECT_GT(changed, 0);
}

}  // namespace
}  // namespace kelvora
