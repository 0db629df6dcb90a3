#include "core/FrameDrivers.hpp"

#include <algorithm>
#include <cstring>

#include "core/CalcPixel.hpp"
#include "core/CombineStages.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleIntensity.hpp"
#include "core/UnscrambleReIm.hpp"
#include "filters/AdaptiveNoiseFilter.hpp"
#include "filters/AutoExposure.hpp"
#include "filters/Filter2Freq.hpp"
#include "filters/MultipathFlags.hpp"
#include "filters/StrayLight.hpp"

namespace kelvora {

int32_t kelvora_processIntensity(const KelvoraInput* input, const KelvoraCalibration* calibration,
                                 const KelvoraParameter* parameters,
                                 KelvoraIntermediate* intermediate, KelvoraOutput* output) {
  const uint32_t n = pixelCountOf(*parameters);
  // The only place the output flags are reset: every later stage ORs in.
  std::memcpy(output->flags, intermediate->pixelFlags, sizeof(uint32_t) * n);
  unscrambleIntensity_arm(parameters, input->intensityFrame, calibration->fpn,
                          input->exposureTimes[0], output->intensity, intermediate->intensity);
  return 0;
}

void kelvora_processModFrames(const KelvoraInput* input, const KelvoraCalibration* calibration,
                              const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                              KelvoraOutput* output, uint32_t frequencyIndex) {
  KelvoraIntermediateProbeData* probe = &intermediate->probeData[frequencyIndex];
  unscrambleReIm_flagSaturation_arm(input, parameters, probe, output,
                                    input->modFrames[frequencyIndex]);
  if (parameters->useRemoveStrayLight) {
    removeStrayLight(probe, &intermediate->strayLight, calibration);
  }
  calcPixel(input, parameters, calibration, intermediate, output, frequencyIndex);
}

void kelvora_combineResults(const KelvoraInput* input, const KelvoraCalibration* calibration,
                            const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                            KelvoraOutput* output) {
  const KelvoraParameter& p = *parameters;
  const uint32_t n = pixelCountOf(p);
  const int width = static_cast<int>(p.width);
  const int height = static_cast<int>(p.height);
  KelvoraIntermediateProbeData* probes = intermediate->probeData;

  if (p.numFreqs == 1) {
    std::memcpy(output->noise, probes[0].distanceNoise, sizeof(float) * n);
    wrapSingleFrequencyDistance(n, probes[0].distance, probes[0].unambiguousRange,
                                output->distance);
  } else if (p.numFreqs == 2) {
    calc2Freq_arm(n, probes[0].distance, probes[1].distance, probes[0].distanceNoise,
                  probes[1].distanceNoise, p.freq1, p.freq2, output->distance,
                  intermediate->distanceDifference, output->noise);
    filter2Freq(width, height, p.freq1, p.freq2, intermediate->filterScratch, output->distance);
  }

  if (p.useAdaptiveNoiseFilter) {
    filterAdaptiveNoise_arm(width, height, p.adaptiveNoiseFilterType, intermediate->filterScratch,
                            output->noise, output->flags, output->distance);
  }
  kelvora_flagMultipath(parameters, intermediate, output);
  finishOutput(p, *calibration, *intermediate, *output);
  output->width = static_cast<uint16_t>(p.width);
  output->height = static_cast<uint16_t>(p.height);
  // Reads only the amplitude, which validation leaves alone.
  if (p.useAutoExposure) {
    calcAutoExposure(n, output->amplitude, parameters, &intermediate->autoExposure,
                     input->exposureTimes, output->exposureProposal);
  }
}

}  // namespace kelvora
