#include "filters/AdaptiveNoiseFilter.hpp"

#include "filters/AdaptiveNoiseFilterKernel.hpp"
#include "simd/WideVectors.hpp"

namespace kelvora {

void filterAdaptiveNoise_arm(int width, int height, uint8_t radius, float* scratch,
                             const float* noise, const uint32_t* flags, float* distance) {
#if defined(KELVORA_WIDE_X86)
  const unsigned lanes = simd::vectorLanes();
  if (lanes >= 8) {
    if (!adaptiveNoisePrepare(width, height, radius, scratch, distance)) return;
    const AdaptiveNoiseImage im{
        width, static_cast<std::ptrdiff_t>(width) * height, scratch, noise, flags, distance};
    // Row by row: a row's masked four-lane tail may rewrite the first pixels
    // of the next row, which must not have been filtered yet.
    for (std::ptrdiff_t y = radius; y < height - radius; ++y) {
      std::ptrdiff_t x = radius;
      if (lanes >= 16) x = adaptiveNoiseRowGroupsAvx512(im, radius, y, x);
      x = adaptiveNoiseRowGroupsAvx2(im, radius, y, x);
      filterAdaptiveNoiseRow(simd::NativeTag(), im, radius, y, x);
    }
    return;
  }
#endif
  filterAdaptiveNoise(simd::NativeTag(), width, height, radius, scratch, noise, flags, distance);
}

}  // namespace kelvora
