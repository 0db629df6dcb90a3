#include "core/UnscrambleReIm.hpp"

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "simd/WideVectors.hpp"

namespace kelvora {

void unscrambleReIm_flagSaturation_arm(const KelvoraInput* /*input*/,
                                       const KelvoraParameter* parameters,
                                       KelvoraIntermediateProbeData* probe, KelvoraOutput* output,
                                       const uint16_t* const* frames) {
  UnscrambleReImKernel(simd::NativeTag(), parameters->width, parameters->height,
                       parameters->saturationThresholdLower, parameters->saturationThresholdUpper,
                       frames, probe->imag, probe->real, probe->asymmetry, output->flags,
                       simd::vectorLanes());
}

}  // namespace kelvora
