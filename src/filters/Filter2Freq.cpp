#include "filters/Filter2Freq.hpp"

#include <cmath>
#include <cstring>

#include "core/TwoFrequencyUnwrap.hpp"
#include "filters/Filter2FreqKernel.hpp"
#include "simd/WideVectors.hpp"

namespace kelvora {

namespace {

constexpr float kHalfSpeedOfLight = 149852320.0f;

}  // namespace

Filter2FreqConstants filter2FreqConstants(uint32_t freq1, uint32_t freq2) {
  const uint32_t a = freq1;
  const uint32_t b = freq2;
  Filter2FreqConstants c{};
  uint32_t s = 0;
  uint32_t t = 0;
  c.gcd = zyn_extendedGCD(b, a, &s, &t);
  c.coefficient = static_cast<int32_t>(s);
  c.K = static_cast<float>(c.coefficient) * static_cast<float>(b / c.gcd) - 0.5f;
  const float D = static_cast<float>(b) * kInvHalfSpeedOfLight *
                  static_cast<float>(static_cast<int32_t>(a) / static_cast<int32_t>(c.gcd));
  c.shift = c.K / D;
  c.threshold = 1.0f / D;
  c.range = kHalfSpeedOfLight / static_cast<float>(c.gcd);
  c.invRange = 1.0f / c.range;
  c.half = 0.5f * c.range;
  return c;
}

void filter2Freq(int width, int height, uint32_t freq1, uint32_t freq2, float* scratch,
                 float* distance) {
  if (width <= 0 || height <= 0 || freq1 == 0 || freq2 == 0) return;
  const Filter2FreqConstants c = filter2FreqConstants(freq1, freq2);
  std::memcpy(scratch, distance,
              static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * sizeof(float));
  Filter2FreqImage(simd::NativeTag(), c, width, height, scratch, distance, simd::vectorLanes());
}

}  // namespace kelvora
