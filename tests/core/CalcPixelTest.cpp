// The per-pixel stage: the table arctangent, phase sign rules, wiggling index
// ends, the noise knee and flags, against independent double-precision models
// and on every backend against the scalar path.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "TestCalibration.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "common/CoreFixtures.hpp"
#include "common/SimdTestTypes.hpp"
#include "core/Atan.hpp"
#include "core/CalcPixel.hpp"

namespace kelvora {
namespace {

constexpr double kTwoPiD = 6.283185307179586;

bool sameBits(float a, float b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

double circularDiff(double a, double b, double period) {
  double d = std::fmod(a - b, period);
  if (d > period / 2) d -= period;
  if (d < -period / 2) d += period;
  return std::fabs(d);
}

// (imag, real, exact expected phase): the sign rules at the axes.
using AxisCase = std::tuple<float, float, float>;
class PhaseSignRules : public ::testing::TestWithParam<AxisCase> {};

TEST_P(PhaseSignRules, GiveTheDocumentedAngle) {
  const auto [imag, real, expected] = GetParam();
  EXPECT_EQ(pixelPhase(imag, real), expected);
  const simd::NativeTag d;
  float out[4];
  StoreU(PhaseKernel(d, Set(d, imag), Set(d, real)), d, out);
  EXPECT_TRUE(sameBits(out[0], pixelPhase(imag, real)));
}

INSTANTIATE_TEST_SUITE_P(
    CalcPixel, PhaseSignRules,
    ::testing::Values(AxisCase{0.0f, 0.0f, 0.0f},          // dark pixel
                      AxisCase{-5.0f, 0.0f, kAtanHalfPi},  // y > 0 on the axis
                      AxisCase{5.0f, 0.0f, 4.712389f},     // -pi/2 wrapped
                      AxisCase{0.0f, -5.0f, kPi},          // y = -0: -pi, wrapped to pi
                      AxisCase{-0.0f, -5.0f, kPi},         // y = +0: +pi
                      AxisCase{5.0f, 1e-31f, 4.712389f},   // |x| below 1e-30 counts as 0
                      AxisCase{-1e-31f, 1e-31f, 0.0f}));

TEST(CalcPixel, PhaseFollowsTheAngleInEveryQuadrant) {
  for (int i = 0; i < 3600; ++i) {
    const double theta = (i + 0.5) * kTwoPiD / 3600.0;
    // y = -imag = r sin(theta), x = real = r cos(theta)
    const float imag = static_cast<float>(-1000.0 * std::sin(theta));
    const float real = static_cast<float>(1000.0 * std::cos(theta));
    const float phase = pixelPhase(imag, real);
    ASSERT_GE(phase, 0.0f);
    ASSERT_LT(phase, 6.2831855f);
    ASSERT_LT(circularDiff(phase, theta, kTwoPiD), 1.2e-4) << theta;
  }
}

TEST(CalcPixel, WigglingIndexEnds) {
  std::vector<float> table(kWigglingTableSize);
  for (uint32_t i = 0; i < kWigglingTableSize; ++i) table[i] = 1.0f + 1e-4f * i;
  // Phase 0 reads entry 0; just below 2 pi reads the last entry.
  EXPECT_EQ(wiggledPhase(0.0f, table.data()), table[0]);
  const float below = std::nextafter(6.2831853f, 0.0f);
  EXPECT_EQ(wiggledPhase(below, table.data()), below + table[16383]);
  // Wrapped phases may reach 6.2831855 (2 pi rounded up): the interpolation
  // then uses the last entry alone (the table has exactly 16384 entries, so
  // a read past it would be caught by the address sanitizer).
  EXPECT_EQ(normalisedAmplitude(8.0f, 2.0f, 6.2831855f, table.data()), 4.0f * table[16383]);
  EXPECT_EQ(normalisedAmplitude(8.0f, 2.0f, 0.0f, table.data()), 4.0f * table[0]);
  const float mid = normalisedAmplitude(2.0f, 2.0f, 1000.5f / kPhaseToWigglingIndex, table.data());
  EXPECT_NEAR(mid, 0.5f * (table[1000] + table[1001]), 1e-4f);
}

// The stage's inputs: per-pixel values and the two wiggling tables.
struct Pixels {
  std::vector<float> imag, real, asym, grey, fppn, pw, aw;
};

struct RandomPixels : Pixels {
  static constexpr uint32_t kCount = 4096;
  RandomPixels() {
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> raw(-4095, 4095);
    std::uniform_real_distribution<float> uni(0.0f, 1.0f);
    for (uint32_t i = 0; i < kCount; ++i) {
      // Some pixels on the axes and dark, to cross every branch.
      imag.push_back(i % 17 == 0 ? 0.0f : static_cast<float>(raw(rng)));
      real.push_back(i % 13 == 0 ? 0.0f : static_cast<float>(raw(rng)));
      asym.push_back(static_cast<float>(raw(rng)) * 0.1f);
      grey.push_back(uni(rng) * 3.0f);
      fppn.push_back(uni(rng) * 0.05f - 0.025f);
    }
    for (uint32_t i = 0; i < kWigglingTableSize; ++i) {
      const double x = i * kTwoPiD / 16383.0;
      pw.push_back(static_cast<float>(0.02 * std::sin(x) + 0.01 * std::sin(2 * x + 0.3)));
      aw.push_back(static_cast<float>(1.0 / (1.0 + 0.05 * std::sin(x + 1.0))));
    }
  }
};

struct Outputs {
  std::vector<float> amplitude, phase, rawNoise, phaseNoise, normAmplitude, distance, distNoise;
  std::vector<uint32_t> flags;
  explicit Outputs(std::size_t n) : flags(n, 0u) {
    for (auto* v :
         {&amplitude, &phase, &rawNoise, &phaseNoise, &normAmplitude, &distance, &distNoise}) {
      v->assign(n, 0.0f);
    }
  }
};

template <class D>
Outputs runKernel(D d, const Pixels& in, const CalcPixelConstants& c) {
  const uint32_t n = static_cast<uint32_t>(in.imag.size());
  Outputs o(n);
  CalcPixelBuffers b{in.imag.data(),    in.real.data(),      in.asym.data(),
                     in.grey.data(),    in.fppn.data(),      in.pw.data(),
                     in.aw.data(),      o.amplitude.data(),  o.phase.data(),
                     o.rawNoise.data(), o.phaseNoise.data(), o.normAmplitude.data(),
                     o.distance.data(), o.distNoise.data(),  o.flags.data()};
  CalcPixelKernel(d, c, b, n);
  return o;
}

// intensity g with c0 = 0, c2 = 1 and exposure 1 makes s = g.
using KneeCase = std::tuple<float, double>;
class NoiseKnee : public ::testing::TestWithParam<KneeCase> {};

TEST_P(NoiseKnee, DoublesTheSlopeFromTheKneeOn) {
  const auto [s, variance] = GetParam();
  CalcPixelConstants c{};
  c.metresPerRadian = 1.0f;
  c.exposure = 1.0f;
  c.limitFactor = 1e9f;
  c.noise0 = 0.0f;
  c.noise1 = 0.5f;
  c.noise2TimesExposure = 1.0f;
  c.noise3 = 100.0f;
  const std::vector<float> zeros(4, 0.0f), table(kWigglingTableSize, 0.0f);
  // Amplitude 100.
  const Pixels in{
      std::vector<float>(4, 200.0f), zeros, zeros, std::vector<float>(4, s), zeros, table, table};
  const Outputs o = runKernel(simd::NativeTag(), in, c);
  for (int i = 0; i < 4; ++i) {
    EXPECT_NEAR(o.rawNoise[i], std::sqrt(variance), 1e-6 * std::sqrt(variance));
  }
  EXPECT_NEAR(o.phaseNoise[0], std::sqrt(variance) / 100.0, 1e-6);  // phase noise = raw / amplitude
}

INSTANTIATE_TEST_SUITE_P(CalcPixel, NoiseKnee,
                         ::testing::Values(KneeCase{50.0f, 50.5}, KneeCase{99.5f, 100.0},
                                           KneeCase{100.0f, 100.5}, KneeCase{150.0f, 200.5}));

// (asymmetry, threshold, expected flags) for amplitude 100 and tolerance 0.25.
using FlagCase = std::tuple<float, float, uint32_t>;
class AmplitudeFlags : public ::testing::TestWithParam<FlagCase> {};

TEST_P(AmplitudeFlags, AreStrictAndIndependent) {
  const auto [asymmetry, threshold, expected] = GetParam();
  test::PipelineSetup s(4, 1, 80320000, 60240000, 1);
  s.params.consistencyTolerance = 0.25f;
  s.params.amplitudeThreshold = threshold;
  ASSERT_EQ(s.init(), 0);
  KelvoraIntermediateProbeData& p = s.intermediate->probeData[0];
  for (int i = 0; i < 4; ++i) {
    p.imag[i] = 200.0f;
    p.real[i] = 0.0f;
    p.asymmetry[i] = i % 2 == 0 ? asymmetry : -asymmetry;
  }
  s.input.exposureTimes[1] = 100;
  calcPixel(&s.input, &s.params, s.calibration, s.intermediate, &s.output, 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(s.flags[i], expected) << i;
}

INSTANTIATE_TEST_SUITE_P(CalcPixel, AmplitudeFlags,
                         ::testing::Values(FlagCase{50.0f, 100.0f, 0u}, FlagCase{50.01f, 0.f, 0x5u},
                                           FlagCase{0.0f, 100.01f, 0x9u},
                                           FlagCase{60.0f, 101.0f, 0xDu}));

TEST(CalcPixel, LeavesNormalisedAmplitudeAloneWhenSwitchedOff) {
  test::PipelineSetup s(3, 3, 80320000, 60240000, 2);
  s.params.useMPIFlagAverage = false;
  ASSERT_EQ(s.init(), 0);
  KelvoraIntermediateProbeData& p = s.intermediate->probeData[1];
  for (int i = 0; i < 12; ++i) {
    p.normAmplitude[i] = 42.0f;
    p.real[i] = 100.0f;
  }
  s.input.exposureTimes[2] = 10;
  calcPixel(&s.input, &s.params, s.calibration, s.intermediate, &s.output, 1);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(p.normAmplitude[i], 42.0f);
    EXPECT_NEAR(p.amplitude[i], 50.0f, 1e-4f);
  }
}

template <class D>
class CalcPixelKernelTest : public ::testing::Test {};
TYPED_TEST_SUITE(CalcPixelKernelTest, testing::AllSimdTags, testing::SimdTagName);

// The table steps agree with the per-pixel functions to the bit everywhere;
// the arithmetic steps agree with the scalar backend exactly where division
// and sqrt are exact, else to a tight relative tolerance.
TYPED_TEST(CalcPixelKernelTest, AgreesWithScalarPath) {
  const RandomPixels in;
  const CalcPixelConstants c = testing::exampleCalcPixelConstants();
  const Outputs v = runKernel(TypeParam(), in, c);
  const Outputs s = runKernel(simd::scalar::Tag(), in, c);
  const bool exact = TypeParam::kExactDivision;
  auto close = [&](float a, float b) {
    return exact ? sameBits(a, b) : std::fabs(a - b) <= 2e-6f * std::fabs(b) + 1e-30f;
  };
  for (uint32_t i = 0; i < RandomPixels::kCount; ++i) {
    const float phase = pixelPhase(in.imag[i], in.real[i]);
    ASSERT_TRUE(sameBits(v.phase[i], wiggledPhase(phase, in.pw.data()))) << i;
    ASSERT_TRUE(sameBits(v.normAmplitude[i],
                         normalisedAmplitude(v.amplitude[i], c.exposure, phase, in.aw.data())))
        << i;
    ASSERT_TRUE(sameBits(v.distance[i], s.distance[i])) << i;
    ASSERT_TRUE(close(v.amplitude[i], s.amplitude[i])) << i;
    ASSERT_TRUE(close(v.rawNoise[i], s.rawNoise[i])) << i;
    ASSERT_TRUE(close(v.phaseNoise[i], s.phaseNoise[i])) << i;
    ASSERT_TRUE(close(v.distNoise[i], s.distNoise[i])) << i;
    if (exact) {
      ASSERT_EQ(v.flags[i], s.flags[i]) << i;
    }
  }
}

// Independent check in double precision of every formula of the stage.
TEST(CalcPixel, MatchesDoublePrecisionModel) {
  const RandomPixels in;
  const CalcPixelConstants c = testing::exampleCalcPixelConstants();
  const Outputs o = runKernel(simd::NativeTag(), in, c);
  for (uint32_t i = 0; i < RandomPixels::kCount; ++i) {
    const double im = in.imag[i], re = in.real[i];
    const double amp = 0.5 * std::sqrt(im * im + re * re + 1e-10);
    ASSERT_NEAR(o.amplitude[i], amp, 1e-6 * amp);
    double phase = std::atan2(-im, re);
    if (phase < 0) phase += kTwoPiD;
    if (im == 0 && re == 0) phase = 0;
    const double s = c.noise0 * amp + c.noise2TimesExposure * in.grey[i];
    const double var = s >= c.noise3 ? 2 * s - c.noise3 + c.noise1 : s + c.noise1;
    ASSERT_NEAR(o.rawNoise[i], std::sqrt(var), 1e-5 * std::sqrt(var));
    ASSERT_NEAR(o.distNoise[i], std::sqrt(var) / amp * c.metresPerRadian,
                1e-5 * std::sqrt(var) / amp * c.metresPerRadian);
    const double pos = phase / kTwoPiD * 16383.0;
    const long nearest = std::lround(std::min(pos, 16383.0));
    const double wiggled = phase + in.pw[static_cast<std::size_t>(nearest)];
    // Near the period end atan's error can wrap the phase around 2 pi.
    const double dist = wiggled * c.metresPerRadian - c.temperatureOffset + in.fppn[i];
    ASSERT_LT(circularDiff(o.distance[i], dist, kTwoPiD * c.metresPerRadian), 5e-5) << i;
    const long j = static_cast<long>(std::min(pos, 16382.0));
    const double w = std::min(pos, 16383.0) - j;
    const double na = amp / c.exposure * (in.aw[j] + (in.aw[j + 1] - in.aw[j]) * w);
    ASSERT_NEAR(o.normAmplitude[i], na, 2e-4 * na) << i;
    // Flags follow the stage's own amplitude (which may differ from the exact
    // one in the last bit where sqrt is an estimate).
    const float a = o.amplitude[i];
    const uint32_t expectedFlags = (std::fabs(in.asym[i]) > c.limitFactor * a ? 0x5u : 0u) |
                                   (c.amplitudeThreshold > a ? 0x9u : 0u);
    ASSERT_EQ(o.flags[i], expectedFlags) << i;
  }
}

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

// Odd except that zero counts as negative; exact at 1.
TEST(ZynAtanf, StaysWithinInterpolationErrorOfTheTrueArctangent) {
  double worst = 0.0;
  for (float x : sweepArguments()) {
    const double err =
        std::fabs(static_cast<double>(zyn_atanf(x)) - std::atan(static_cast<double>(x)));
    worst = std::max(worst, err);
    if (x != 0.0f) {
      ASSERT_EQ(zyn_atanf(x), -zyn_atanf(-x)) << x;
    }
  }
  EXPECT_LT(worst, 1e-4);
  EXPECT_GT(worst, 1e-5);  // a table interpolation, not a library call
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
    ASSERT_TRUE(sameBits(expected, out[i])) << "x = " << xs[i];
  }
}

}  // namespace
}  // namespace kelvora
