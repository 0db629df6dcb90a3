// Raw frames rendered from the physical model for known distances across the
// whole combined range of the frequency pair must come back through
// unscrambling, the per-pixel stage and the unwrapping within 1 mm.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "TestCalibration.hpp"
#include "core/CalcPixel.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleReIm.hpp"

namespace kelvora {
namespace {

constexpr double kHalfC = 149852320.0;
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
