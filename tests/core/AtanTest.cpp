#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "core/Atan.hpp"

namespace kelvora {
namespace {

std::vector<float> sweepArguments() {
  std::vector<float> xs;
  // Dense around the fold at |x| = 1, geometric out to large magnitudes.
  for (int i = -200000; i <= 200000; ++i) xs.push_back(static_cast<float>(i) * 2.5e-5f);
  for (float x = 5.0f; x < 1e7f; x *= 1.001f) {
    xs.push_back(x);
    xs.push_back(-x);
  }
  const float inf = std::numeric_limits<float>::infinity();
  for (float x : {0.0f, -0.0f, 1.0f, -1.0f, 1e-30f, -1e-30f, inf, -inf, 1e30f, -1e30f}) {
    xs.push_back(x);
  }
  return xs;
}

TEST(ZynAtanf, StaysWithinInterpolationErrorOfTheTrueArctangent) {
  double worst = 0.0;
  for (float x : sweepArguments()) {
    const double err =
        std::fabs(static_cast<double>(zyn_atanf(x)) - std::atan(static_cast<double>(x)));
    worst = std::max(worst, err);
  }
  EXPECT_LT(worst, 1e-4);
  EXPECT_GT(worst, 1e-5);  // a table interpolation, not a library call
}

TEST(ZynAtanf, IsOddExceptThatZeroCountsAsNegative) {
  EXPECT_EQ(zyn_atanf(0.5f), -zyn_atanf(-0.5f));
  EXPECT_EQ(zyn_atanf(3.0f), -zyn_atanf(-3.0f));
  EXPECT_TRUE(std::signbit(zyn_atanf(0.0f)));
  EXPECT_NEAR(zyn_atanf(1.0f), std::atan(1.0), 1e-7);
}

template <class D>
class AtanKernelTest : public ::testing::Test {};
TYPED_TEST_SUITE(AtanKernelTest, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(AtanKernelTest, MatchesScalarFunctionBitForBit) {
  const TypeParam d;
  std::vector<float> xs = sweepArguments();
  while (xs.size() % 4 != 0) xs.push_back(0.25f);
  std::vector<float> out(xs.size());
  for (std::size_t i = 0; i < xs.size(); i += 4) {
    StoreU(AtanKernel(d, LoadU(d, &xs[i])), d, &out[i]);
  }
  for (std::size_t i = 0; i < xs.size(); ++i) {
    const float expected = zyn_atanf(xs[i]);
    ASSERT_EQ(0, std::memcmp(&expected, &out[i], sizeof(float))) << "x = " << xs[i];
  }
}

}  // namespace
}  // namespace kelvora
