#include "core/UnscrambleIntensity.hpp"

#include "base/KelvoraParameter.hpp"

namespace kelvora {

void unscrambleIntensity_arm(const KelvoraParameter* parameters, const uint16_t* raw,
                             const float* fpn, uint32_t exposure, float* outputIntensity,
                             float* intermediateIntensity) {
  UnscrambleIntensityKernel(simd::NativeTag(), parameters->width, parameters->height, raw, fpn,
                            intensityScale(exposure), outputIntensity, intermediateIntensity);
}

}  // namespace kelvora
