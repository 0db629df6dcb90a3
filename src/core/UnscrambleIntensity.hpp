#pragma once
// Grey frame -> grey values corrected by the fixed-pattern noise. The output
// keeps negative values; the intermediate copy feeds the noise model, so it is
// clamped at 0 and given per unit of exposure. All rows are used (no skip).
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora {

struct KelvoraParameter;

// exposure 0 leaves the values unscaled.
void unscrambleIntensity_arm(const KelvoraParameter* parameters, const uint16_t* raw,
                             const float* fpn, uint32_t exposure, float* outputIntensity,
                             float* intermediateIntensity);

inline float intensityScale(uint32_t exposure) {
  return exposure == 0 ? 1.0f : 1.0f / static_cast<float>(exposure);
}

inline void unscrambleIntensityPixel(uint16_t sample, float fpn, float scale, float* grey,
                                     float* normalised) {
  const float g = static_cast<float>(sample) - fpn;
  *grey = g;
  *normalised = g < 0.0f ? 0.0f : g * scale;
}

// Four pixels a step while more than four remain in the row, then one at a time.
template <class D>
void UnscrambleIntensityKernel(D d, uint32_t width, uint32_t height, const uint16_t* raw,
                               const float* fpn, float scale, float* grey, float* normalised) {
  const auto scaleV = Set(d, scale);
  const auto zero = Zero(d);
  for (uint32_t row = 0; row < height; ++row) {
    const std::size_t base = static_cast<std::size_t>(row) * width;
    uint32_t x = 0;
    for (; x + 4 < width; x += 4) {
      const std::size_t o = base + x;
      const auto g = Sub(ConvertToFloat(LoadU16ToI32(d, raw + o)), LoadU(d, fpn + o));
      StoreU(g, d, grey + o);
      StoreU(IfThenElse(Lt(g, zero), zero, Mul(g, scaleV)), d, normalised + o);
    }
    for (; x < width; ++x) {
      unscrambleIntensityPixel(raw[base + x], fpn[base + x], scale, grey + base + x,
                               normalised + base + x);
    }
  }
}

}  // namespace kelvora
