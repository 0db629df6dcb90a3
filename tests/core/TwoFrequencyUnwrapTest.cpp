// Unwrapping of two frequencies against an independent model: wrapped
// distances with known errors against the true distance plus their
// inverse-variance blend, over the whole combined range of each pair.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/TwoFrequencyUnwrap.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

constexpr double kHalfC = 149852320.0;

struct UnwrapCase {
  uint32_t f1, f2, gcd;
};
class Unwrapping : public ::testing::TestWithParam<UnwrapCase> {};

// Distances over the whole combined range c / (2 gcd), each frequency's
// wrapped value off by its own small error: the result is the true distance
// plus the inverse-variance blend of the errors.
TEST_P(Unwrapping, RecoversDistanceAcrossTheCombinedRange) {
  const UnwrapCase u = GetParam();
  const double combined = kHalfC / u.gcd, rA = kHalfC / u.f1, rB = kHalfC / u.f2;
  synth::SplitMix rng(5);
  const uint32_t n = 4001;  // not a multiple of any vector width
  std::vector<float> dA(n), dB(n), sA(n), sB(n), dist(n), diff(n), noise(n);
  for (uint32_t i = 0; i < n; ++i) {
    const double truth = (i + 0.5) * combined / n;
    const double eA = rng.uniform(-0.01f, 0.01f), eB = rng.uniform(-0.01f, 0.01f);
    sA[i] = rng.uniform(0.001f, 0.03f);
    sB[i] = rng.uniform(0.001f, 0.03f);
    dA[i] = static_cast<float>(std::fmod(truth + eA + rA, rA));
    dB[i] = static_cast<float>(std::fmod(truth + eB + rB, rB));
    calc2Freq_arm(1, &dA[i], &dB[i], &sA[i], &sB[i], u.f1, u.f2, &dist[i], &diff[i], &noise[i]);
    const double vA = double{sA[i]} * sA[i], vB = double{sB[i]} * sB[i];
    const double alpha = (1 / vA) / (1 / vA + 1 / vB);
    const double e = std::remainder(dist[i] - truth - (alpha * eA + (1 - alpha) * eB), combined);
    ASSERT_LT(std::fabs(e), 2e-5) << i;
    ASSERT_GE(dist[i], 0.0f);
    ASSERT_NEAR(noise[i], std::sqrt(1 / (1 / vA + 1 / vB)), 1e-5 * noise[i]);
    ASSERT_NEAR(diff[i], std::hypot((1 - alpha) * (eA - eB), alpha * (eA - eB)), 2e-5);
  }
  // The whole buffer in one call gives the same as pixel by pixel.
  std::vector<float> all(n), allDiff(n), allNoise(n);
  calc2Freq_arm(n, dA.data(), dB.data(), sA.data(), sB.data(), u.f1, u.f2, all.data(),
                allDiff.data(), allNoise.data());
  EXPECT_EQ(all, dist);
  EXPECT_EQ(allNoise, noise);
}

INSTANTIATE_TEST_SUITE_P(TwoFrequency, Unwrapping,
                         ::testing::Values(UnwrapCase{80320000, 60240000, 20080000},
                                           UnwrapCase{80000000, 40000000, 40000000},
                                           UnwrapCase{60000000, 60000000, 60000000}));

// A disagreement of exactly half a step rounds away from zero: +0.5 unwraps
// with m = 1 and -0.5 with m = -1, which round-to-even would both make 0.
TEST(TwoFrequency, HalfStepResidualRoundsAwayFromZero) {
  const TwoFrequencyConstants c = twoFrequencyConstants(80320000, 60240000);
  float half = 0.5f / c.invRL;
  while (half * c.invRL != 0.5f) half = std::nextafter(half, 1.0f);
  const float zero = 0.0f, sigma = 0.01f;
  for (const float sign : {1.0f, -1.0f}) {
    const float a = sign > 0 ? half : zero, b = sign > 0 ? zero : half;
    float dist = 0, diff = 0, noise = 0;
    calc2Freq_arm(1, &a, &b, &sigma, &sigma, 80320000, 60240000, &dist, &diff, &noise);
    const double m = sign, r = 0.5 * sign - m;  // equal weights: yA = a / RL - r / 2
    double z = a * double{c.invRL} - 0.5 * r - m * c.K;
    z -= std::floor(z / c.N) * c.N;
    EXPECT_NEAR(dist, z * c.RL, 1e-5) << sign;
  }
}

TEST(TwoFrequency, ZeroNoiseStaysFiniteAndAgreeingDistancesHaveNoDifference) {
  const std::vector<float> a = {0.0f, 0.3f, 1.0f, 1.5f, 0.2f}, zero(5, 0.0f);
  std::vector<float> dist(5), diff(5), noise(5);
  calc2Freq_arm(5, a.data(), a.data(), zero.data(), zero.data(), 80320000, 60240000, dist.data(),
                diff.data(), noise.data());
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(std::isfinite(noise[i]) && noise[i] >= 0.0f);
    EXPECT_EQ(diff[i], 0.0f);
    EXPECT_NEAR(dist[i], a[i], 1e-6);  // inside both single ranges: nothing to add
  }
}

}  // namespace
}  // namespace kelvora
