#include "synthetic/DefaultParameters.hpp"

namespace kelvora::synth {

KelvoraParameter defaultCoreParameters(uint32_t width, uint32_t height) {
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

}  // namespace kelvora::synth
