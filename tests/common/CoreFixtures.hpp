#pragma once
// Small helpers shared by the core-level tests: owning wrappers for the
// calibration and intermediate records, the registry's processing defaults
// and the per-pixel stage's constants derived from them.
#include <memory>

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "core/CalcPixel.hpp"
#include "synthetic/DefaultParameters.hpp"
#include "synthetic/SyntheticCalibration.hpp"

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

// The per-pixel stage's constants for frequency 0 of the synthetic module
// under the default parameters, at one exposure and temperature.
inline CalcPixelConstants calcPixelConstantsOfDefaults(uint32_t exposure, float temperature) {
  static const CalibrationPtr module(synth::makeSyntheticCalibration({}));
  KelvoraInput input{};
  input.temperature = temperature;
  input.exposureTimes[1] = exposure;
  return calcPixelConstants(input, defaultParameters(), module->frequencies[0], 0);
}

}  // namespace kelvora::testing
