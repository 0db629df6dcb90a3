#pragma once
// A small calibration, parameter set, intermediate and output for the
// per-pixel stages: no corrections unless a test sets them.
#include <cstdint>
#include <vector>

#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "simd/Simd.hpp"

namespace kelvora::test {

struct WigglingModel {
  std::vector<uint32_t> harmonic;
  std::vector<float> phase;
  std::vector<float> amplitude;
  float offset = 1.0f;
};

struct PipelineSetup {
  KelvoraParameter params{};
  KelvoraCalibration* calibration = nullptr;
  KelvoraIntermediate* intermediate = nullptr;
  KelvoraInput input{};
  KelvoraOutput output{};
  std::vector<float> distance, noise, amplitude, intensity;
  std::vector<uint32_t> flags;

  PipelineSetup(uint32_t width, uint32_t height, uint32_t f1, uint32_t f2, uint8_t numFreqs) {
    params.width = width;
    params.height = height;
    params.numFreqs = numFreqs;
    params.freq1 = f1;
    params.freq2 = f2;
    params.saturationThresholdLower = 0;
    params.saturationThresholdUpper = 65535;
    params.consistencyTolerance = 1e9f;
    params.amplitudeThreshold = 0.0f;
    params.useMPIFlagAverage = true;
    const uint32_t n = width * height;
    calibration = allocateCalibration(n);
    uint32_t roi[4] = {0, 0, width, height};
    for (int i = 0; i < 4; ++i) calibration->calibrationROI[i] = roi[i];
    for (uint32_t p = 0; p < n; ++p) {
      calibration->mask[p] = 0;
      calibration->fpn[p] = 0.0f;
    }
    for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
      KelvoraCalibrationFrequency& freq = calibration->frequencies[f];
      freq.modulationFrequency = f == 0 ? f1 : f == 1 ? f2 : 0;
      for (uint32_t p = 0; p < n; ++p) freq.fppn[p] = 0.0f;
      for (int i = 0; i < 4; ++i) freq.tempCompensation[i] = 0.0f;
      // A small constant noise so that both frequencies weigh equally.
      const float noiseModel[4] = {0.0f, 4.0f, 0.0f, 1e30f};
      for (int i = 0; i < 4; ++i) freq.noiseParameters[i] = noiseModel[i];
      setWiggling(freq.phaseWiggling, WigglingModel{});
      setWiggling(freq.amplitudeWiggling, WigglingModel{});
    }
    const std::size_t padded = simd::roundUpToLanes(n);
    distance.assign(padded, 0.0f);
    noise = amplitude = intensity = distance;
    flags.assign(padded, 0u);
    output.distance = distance.data();
    output.noise = noise.data();
    output.amplitude = amplitude.data();
    output.intensity = intensity.data();
    output.flags = flags.data();
  }

  static void setWiggling(KelvoraWiggling& w, const WigglingModel& m) {
    w.count = static_cast<uint8_t>(m.harmonic.size());
    for (std::size_t k = 0; k < m.harmonic.size(); ++k) {
      w.harmonic[k] = m.harmonic[k];
      w.phase[k] = m.phase[k];
      w.amplitude[k] = m.amplitude[k];
    }
    w.offset = m.offset;
  }

  // Builds the intermediate (wiggling tables included); call after changing
  // the calibration's wiggling models.
  int32_t init() {
    kelvoraTavelFree(intermediate);
    intermediate = nullptr;
    return kelvoraTavelInit(&params, calibration, &intermediate);
  }

  ~PipelineSetup() {
    kelvoraTavelFree(intermediate);
    kelvora_freeCalibration(calibration);
  }
  PipelineSetup(const PipelineSetup&) = delete;
  PipelineSetup& operator=(const PipelineSetup&) = delete;
};

}  // namespace kelvora::test
