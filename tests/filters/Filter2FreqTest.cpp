// The unwrapping-error filter: its constants against the frequency pair's
// geometry, the vote and its tie-breaks in the interior, and border pixels,
// which have fewer neighbours.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "filters/Filter2Freq.hpp"

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
                                           VoteCase{1, 2, 0, 0}, VoteCase{0, 1, 1, 0},
                                           VoteCase{0, 2, 1, +1}));

// Border pixels count only the neighbours that exist; the end pixel of a thin
// image has one, whose vote ties with the pixel's own.
TEST(Filter2Freq, CornersEdgesAndThinImagesUseOnlyExistingNeighbours) {
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  const float v = 4.0f;
  struct Spot {
    int w, h, x, y;
    bool corrected;
  };
  for (const Spot s : {Spot{3, 3, 0, 0, true}, Spot{3, 3, 2, 2, true}, Spot{4, 3, 1, 0, true},
                       Spot{3, 4, 0, 2, true}, Spot{1, 5, 0, 2, true}, Spot{1, 5, 0, 0, false},
                       Spot{5, 1, 4, 0, false}}) {
    Image img(s.w, s.h, v);
    img.at(s.x, s.y) = v - c.shift;  // every neighbour votes +shift
    img.filter();
    for (int i = 0; i < s.w * s.h; ++i) {
      const bool spot = i == s.y * s.w + s.x;
      const float expected = !spot ? v : s.corrected ? wrapped(v, c.range) : v - c.shift;
      EXPECT_NEAR(img.d[i], expected, 1e-5f) << s.w << "x" << s.h << " pixel " << i;
    }
  }
}

// The filter floors without a range test while every distance lies within
// a bound; one distance beyond it sends the whole image through the tested
// floor. Both must give the same bits wherever the far pixel is not a
// neighbour, for values from 0.1 mm to 10^7 m.
TEST(Filter2Freq, UntestedAndRangeTestedFloorsAgree) {
  const int w = 37, h = 9, far = 4 * w + 30;
  Image untested(w, h, 0.0f);
  for (int i = 0; i < w * h; ++i) {
    const float scale = std::pow(10.0f, static_cast<float>(i % 12) - 4.0f);
    untested.scratch[i] = untested.d[i] = (i % 2 ? -scale : scale) * (1.0f + 0.37f * (i % 7));
  }
  Image tested = untested;
  tested.scratch[far] = tested.d[far] = 3e37f;
  untested.filter();
  tested.filter();
  for (int i = 0; i < w * h; ++i) {
    if (std::abs(i % w - far % w) <= 1 && std::abs(i / w - far / w) <= 1) continue;
    ASSERT_EQ(testing::bitsOf(untested.d[i]), testing::bitsOf(tested.d[i])) << "pixel " << i;
  }
}

}  // namespace
}  // namespace kelvora
