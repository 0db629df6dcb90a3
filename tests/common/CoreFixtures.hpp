#pragma once
// Small helpers shared by the core-level tests: owning wrappers for the
// calibration and intermediate records and a parameter record with the
// registry's defaults.
#include <memory>

#include "calibration/KelvoraCalibration.hpp"
#include "core/KelvoraIntermediate.hpp"
#include "core/KelvoraParameter.hpp"

namespace kelvora::testing {

struct CalibrationDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using CalibrationPtr = std::unique_ptr<KelvoraCalibration, CalibrationDeleter>;

struct IntermediateDeleter {
  void operator()(KelvoraIntermediate* i) const { kelvoraTavelFree(i); }
};
using IntermediatePtr = std::unique_ptr<KelvoraIntermediate, IntermediateDeleter>;

// The processing defaults of the parameter registry, typed in here on their
// own so core tests do not depend on the front end.
inline KelvoraParameter defaultParameters(uint32_t width = 224, uint32_t height = 172) {
  KelvoraParameter p{};
  p.amplitudeThreshold = 0.5f;
  p.consistencyTolerance = 1.2f;
  p.noiseThreshold = 0.07f;
  p.adaptiveNoiseFilterType = 2;
  p.exposureReferenceAmplitude = 1200.0f;
  p.flyingPixelF0 = 0.018f;
  p.flyingPixelF1 = 0.14f;
  p.flyingPixelFarDist = 4.5f;
  p.flyingPixelNearDist = 1.0f;
  p.mpiAmplitudeThreshold = 0.3f;
  p.mpiDistanceThreshold = 0.1f;
  p.mpiNoiseDistance = 3.0f;
  p.saturationThresholdLower = 400;
  p.saturationThresholdUpper = 3750;
  p.useAdaptiveNoiseFilter = true;
  p.useAutoExposure = true;
  p.useRemoveFlyingPixel = true;
  p.useMPIFlagAverage = true;
  p.useMPIFlagAmplitude = true;
  p.useMPIFlagDistance = true;
  p.useValidateImage = true;
  p.useSparsePointCloud = false;
  p.useRemoveStrayLight = true;
  p.height = height;
  p.width = width;
  p.numFreqs = 2;
  p.freq1 = 80320000u;
  p.freq2 = 60240000u;
  p.exposureLimitLower = 1;
  p.exposureLimitUpper = 2;
  return p;
}

}  // namespace kelvora::testing
