#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "core/TwoFrequencyUnwrap.hpp"

namespace kelvora {
namespace {

constexpr double kHalfC = 149852320.0;

using Pair = std::tuple<uint32_t, uint32_t>;
class ExtendedGcd : public ::testing::TestWithParam<Pair> {};

TEST_P(ExtendedGcd, GivesSignedBezoutCoefficients) {
  const auto [a, b] = GetParam();
  uint32_t x = 0, y = 0;
  const uint32_t g = zyn_extendedGCD(a, b, &x, &y);
  EXPECT_EQ(g, std::gcd(a, b));
  const int64_t lhs = static_cast<int64_t>(a) * static_cast<int32_t>(x) +
                      static_cast<int64_t>(b) * static_cast<int32_t>(y);
  EXPECT_EQ(lhs, static_cast<int64_t>(g));
}

INSTANTIATE_TEST_SUITE_P(TwoFrequency, ExtendedGcd,
                         ::testing::Values(Pair{80320000, 60240000}, Pair{60240000, 80320000},
                                           Pair{80000000, 40000000}, Pair{40000000, 80000000},
                                           Pair{60000000, 60000000}, Pair{17, 5}, Pair{5, 17},
                                           Pair{1, 1}, Pair{4000000007u, 2999999999u}));

TEST(TwoFrequency, ConstantsOfTheDefaultPair) {
  const TwoFrequencyConstants c = twoFrequencyConstants(80320000, 60240000);
  EXPECT_EQ(c.gcd, 20080000u);
  EXPECT_EQ(c.coefficientF2, -1);
  EXPECT_EQ(c.a, 3u);
  EXPECT_EQ(c.b, 4u);
  EXPECT_EQ(c.N, 12.0f);
  EXPECT_EQ(c.K, -3.0f);  // = 1 mod 4, = 0 mod 3
  EXPECT_NEAR(c.N * c.RL, kHalfC / 20080000.0, 1e-5);
}

struct UnwrapCase {
  uint32_t f1, f2;
  double combinedRange;
};
class Unwrapping : public ::testing::TestWithParam<UnwrapCase> {};

// Wrapped distances with independent small errors: the result is the true
// distance plus the inverse-variance blend of the errors, modulo c/(2 gcd).
TEST_P(Unwrapping, RecoversDistanceAcrossCombinedRange) {
  const UnwrapCase u = GetParam();
  const double rA = kHalfC / u.f1, rB = kHalfC / u.f2;
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> err(-0.01, 0.01), sigma(0.001, 0.03);
  const uint32_t n = 4000;
  std::vector<float> dA(n), dB(n), sA(n), sB(n), dist(n), diff(n), noise(n);
  std::vector<double> truth(n), blendErr(n), diffRef(n), noiseRef(n);
  for (uint32_t i = 0; i < n; ++i) {
    truth[i] = (i + 0.5) * u.combinedRange / n;
    const double eA = err(rng), eB = err(rng), vA = std::pow(sigma(rng), 2),
                 vB = std::pow(sigma(rng), 2);
    dA[i] = static_cast<float>(std::fmod(truth[i] + eA + rA, rA));
    dB[i] = static_cast<float>(std::fmod(truth[i] + eB + rB, rB));
    sA[i] = static_cast<float>(std::sqrt(vA));
    sB[i] = static_cast<float>(std::sqrt(vB));
    const double alpha = (1 / vA) / (1 / vA + 1 / vB);
    blendErr[i] = alpha * eA + (1 - alpha) * eB;
    noiseRef[i] = std::sqrt(1 / (1 / vA + 1 / vB));
    diffRef[i] = std::hypot((1 - alpha) * (eA - eB), alpha * (eA - eB));
  }
  calc2Freq_arm(n, dA.data(), dB.data(), sA.data(), sB.data(), u.f1, u.f2, dist.data(), diff.data(),
                noise.data());
  for (uint32_t i = 0; i < n; ++i) {
    double e = std::fmod(dist[i] - truth[i] - blendErr[i], u.combinedRange);
    if (e > u.combinedRange / 2) e -= u.combinedRange;
    if (e < -u.combinedRange / 2) e += u.combinedRange;
    ASSERT_LT(std::fabs(e), 2e-5) << i;
    ASSERT_GE(dist[i], 0.0f);
    ASSERT_NEAR(noise[i], noiseRef[i], 1e-5 * noiseRef[i]);
    ASSERT_NEAR(diff[i], diffRef[i], 2e-5);
  }
}

INSTANTIATE_TEST_SUITE_P(TwoFrequency, Unwrapping,
                         ::testing::Values(UnwrapCase{80320000, 60240000, kHalfC / 20080000},
                                           UnwrapCase{80000000, 40000000, kHalfC / 40000000},
                                           UnwrapCase{60000000, 60000000, kHalfC / 60000000}));

// dA - dB of exactly half a step: rounds away from zero, so +0.5 unwraps with
// m = 1 and -0.5 with m = -1 (round-to-even would give 0 in both cases).
TEST(TwoFrequency, HalfStepResidualRoundsAwayFromZero) {
  const TwoFrequencyConstants c = twoFrequencyConstants(80320000, 60240000);
  float half = 0.5f / c.invRL;
  while (half * c.invRL != 0.5f) half = std::nextafter(half, 1.0f);
  const float zero = 0.0f, sigma = 0.01f;
  for (float sign : {1.0f, -1.0f}) {
    const float a = sign > 0 ? half : zero, b = sign > 0 ? zero : half;
    float dist = 0, diff = 0, noise = 0;
    calc2Freq_arm(1, &a, &b, &sigma, &sigma, 80320000, 60240000, &dist, &diff, &noise);
    // m = +-1 and equal weights: yA = a*invRL - 0.5*r with r = x - m.
    const double m = sign, r = 0.5 * sign - m;
    double z = a * static_cast<double>(c.invRL) - 0.5 * r - m * c.K;
    z -= std::floor(z / c.N) * c.N;
    EXPECT_NEAR(dist, z * c.RL, 1e-5) << sign;
    EXPECT_NEAR(diff, c.RL * std::sqrt(0.5) * 0.5, 1e-5);
  }
}

TEST(TwoFrequency, ZeroNoiseStaysFiniteAndAgreeingDistancesHaveNoDifference) {
  std::vector<float> a = {0.0f, 0.3f, 1.0f, 1.5f, 0.2f}, b = {0.0f, 0.3f, 1.0f, 1.5f, 0.2f};
  std::vector<float> zero(5, 0.0f), dist(5), diff(5), noise(5);
  calc2Freq_arm(5, a.data(), b.data(), zero.data(), zero.data(), 80320000, 60240000, dist.data(),
                diff.data(), noise.data());
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(std::isfinite(noise[i]));
    EXPECT_GE(noise[i], 0.0f);  // subnormal, or 0 where subnormals are flushed
    EXPECT_EQ(diff[i], 0.0f);
    EXPECT_NEAR(dist[i], a[i], 1e-6);  // below both single ranges: no wrap to add
  }
}

template <class D>
class Calc2FreqKernelTest : public ::testing::Test {};
TYPED_TEST_SUITE(Calc2FreqKernelTest, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(Calc2FreqKernelTest, AgreesWithScalarPath) {
  const TwoFrequencyConstants c = twoFrequencyConstants(80320000, 60240000);
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> da(0.0f, 1.8656f), db(0.0f, 2.4875f), s(0.0f, 0.05f);
  const uint32_t n = 4096;
  std::vector<float> a(n), b(n), sa(n), sb(n);
  for (uint32_t i = 0; i < n; ++i) a[i] = da(rng), b[i] = db(rng), sa[i] = s(rng), sb[i] = s(rng);
  std::vector<float> out[2][3];
  for (auto& o : out)
    for (auto& v : o) v.assign(n, 0.0f);
  Calc2FreqKernel(TypeParam(), c, n, a.data(), b.data(), sa.data(), sb.data(), out[0][0].data(),
                  out[0][1].data(), out[0][2].data());
  Calc2FreqKernel(simd::scalar::Tag(), c, n, a.data(), b.data(), sa.data(), sb.data(),
                  out[1][0].data(), out[1][1].data(), out[1][2].data());
  const float period = c.N * c.RL;
  for (uint32_t i = 0; i < n; ++i) {
    for (int k = 0; k < 3; ++k) {
      const float v = out[0][k][i], ref = out[1][k][i];
      if (TypeParam::kExactDivision) {
        ASSERT_EQ(0, std::memcmp(&v, &ref, sizeof v)) << i << " " << k;
      } else {
        float e = std::fabs(v - ref);
        if (k == 0) e = std::min(e, period - e);  // a floor may flip at the period's end
        ASSERT_LE(e, 2e-5f * std::max(1.0f, std::fabs(ref))) << i << " " << k;
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
