#pragma once
// Small helpers shared by the core-level tests: owning wrappers for the
// calibration and intermediate records and a parameter record with the
// registry's defaults.
#include <memory>

#include "calibration/KelvoraCalibration.hpp"
#include "core/KelvoraIntermediate.hpp"
#include "core/KelvoraParameter.hpp"
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

}  // namespace kelvora::testing
