#include "core/UnscrambleIntensity.hpp"

#include "base/KelvoraParameter.hpp"
#include "core/CoreKernels.hpp"

namespace kelvora {

void unscrambleIntensity_arm(const KelvoraParameter* parameters, const uint16_t* raw,
                             const float* fpn, uint32_t exposure, float* outputIntensity,
                             float* intermediateIntensity) {
  const float scale = exposure == 0 ? 1.0f : 1.0f / static_cast<float>(exposure);
  coreKernels().unscrambleIntensity(
      static_cast<std::size_t>(parameters->width) * parameters->height, raw, fpn, scale,
      outputIntensity, intermediateIntensity);
}

}  // namespace kelvora
