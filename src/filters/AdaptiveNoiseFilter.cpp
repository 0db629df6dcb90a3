#include "filters/AdaptiveNoiseFilter.hpp"

#include "filters/AdaptiveNoiseFilterKernel.hpp"

namespace kelvora {

void filterAdaptiveNoise_arm(int width, int height, uint8_t radius, float* scratch,
                             const float* noise, const uint32_t* flags, float* distance) {
  filterAdaptiveNoise(simd::NativeTag(), width, height, radius, scratch, noise, flags, distance);
}

}  // namespace kelvora
