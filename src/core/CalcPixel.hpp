#pragma once
// Per-pixel stage of one modulation frequency: amplitude, phase, raw and phase
// noise, normalised amplitude, phase wiggling, distance and distance noise,
// with the calibration's temperature and fixed-pattern corrections, plus the
// inconsistency (0x5) and low-amplitude (0x9) flags. The kernel is
// core/CalcPixelKernel.hpp; this header holds what the stage and its kernel
// table share.
#include <cstdint>

namespace kelvora {

struct KelvoraInput;
struct KelvoraParameter;
struct KelvoraCalibration;
struct KelvoraCalibrationFrequency;
struct KelvoraIntermediate;
struct KelvoraOutput;

void calcPixel(const KelvoraInput* input, const KelvoraParameter* parameters,
               const KelvoraCalibration* calibration, KelvoraIntermediate* intermediate,
               KelvoraOutput* output, unsigned int frequencyIndex);

// 23849736 / f is metres per radian of phase (c / (4 pi f) with c in air).
constexpr float kMetresPerRadianTimesHz = 23849736.0f;
constexpr float kInvTwoPi = 0.15915494f;
constexpr float kTwoPi = 6.2831855f;
// 16383 / (2 pi): one phase period onto the 16384 entries of a wiggling table.
constexpr float kPhaseToWigglingIndex = 2607.4353f;
constexpr float kLastWigglingIndex = 16383.0f;
// Keeps sqrt and the later divisions finite for a dark pixel.
constexpr float kAmplitudeFloor = 1e-10f;
constexpr float kTinyQuadrature = 1e-30f;

struct CalcPixelConstants {
  float metresPerRadian;
  float exposure;           // of this frequency, sensor units
  float temperatureOffset;  // metres, subtracted from the distance
  float limitFactor;        // 2 x consistencyTolerance
  float amplitudeThreshold;
  float noise0;  // slope on the amplitude
  float noise1;  // constant variance
  float noise2TimesExposure;
  float noise3;  // knee: above it the slope doubles
  bool normaliseAmplitude;
};

// n pixels each, the wiggling tables 16384 entries each.
struct CalcPixelBuffers {
  const float* imag;
  const float* real;
  const float* asymmetry;
  const float* intensity;  // grey per unit of grey exposure
  const float* fppn;       // metres
  const float* phaseWiggling;
  const float* amplitudeWiggling;
  float* amplitude;
  float* phase;
  float* rawNoise;
  float* phaseNoise;
  float* normAmplitude;
  float* distance;
  float* distanceNoise;
  uint32_t* flags;
};

CalcPixelConstants calcPixelConstants(const KelvoraInput& input, const KelvoraParameter& parameters,
                                      const KelvoraCalibrationFrequency& frequency,
                                      unsigned int frequencyIndex);

}  // namespace kelvora
