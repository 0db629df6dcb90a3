#pragma once
// Small helpers shared by the core-level tests: owning wrappers for the
// calibration and intermediate records and a parameter record with the
// registry's defaults.
#include <memory>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "core/CalcPixel.hpp"
#include "synthetic/DefaultParameters.hpp"

namespace kelvora::testing {

struct CalibrationDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using CalibrationPtr = std::unique_ptr<KelvoraCalibration, CalibrationDeleter>;

struct IntermediateDeleter {
  void operator()(KelvoraIntermediate* i) const { kelvoraTavelFree(i); }
};
using IntermediatePtr = std::unique_ptr<KelvoraIntermediate, IntermediateDeleter>;

// The processing defaults of the parameter registry.
inline KelvoraParameter defaultParameters(uint32_t width = 224, uint32_t height = 172) {
  return synth::defaultCoreParameters(width, height);
}

// Per-pixel stage constants of the first default frequency with a noise knee
// that random raw samples cross.
inline CalcPixelConstants exampleCalcPixelConstants() {
  CalcPixelConstants c{};
  c.metresPerRadian = kMetresPerRadianTimesHz / 80320000.0f;
  c.exposure = 700.0f;
  c.temperatureOffset = 0.0123f;
  c.limitFactor = 0.3f;
  c.amplitudeThreshold = 30.0f;
  c.noise0 = 0.8f;
  c.noise1 = 3.0f;
  c.noise2TimesExposure = 0.2f * c.exposure;
  c.noise3 = 400.0f;
  c.normaliseAmplitude = true;
  return c;
}

}  // namespace kelvora::testing
