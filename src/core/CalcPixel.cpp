#include "core/CalcPixel.hpp"

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "core/CoreKernels.hpp"

namespace kelvora {

CalcPixelConstants calcPixelConstants(const KelvoraInput& input, const KelvoraParameter& parameters,
                                      const KelvoraCalibrationFrequency& frequency,
                                      unsigned int frequencyIndex) {
  CalcPixelConstants c{};
  c.metresPerRadian =
      kMetresPerRadianTimesHz / static_cast<float>(frequencyOf(parameters, frequencyIndex));
  c.exposure = static_cast<float>(input.exposureTimes[frequencyIndex + 1]);
  const float* t = frequency.tempCompensation;
  const float dT = input.temperature - t[0];
  c.temperatureOffset = dT * (t[1] + dT * (t[2] + dT * t[3]));
  c.limitFactor = 2.0f * parameters.consistencyTolerance;
  c.amplitudeThreshold = parameters.amplitudeThreshold;
  const float* noise = frequency.noiseParameters;
  c.noise0 = noise[0];
  c.noise1 = noise[1];
  c.noise2TimesExposure = noise[2] * c.exposure;
  c.noise3 = noise[3];
  c.normaliseAmplitude = parameters.useMPIFlagAverage;
  return c;
}

void calcPixel(const KelvoraInput* input, const KelvoraParameter* parameters,
               const KelvoraCalibration* calibration, KelvoraIntermediate* intermediate,
               KelvoraOutput* output, unsigned int frequencyIndex) {
  const KelvoraCalibrationFrequency& frequency = calibration->frequencies[frequencyIndex];
  KelvoraIntermediateProbeData& probe = intermediate->probeData[frequencyIndex];
  const CalcPixelConstants c = calcPixelConstants(*input, *parameters, frequency, frequencyIndex);
  CalcPixelBuffers b{};
  b.imag = probe.imag;
  b.real = probe.real;
  b.asymmetry = probe.asymmetry;
  b.intensity = intermediate->intensity;
  b.fppn = frequency.fppn;
  b.phaseWiggling = probe.phaseWiggling;
  b.amplitudeWiggling = probe.amplitudeWiggling;
  b.amplitude = probe.amplitude;
  b.phase = intermediate->phase;
  b.rawNoise = probe.rawNoise;
  b.phaseNoise = intermediate->phaseNoise;
  b.normAmplitude = probe.normAmplitude;
  b.distance = probe.distance;
  b.distanceNoise = probe.distanceNoise;
  b.flags = output->flags;
  coreKernels().calcPixel(c, b, pixelCountOf(*parameters));
}

}  // namespace kelvora
