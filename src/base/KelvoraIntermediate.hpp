#pragma once
// Per-engine scratch: everything the core needs between and within frame
// sets, allocated once by kelvoraTavelInit and never while a frame set runs.
// Per-pixel buffers are zero-filled, aligned and padded to whole vectors.
#include <kissfft/kiss_fftnd.h>

#include <cstdint>

namespace kelvora {

struct KelvoraCalibration;
struct KelvoraParameter;

// State of the auto exposure, laid out once per configuration.
struct KelvoraAutoExposure {
  uint8_t* sampleMask;        // width x height; 1 where a pixel is a sample point
  uint32_t sampleCount;       // sample hits, a pixel hit twice counted twice
  float* samples;             // maxBinSize gathered amplitudes
  uint32_t selectIndex;       // rank of the percentile sample
  uint32_t* samplePixels;     // the marked pixels in index order (room for maxBinSize)
  uint32_t samplePixelCount;  // number of marked pixels, never above sampleCount
};

constexpr uint16_t kWigglingTableSize = 16384;

struct KelvoraIntermediateProbeData {
  float* imag;       // A1 - A3
  float* real;       // A0 - A2
  float* asymmetry;  // A0 + A2 - A1 - A3
  float* normAmplitude;
  uint32_t* spare;
  float unambiguousRange;  // metres: 149852320 / f
  uint16_t phaseWigglingSize;
  float* phaseWiggling;
  uint16_t amplitudeWigglingSize;
  float* amplitudeWiggling;
  float* distance;  // wrapped distance of this frequency, metres
  float* distanceNoise;
  float* amplitude;
  float* rawNoise;
};

struct KelvoraIntermediateStrayLight {
  kiss_fft_cpx* bufferA;  // psfHeight x psfWidth
  kiss_fft_cpx* bufferB;
  kiss_fftnd_cfg forwardPlan;
  kiss_fftnd_cfg inversePlan;
};

struct KelvoraIntermediate {
  uint16_t height;
  uint16_t width;
  float* intensity;  // grey value per unit of grey exposure, clamped at 0
  float* mpiAmplitudeNoise;
  float* phase;
  float* phaseNoise;
  uint32_t* spare;
  float* mpiAmplitudeRatio;
  float* distanceDifference;
  float* filterScratch;
  uint8_t numFreqs;
  KelvoraIntermediateProbeData* probeData;  // numFreqs records
  KelvoraAutoExposure autoExposure;
  uint32_t* pixelFlags;  // flags that hold for every frame (mask)
  KelvoraIntermediateStrayLight strayLight;
};

// Returns 1 for a calibration whose version is not 1 (nothing allocated),
// otherwise the result of adaptCalibration (0, or 2 for a frequency the
// calibration lacks; the intermediate is usable either way).
int32_t kelvoraTavelInit(const KelvoraParameter* parameters, KelvoraCalibration* calibration,
                         KelvoraIntermediate** out);
void kelvoraTavelFree(KelvoraIntermediate* intermediate);
int32_t kelvoraIntermediateInit(const KelvoraParameter* parameters,
                                const KelvoraCalibration* calibration, KelvoraIntermediate** out);
void kelvoraIntermediateFree(KelvoraIntermediate* intermediate);

// Puts the calibration's frequency record for frequency i of the parameters at
// index i. Returns 0, or 2 when a requested frequency is not calibrated.
int32_t adaptCalibration(const KelvoraParameter* parameters, KelvoraCalibration* calibration);

}  // namespace kelvora
