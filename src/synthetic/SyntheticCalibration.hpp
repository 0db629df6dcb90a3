#pragma once
// A plausible camera-module calibration made from code: tests, benchmarks,
// the demo and the calibration writers all start from it, so no test depends
// on files copied out of our own output.
#include <cstdint>
#include <vector>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::synth {

struct SyntheticCalibrationOptions {
  uint32_t width = 224;
  uint32_t height = 172;
  std::vector<uint32_t> frequencies = {80320000u, 60240000u};  // Hz, 1 to 5 of them
  float horizontalFovDegrees = 60.0f;
  float referenceTemperature = 30.0f;  // degC at which the temperature offset is 0
  // Scale of the corrections; 0 makes every correction vanish (flat wiggling,
  // no temperature drift, zero fixed-pattern noise) for tests of the bare model.
  float correctionScale = 1.0f;
  float maskedFraction = 0.002f;  // pixels flagged by the calibration mask
  bool strayLight = false;        // add a point-spread model (psf* fields)
  uint32_t seed = 1;
};

// Fills every field a reader would (lens, mask, fpn, per-frequency fppn,
// temperature, noise and wiggling models, strings); `directions` and `psf`
// stay null: the lens model derives them. Free with kelvora_freeCalibration.
KelvoraCalibration* makeSyntheticCalibration(const SyntheticCalibrationOptions& options = {});

// Uniform deterministic random numbers that do not depend on the standard
// library's distributions, so data is identical on every platform.
class SplitMix {
 public:
  explicit SplitMix(uint64_t seed) : state_(seed) {}
  uint64_t next();
  float uniform(float lo, float hi);  // [lo, hi)
  float gaussian();                   // standard normal (Box-Muller)

 private:
  uint64_t state_;
};

}  // namespace kelvora::synth
