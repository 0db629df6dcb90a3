// The per-pixel stage against an independent double-precision model of every
// step (phase, amplitude, noise knee, wiggling, corrections; the table
// arctangent's error included) and its threshold rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/CoreFixtures.hpp"
#include "common/PipelineHarness.hpp"
#include "common/SimdTestTypes.hpp"
#include "core/Atan.hpp"
#include "core/CoreKernels.hpp"

namespace kelvora {
namespace {

constexpr double kTwoPi = 6.283185307179586;
#if defined(__arm__) || defined(__aarch64__)
constexpr bool kArmBuild = true;
#else
constexpr bool kArmBuild = false;
#endif

double circularDiff(double a, double b, double period) {
  const double d = std::remainder(a - b, period);
  return std::fabs(d);
}

// Random quadratures with dark pixels, pixels on the axes and an asymmetry
// exactly on the consistency limit, through calcPixel with the synthetic
// module's corrections, against the model computed in double.
TEST(CalcPixel, MatchesDoublePrecisionModelOfEveryStep) {
  synth::SyntheticCalibrationOptions o;
  o.width = 40;
  o.height = 30;
  testing::PipelineHarness h(o);
  ASSERT_EQ(h.initialise(), 0);
  KelvoraIntermediate& im = h.intermediate();
  KelvoraIntermediateProbeData& p = im.probeData[0];
  const KelvoraCalibrationFrequency& f = h.calibration().frequencies[0];
  const KelvoraParameter& params = h.parameters();
  KelvoraInput input{};
  input.temperature = 41.0f;
  input.exposureTimes[1] = 700;
  const uint32_t n = h.pixelCount();
  synth::SplitMix rng(3);
  for (uint32_t i = 0; i < n; ++i) {
    p.imag[i] = i % 17 == 0 ? 0.0f : std::round(rng.uniform(-4095.0f, 4095.0f));
    p.real[i] = i % 13 == 0 ? 0.0f : std::round(rng.uniform(-4095.0f, 4095.0f));
    p.asymmetry[i] = std::round(rng.uniform(-400.0f, 400.0f));
    im.intensity[i] = rng.uniform(0.0f, 3.0f);
    h.flags[i] = 0;
  }
  calcPixel(&input, &params, &h.calibration(), &im, &h.output, 0);
  const double e = 700.0, k = 23849736.0 / params.freq1;
  const double dT = 41.0 - f.tempCompensation[0];
  const double T =
      dT * (f.tempCompensation[1] + dT * (f.tempCompensation[2] + dT * f.tempCompensation[3]));
  const float* c = f.noiseParameters;
  for (uint32_t i = 0; i < n; ++i) {
    const double re = p.real[i], imag = p.imag[i];
    const double amp = 0.5 * std::sqrt(imag * imag + re * re + 1e-10);
    ASSERT_NEAR(p.amplitude[i], amp, 1e-6 * amp) << i;
    double phase = imag == 0 && re == 0 ? 0.0 : std::atan2(-imag, re);
    if (phase < 0) phase += kTwoPi;
    const double s = c[0] * amp + c[2] * e * im.intensity[i];
    const double noise = std::sqrt(s >= c[3] ? 2 * s - c[3] + c[1] : s + c[1]);
    ASSERT_NEAR(p.rawNoise[i], noise, 1e-5 * noise) << i;
    ASSERT_NEAR(p.distanceNoise[i], noise / amp * k, 1e-5 * noise / amp * k) << i;
    const double pos = std::min(phase / kTwoPi * 16383.0, 16383.0);
    const double wiggled = phase + p.phaseWiggling[std::lround(pos)];
    // Near the period's end the arctangent's error can wrap the phase around.
    ASSERT_LT(circularDiff(p.distance[i], wiggled * k - T + f.fppn[i], kTwoPi * k), 5e-5) << i;
    const long j = static_cast<long>(std::min(pos, 16382.0));
    const float* A = p.amplitudeWiggling;
    const double na = amp / e * (A[j] + (A[j + 1] - A[j]) * (pos - j));
    ASSERT_NEAR(p.normAmplitude[i], na, 2e-4 * std::fabs(na) + 1e-12) << i;
    // Flags follow the stage's own amplitude; both tests are strict.
    const float a = p.amplitude[i];
    const uint32_t want =
        (std::fabs(p.asymmetry[i]) > 2 * params.consistencyTolerance * a ? 5u : 0u) |
        (params.amplitudeThreshold > a ? 9u : 0u);
    ASSERT_EQ(h.flags[i], want) << i;
  }
}

TEST(CalcPixel, ThresholdsAreStrictAndNormalisedAmplitudeIsKeptWhenSwitchedOff) {
  // imag 200 gives amplitude 100 exactly; imag 1 gives 0.5, the default
  // amplitude threshold. Asymmetries on and just past the limit.
  CalcPixelConstants c = testing::calcPixelConstantsOfDefaults(700, 30.0f);
  c.normaliseAmplitude = false;
  const float limit = c.limitFactor * 100.0f;
  const float beyond = std::nextafter(limit, 1e9f);
  std::vector<float> imag = {200, 200, 200, 1, 1}, real(5, 0.0f), zeros(16384, 0.0f);
  std::vector<float> asym = {limit, -limit, beyond, 0, 0}, grey(5, 1.0f), norm(5, 42.0f);
  imag[4] = 0.999f;
  std::vector<float> out[6];
  for (auto& o : out) o.assign(5, 0.0f);
  std::vector<uint32_t> flags(5, 0);
  coreKernels().calcPixel(c,
                          {imag.data(), real.data(), asym.data(), grey.data(), zeros.data(),
                           zeros.data(), zeros.data(), out[0].data(), out[1].data(), out[2].data(),
                           out[3].data(), norm.data(), out[4].data(), out[5].data(), flags.data()},
                          5);
  ASSERT_EQ(out[0][3], c.amplitudeThreshold);
  EXPECT_EQ(flags, (std::vector<uint32_t>{0, 0, 5, 0, 9}));
  EXPECT_EQ(norm, std::vector<float>(5, 42.0f));
}

// Every target's phase against the per-pixel definition with zyn_atanf, bit
// for bit, over hostile quadratures. The targets share one kernel source, so
// the parity tests cannot see a rewrite of its arithmetic that is not exact;
// this can. With zero wiggling tables the stored phase is the phase plus 0.
TEST(CalcPixel, PhaseIsTheDefinitionWithTheScalarArctangentBitForBit) {
  const auto definition = [](float imag, float real) {
    const float y = -imag;
    const float x = real;
    float phase;
    if (std::fabs(x) < 1e-30f) {
      phase = std::fabs(y) < 1e-30f ? 0.0f : std::signbit(y) ? -1.5707964f : 1.5707964f;
    } else {
      phase = zyn_atanf(y / x);
      if (!(x > 0.0f)) phase += std::signbit(y) ? -3.1415927f : 3.1415927f;
    }
    return phase - std::floor(phase * 0.15915494f) * 6.2831855f + 0.0f;
  };
  constexpr std::size_t n = 4099;
  std::vector<simd::Target> targets = testing::targetsBesideScalar();
  targets.push_back(simd::Target::kScalar);
  for (const simd::Target t : targets) {
    // NaN, infinities and subnormals only off ARM, whose build flushes
    // subnormals in the scalar path's code too.
    const bool specials = !kArmBuild;
    const auto imag = testing::hostileFloats(n, 4000.0f, 1e-30f, 7, specials);
    const auto real = testing::hostileFloats(n, 4000.0f, 1e-30f, 8, specials);
    const std::vector<float> zeros(std::max<std::size_t>(n, 16384), 0.0f);
    std::vector<float> out[7];
    for (auto& o : out) o.assign(n, 0.0f);
    std::vector<uint32_t> flags(n, 0);
    coreKernelsFor(t)->calcPixel(
        testing::calcPixelConstantsOfDefaults(700, 30.0f),
        {imag.data(), real.data(), zeros.data(), zeros.data(), zeros.data(), zeros.data(),
         zeros.data(), out[0].data(), out[1].data(), out[2].data(), out[3].data(), out[4].data(),
         out[5].data(), out[6].data(), flags.data()},
        n);
    for (std::size_t i = 0; i < n; ++i) {
      ASSERT_TRUE(testing::sameBits(out[1][i], definition(imag[i], real[i])))
          << simd::targetName(t) << " " << imag[i] << ", " << real[i] << ": " << out[1][i];
    }
  }
}

}  // namespace
}  // namespace kelvora
