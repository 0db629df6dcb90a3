// The unwrapping-error filter: its constants, the vote and its tie-breaks,
// corners and edges, and the four-pixel path against the one-pixel path, bit
// for bit, on every backend (smooth areas, unwrapping errors of one step either
// way, values on the vote thresholds, outside the range and non-finite).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "filters/Filter2Freq.hpp"
#include "filters/Filter2FreqKernel.hpp"

namespace kelvora {
namespace {

constexpr uint32_t kF1 = 80320000, kF2 = 60240000;
constexpr double kHalfC = 149852320.0;

TEST(Filter2Freq, ConstantsOfTheDefaultPair) {
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  EXPECT_EQ(c.gcd, 20080000u);
  EXPECT_EQ(c.coefficient, -1);
  EXPECT_EQ(c.K, -3.5f);
  // One unwrapping index is L*g/(f1*f2); the error moves by K of them.
  const double step = kHalfC * 20080000.0 / (static_cast<double>(kF1) * kF2);
  EXPECT_NEAR(c.threshold, step, 1e-6);
  EXPECT_NEAR(c.shift, -3.5 * step, 1e-5);
  EXPECT_NEAR(c.range, kHalfC / 20080000.0, 1e-5);
  // The reference values quoted for the default pair, in metres.
  EXPECT_NEAR(c.threshold, 0.62190, 1e-5);
  EXPECT_NEAR(c.shift, -2.17664, 1e-5);
  EXPECT_NEAR(c.range, 7.46276, 1e-5);
}

TEST(Filter2Freq, SecondFrequencyMultipleOfFirstShiftsByHalfAStep) {
  const Filter2FreqConstants c = filter2FreqConstants(40000000, 80000000);
  EXPECT_EQ(c.K, -0.5f);
  EXPECT_FLOAT_EQ(c.shift, -0.5f * c.threshold);
}

struct Image {
  int w, h;
  std::vector<float> d, scratch;
  Image(int width, int height, float v) : w(width), h(height), d(width * height, v), scratch(d) {}
  float& at(int x, int y) { return d[y * w + x]; }
  void filter() { filter2Freq(w, h, kF1, kF2, scratch.data(), d.data()); }
};

float wrapped(float v, float range) {
  const double m = std::fmod(static_cast<double>(v), range);
  return static_cast<float>(m < 0 ? m + range : m);
}

TEST(Filter2Freq, UniformImageIsUnchangedEvenOutsideTheRange) {
  for (float v : {0.0f, 3.3f, 9.5f, -1.0f}) {
    Image img(7, 5, v);
    img.filter();
    for (float x : img.d) EXPECT_EQ(x, v);
  }
}

// Centre of a 3x3 image: the numbers of neighbours that vote for keeping,
// for +shift and for -shift (the rest are far from all three); the centre
// always votes for itself.
struct VoteCase {
  int keep, plus, minus;
  int expected;  // 0 no change, +1 +shift, -1 -shift
};
class Filter2FreqVotes : public ::testing::TestWithParam<VoteCase> {};

TEST_P(Filter2FreqVotes, DecideWithDocumentedTieBreaks) {
  const VoteCase v = GetParam();
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  const float d = 3.0f;
  Image img(3, 3, d - 0.5f * c.range);  // no vote for anything
  const int order[8][2] = {{0, 0}, {1, 0}, {2, 0}, {0, 1}, {2, 1}, {0, 2}, {1, 2}, {2, 2}};
  int k = 0;
  for (int i = 0; i < v.keep; ++i, ++k) img.at(order[k][0], order[k][1]) = d + 0.1f;
  for (int i = 0; i < v.plus; ++i, ++k) img.at(order[k][0], order[k][1]) = d + c.shift;
  for (int i = 0; i < v.minus; ++i, ++k) img.at(order[k][0], order[k][1]) = d - c.shift;
  img.at(1, 1) = d;
  img.filter();
  const float expected = v.expected == 0 ? d : wrapped(d + v.expected * c.shift, c.range);
  EXPECT_NEAR(img.at(1, 1), expected, 1e-5f);
}

INSTANTIATE_TEST_SUITE_P(Filter2Freq, Filter2FreqVotes,
                         ::testing::Values(VoteCase{0, 8, 0, +1}, VoteCase{0, 0, 8, -1},
                                           VoteCase{0, 4, 4, +1}, VoteCase{0, 3, 4, -1},
                                           VoteCase{2, 3, 3, 0}, VoteCase{1, 1, 3, -1},
                                           VoteCase{0, 0, 2, -1}, VoteCase{1, 2, 0, 0},
                                           VoteCase{0, 1, 1, 0}, VoteCase{0, 2, 1, +1}));

TEST(Filter2Freq, DistanceEqualToThresholdDoesNotVote) {
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  // Two neighbours exactly on the shift (+ votes) and the rest a threshold
  // away from keeping: with strict comparisons the shift wins.
  Image img(3, 1, 0.0f);
  img.at(1, 0) = 3.0f;
  img.at(0, 0) = 3.0f + c.shift;
  img.at(2, 0) = 3.0f + c.shift;
  img.filter();
  EXPECT_NEAR(img.at(1, 0), wrapped(3.0f + c.shift, c.range), 1e-5f);
}

TEST(Filter2Freq, CornersEdgesAndThinImagesUseOnlyExistingNeighbours) {
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  const float v = 4.0f;
  struct Spot {
    int w, h, x, y;
    bool corrected;  // an end pixel of a thin image has one neighbour: a tie
  };
  for (const Spot s : {Spot{3, 3, 0, 0, true}, Spot{3, 3, 2, 2, true}, Spot{4, 3, 1, 0, true},
                       Spot{3, 4, 0, 2, true}, Spot{1, 5, 0, 2, true}, Spot{1, 5, 0, 0, false},
                       Spot{5, 1, 4, 0, false}}) {
    Image img(s.w, s.h, v);
    img.at(s.x, s.y) = v - c.shift;  // every neighbour votes +shift
    img.filter();
    for (int y = 0; y < s.h; ++y) {
      for (int x = 0; x < s.w; ++x) {
        float expected = v;
        if (x == s.x && y == s.y) expected = s.corrected ? wrapped(v, c.range) : v - c.shift;
        EXPECT_NEAR(img.at(x, y), expected, 1e-5f) << s.w << "x" << s.h << " at " << x << "," << y;
      }
    }
  }
  Image single(1, 1, 2.0f);  // no neighbours: keeps its own vote
  single.filter();
  EXPECT_EQ(single.d[0], 2.0f);
}

TEST(Filter2Freq, CorrectedValuesLieInRangeAndOthersAreKeptBitForBit) {
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  std::mt19937 rng(4);
  std::uniform_real_distribution<float> base(-0.5f, 8.0f);
  std::uniform_int_distribution<int> kind(0, 3);
  Image img(40, 30, 0.0f);
  for (float& x : img.d) {
    const int k = kind(rng);
    x = k == 0 ? base(rng) : k == 1 ? 1e-7f : k == 2 ? c.range - 1e-7f : 3.0f + c.shift;
  }
  const std::vector<float> before = img.d;
  img.filter();
  int changed = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (std::memcmp(&before[i], &img.d[i], sizeof(float)) == 0) continue;
    ++changed;
    EXPECT_GE(img.d[i], 0.0f);
    EXPECT_LT(img.d[i], c.range);
  }
  EXPECT_GT(changed, 0);
}

template <class D>
class Filter2FreqKernelTest : public ::testing::Test {};
TYPED_TEST_SUITE(Filter2FreqKernelTest, testing::AllSimdTags, testing::SimdTagName);

std::vector<float> mixedImage(int w, int h, const Filter2FreqConstants& c, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::uniform_int_distribution<int> kind(0, 11);
  // NaN, infinities, a value far beyond the int32 range in units of R, -0.
  const float odd[] = {std::nanf(""), INFINITY, -INFINITY, 3e12f, -0.0f};
  std::uniform_int_distribution<int> pickOdd(0, 4);
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
        case 4:
          v = odd[pickOdd(rng)];
          break;
        default:
          break;
      }
      img[static_cast<std::size_t>(y) * w + x] = v;
    }
  }
  return img;
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
        const std::vector<float> want = perPixel(img, w, h, c);
        for (std::size_t i = 0; i < img.size(); ++i) {
          ASSERT_EQ(std::memcmp(&out[i], &want[i], sizeof(float)), 0)
              << w << "x" << h << " pixel " << i << ": " << out[i] << " vs " << want[i];
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
