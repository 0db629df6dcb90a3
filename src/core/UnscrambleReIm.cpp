#include "core/UnscrambleReIm.hpp"

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "core/CoreKernels.hpp"

namespace kelvora {

void unscrambleReIm_flagSaturation_arm(const KelvoraInput* /*input*/,
                                       const KelvoraParameter* parameters,
                                       KelvoraIntermediateProbeData* probe, KelvoraOutput* output,
                                       const uint16_t* const* frames) {
  const UnscrambleFrames f{{frames[0], frames[1], frames[2], frames[3]},
                           parameters->width,
                           parameters->height,
                           parameters->saturationThresholdLower,
                           parameters->saturationThresholdUpper,
                           probe->imag,
                           probe->real,
                           probe->asymmetry,
                           output->flags};
  coreKernels().unscrambleReIm(f);
}

}  // namespace kelvora
