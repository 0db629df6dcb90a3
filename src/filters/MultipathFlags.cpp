#include "filters/MultipathFlags.hpp"

#include <cstddef>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/PixelFlags.hpp"
#include "filters/MultipathFlagsKernel.hpp"
#include "filters/MultipathMedian.hpp"
#include "simd/WideVectors.hpp"

namespace kelvora {

void kelvora_flagMultipath(const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                           KelvoraOutput* output) {
  const KelvoraParameter& p = *parameters;
  if (intermediate->numFreqs < 2 || !(p.useMPIFlagAmplitude || p.useMPIFlagDistance)) return;
  const std::size_t count = static_cast<std::size_t>(p.width) * p.height;
  const KelvoraIntermediateProbeData& p0 = intermediate->probeData[0];
  const KelvoraIntermediateProbeData& p1 = intermediate->probeData[1];
  const simd::NativeTag d;

  const MultipathMeasureBuffers measures{p0.normAmplitude,
                                         p1.normAmplitude,
                                         p0.rawNoise,
                                         p0.amplitude,
                                         p1.rawNoise,
                                         p1.amplitude,
                                         intermediate->mpiAmplitudeRatio,
                                         intermediate->mpiAmplitudeNoise};
  std::size_t done = 0;
#if defined(KELVORA_WIDE_X86)
  const unsigned lanes = simd::vectorLanes();
  if (lanes >= 16) done = multipathMeasureGroupsAvx512(count, measures);
  if (lanes >= 8) done += multipathMeasureGroupsAvx2(count - done, measures.from(done));
#endif
  const MultipathMeasureBuffers rest = measures.from(done);
  computeMultipathMeasures(d, count - done, rest.normAmplitude0, rest.normAmplitude1,
                           rest.rawNoise0, rest.amplitude0, rest.rawNoise1, rest.amplitude1,
                           rest.ratio, rest.noise);

  if (p.useMPIFlagAmplitude) {
    if (p.useMPIFlagAverage) {
      zyn_mpiFastMedian(p.width, p.height, intermediate->mpiAmplitudeRatio,
                        intermediate->filterScratch);
    }
    flagAboveNoiseFloor(d, count, intermediate->mpiAmplitudeRatio, intermediate->mpiAmplitudeNoise,
                        p.mpiNoiseDistance, p.mpiAmplitudeThreshold, flags::kMultipathAmplitude,
                        output->flags);
  }
  if (p.useMPIFlagDistance) {
    if (p.useMPIFlagAverage) {
      zyn_mpiFastMedian(p.width, p.height, intermediate->distanceDifference,
                        intermediate->filterScratch);
    }
    // The distance test scales the output distance noise (metres).
    flagAboveNoiseFloor(d, count, intermediate->distanceDifference, output->noise,
                        p.mpiNoiseDistance, p.mpiDistanceThreshold, flags::kMultipathDistance,
                        output->flags);
  }
}

}  // namespace kelvora
