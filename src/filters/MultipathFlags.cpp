#include "filters/MultipathFlags.hpp"

#include <cstddef>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/PixelFlags.hpp"
#include "filters/FilterKernels.hpp"
#include "filters/MultipathMedian.hpp"

namespace kelvora {

void kelvora_flagMultipath(const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                           KelvoraOutput* output) {
  const KelvoraParameter& p = *parameters;
  if (intermediate->numFreqs < 2 || !(p.useMPIFlagAmplitude || p.useMPIFlagDistance)) return;
  const std::size_t count = static_cast<std::size_t>(p.width) * p.height;
  const KelvoraIntermediateProbeData& p0 = intermediate->probeData[0];
  const KelvoraIntermediateProbeData& p1 = intermediate->probeData[1];
  const FilterKernels& kernels = filterKernels();
  kernels.multipathMeasures(
      count, {p0.normAmplitude, p1.normAmplitude, p0.rawNoise, p0.amplitude, p1.rawNoise,
              p1.amplitude, intermediate->mpiAmplitudeRatio, intermediate->mpiAmplitudeNoise});

  // Both medians first, then both tests in one pass: the medians read no
  // flags and the tests only OR them in, so the order changes nothing.
  NoiseFloorTest tests[2];
  std::size_t testCount = 0;
  if (p.useMPIFlagAmplitude) {
    if (p.useMPIFlagAverage) {
      zyn_mpiFastMedian(p.width, p.height, intermediate->mpiAmplitudeRatio,
                        intermediate->filterScratch);
    }
    tests[testCount++] = {intermediate->mpiAmplitudeRatio, intermediate->mpiAmplitudeNoise,
                          p.mpiNoiseDistance, p.mpiAmplitudeThreshold, flags::kMultipathAmplitude};
  }
  if (p.useMPIFlagDistance) {
    if (p.useMPIFlagAverage) {
      zyn_mpiFastMedian(p.width, p.height, intermediate->distanceDifference,
                        intermediate->filterScratch);
    }
    // The distance test scales the output distance noise (metres).
    tests[testCount++] = {intermediate->distanceDifference, output->noise, p.mpiNoiseDistance,
                          p.mpiDistanceThreshold, flags::kMultipathDistance};
  }
  kernels.flagAboveNoiseFloor(count, tests, testCount, output->flags);
}

}  // namespace kelvora
