// Unwrapping of two frequencies against independent models, and raw frames
// rendered from the physical model for known distances across the whole
// combined range coming back through unscrambling, the per-pixel stage and
// the unwrapping within 1 mm.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "TestCalibration.hpp"
#include "common/SimdTestTypes.hpp"
#include "core/CalcPixel.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleReIm.hpp"

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

constexpr double kPiD = 3.141592653589793;
constexpr uint32_t kWidth = 64, kHeight = 33;  // the last raw row pair is unused
constexpr uint32_t kF1 = 80320000, kF2 = 60240000;

struct Corrections {
  bool on;
  double temperature = 41.0;
  float temp[4] = {25.0f, 0.002f, 1e-5f, 2e-7f};  // metres over degrees
  test::WigglingModel phase{{1, 2, 3}, {0.2f, 1.1f, -0.4f}, {0.03f, 0.012f, 0.004f}, 0.0f};
  double fppn(uint32_t pixel, uint32_t freq) const {
    return 0.02 * std::sin(0.37 * pixel + freq) - 0.005;
  }
  double temperatureOffset() const {
    const double dT = temperature - temp[0];
    return dT * (temp[1] + dT * (temp[2] + dT * temp[3]));
  }
  double wiggle(double phi) const {
    double s = 0;
    for (std::size_t k = 0; k < phase.harmonic.size(); ++k) {
      s += phase.amplitude[k] * std::sin(phi * phase.harmonic[k] + phase.phase[k]);
    }
    return s;
  }
};

// The phase the sensor must report so that the corrections map it to the
// true distance: solves pm + W(pm) = (d + T - fppn) / k by fixed-point
// iteration (W's slope is far below 1).
double measuredPhase(double d, uint32_t f, uint32_t pixel, uint32_t freqIndex,
                     const Corrections& c) {
  const double k = 23849736.0 / f;
  double target = d / k;
  if (c.on) target = (d + c.temperatureOffset() - c.fppn(pixel, freqIndex)) / k;
  double pm = target;
  if (c.on) {
    for (int it = 0; it < 50; ++it) pm = target - c.wiggle(pm);
  }
  pm = std::fmod(pm, 2 * kPiD);
  return pm < 0 ? pm + 2 * kPiD : pm;
}

class SyntheticSweep : public ::testing::TestWithParam<bool> {};

TEST_P(SyntheticSweep, DistancesComeBackWithinOneMillimetre) {
  Corrections corr;
  corr.on = GetParam();
  test::PipelineSetup s(kWidth, kHeight, kF1, kF2, 2);
  const uint32_t n = kWidth * kHeight;
  const uint32_t usable = kWidth * (kHeight - 1);
  const double combined = kHalfC / 20080000.0;
  if (corr.on) {
    for (uint32_t f = 0; f < 2; ++f) {
      KelvoraCalibrationFrequency& freq = s.calibration->frequencies[f];
      for (int i = 0; i < 4; ++i) freq.tempCompensation[i] = corr.temp[i];
      for (uint32_t p = 0; p < usable; ++p) freq.fppn[p] = static_cast<float>(corr.fppn(p, f));
      test::PipelineSetup::setWiggling(freq.phaseWiggling, corr.phase);
    }
    s.input.temperature = static_cast<float>(corr.temperature);
  }
  ASSERT_EQ(s.init(), 0);
  s.input.exposureTimes[1] = s.input.exposureTimes[2] = 500;

  std::vector<double> truth(usable);
  std::vector<uint16_t> frames[2][4];
  for (uint32_t f = 0; f < 2; ++f) {
    for (auto& fr : frames[f]) fr.assign(n, 0);
  }
  for (uint32_t p = 0; p < usable; ++p) {
    truth[p] = (p + 0.5) * combined / usable;
    for (uint32_t f = 0; f < 2; ++f) {
      const double phi = measuredPhase(truth[p], f == 0 ? kF1 : kF2, p, f, corr);
      for (uint32_t k = 0; k < 4; ++k) {
        // real = A0 - A2 = 2a cos(phi), A3 - A1 = 2a sin(phi); raw row = output row + 1
        const double sample = 3000.0 + 1500.0 * std::cos(phi + k * kPiD / 2);
        frames[f][k][p + kWidth] = static_cast<uint16_t>(std::lround(sample));
      }
    }
  }
  for (uint32_t f = 0; f < 2; ++f) {
    for (uint32_t k = 0; k < 4; ++k) s.input.modFrames[f][k] = frames[f][k].data();
  }
  for (uint32_t f = 0; f < 2; ++f) {
    unscrambleReIm_flagSaturation_arm(&s.input, &s.params, &s.intermediate->probeData[f], &s.output,
                                      s.input.modFrames[f]);
    calcPixel(&s.input, &s.params, s.calibration, s.intermediate, &s.output, f);
  }
  const KelvoraIntermediateProbeData* p = s.intermediate->probeData;
  calc2Freq_arm(n, p[0].distance, p[1].distance, p[0].distanceNoise, p[1].distanceNoise, kF1, kF2,
                s.output.distance, s.intermediate->distanceDifference, s.output.noise);
  double worst = 0;
  for (uint32_t i = 0; i < usable; ++i) {
    double e = std::fmod(s.distance[i] - truth[i], combined);
    if (e > combined / 2) e -= combined;
    if (e < -combined / 2) e += combined;
    worst = std::max(worst, std::fabs(e));
    ASSERT_EQ(s.flags[i], 0u) << i;
  }
  EXPECT_LT(worst, 1e-3) << "worst error " << worst * 1000 << " mm";
}

INSTANTIATE_TEST_SUITE_P(CalcPixel, SyntheticSweep, ::testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Corrected" : "Plain"; });

}  // namespace
}  // namespace kelvora
