#pragma once
// Processing switches and thresholds. Filled by the parameter registry and the
// engine front end; the core only reads it.
#include <cstdint>

namespace kelvora {

struct KelvoraParameter {
  uint32_t reserved;  // left as the front end initialises it
  float amplitudeThreshold;
  float consistencyTolerance;
  float noiseThreshold;             // metres
  uint8_t adaptiveNoiseFilterType;  // 1: 3x3 kernel, 2: 5x5 kernel
  float exposureReferenceAmplitude;
  float flyingPixelF0;
  float flyingPixelF1;
  float flyingPixelFarDist;   // metres
  float flyingPixelNearDist;  // metres
  float mpiAmplitudeThreshold;
  float mpiDistanceThreshold;  // metres
  float mpiNoiseDistance;
  uint16_t saturationThresholdLower;  // smallest valid raw sample
  uint16_t saturationThresholdUpper;  // largest valid raw sample
  bool useAdaptiveNoiseFilter;
  bool useAutoExposure;
  bool useRemoveFlyingPixel;
  bool useMPIFlagAverage;
  bool useMPIFlagAmplitude;
  bool useMPIFlagDistance;
  bool useValidateImage;
  bool useSparsePointCloud;
  bool useRemoveStrayLight;
  uint32_t height;
  uint32_t width;
  uint8_t numFreqs;  // 1 or 2; the next field's alignment gives it a 32-bit slot
  uint32_t freq1;    // Hz
  uint32_t freq2;    // Hz
  uint32_t exposureLimitLower;
  uint32_t exposureLimitUpper;
};

// freq1 and freq2 addressed by frequency index (0 or 1).
inline uint32_t frequencyOf(const KelvoraParameter& p, uint32_t index) {
  return index == 0 ? p.freq1 : p.freq2;
}

inline uint32_t pixelCountOf(const KelvoraParameter& p) {
  return p.width * p.height;
}

}  // namespace kelvora
