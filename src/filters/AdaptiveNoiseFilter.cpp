#include "filters/AdaptiveNoiseFilter.hpp"

#include <cstring>

#include "filters/FilterKernels.hpp"

namespace kelvora {

void filterAdaptiveNoise_arm(int width, int height, uint8_t radius, float* scratch,
                             const float* noise, const uint32_t* flags, float* distance) {
  if (width <= 0 || height <= 0) return;
  const std::size_t w = static_cast<std::size_t>(width);
  const std::size_t h = static_cast<std::size_t>(height);
  std::memcpy(scratch, distance, w * h * sizeof(float));
  // The kernel table covers radius 2; larger radii are refused upstream and
  // leave the image unchanged here.
  if (radius < 1 || radius > 2) return;
  filterKernels().adaptiveNoise({w, h, scratch, noise, flags, distance}, radius);
}

}  // namespace kelvora
