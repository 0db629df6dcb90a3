#include "core/TwoFrequencyUnwrap.hpp"

#include "core/CoreKernels.hpp"

namespace kelvora {

uint32_t zyn_extendedGCD(uint32_t a, uint32_t b, uint32_t* x, uint32_t* y) {
  if (b == 0) {
    *x = 1;
    *y = 0;
    return a;
  }
  if (a % b == 0) {
    *x = 0;
    *y = 1;
    return b;
  }
  uint32_t x1 = 0;
  uint32_t y1 = 0;
  const uint32_t g = zyn_extendedGCD(b, a % b, &x1, &y1);
  // Unsigned wrap-around is two's-complement arithmetic on the coefficients.
  *x = y1;
  *y = x1 - (a / b) * y1;
  return g;
}

TwoFrequencyConstants twoFrequencyConstants(uint32_t f1, uint32_t f2) {
  TwoFrequencyConstants c{};
  if (f1 == 0 || f2 == 0) return c;
  c.valid = true;
  uint32_t x = 0;
  uint32_t y = 0;
  c.gcd = zyn_extendedGCD(f1, f2, &x, &y);
  c.coefficientF2 = static_cast<int32_t>(y);
  c.lcm = f2 * (f1 / c.gcd);
  c.a = c.lcm / f1;
  c.b = c.lcm / f2;
  c.invRL = static_cast<float>(c.lcm) * kInvHalfSpeedOfLight;
  c.RL = 1.0f / c.invRL;
  c.N = static_cast<float>(c.a * c.b);
  c.invN = 1.0f / c.N;
  c.K = static_cast<float>(static_cast<int64_t>(c.coefficientF2) * static_cast<int64_t>(c.a));
  return c;
}

void calc2Freq_arm(uint32_t n, const float* dA, const float* dB, const float* noiseA,
                   const float* noiseB, uint32_t f1, uint32_t f2, float* distanceOut,
                   float* differenceOut, float* noiseOut) {
  const TwoFrequencyConstants c = twoFrequencyConstants(f1, f2);
  if (!c.valid) return;
  coreKernels().calc2Freq(c, n, {dA, dB, noiseA, noiseB, distanceOut, differenceOut, noiseOut});
}

}  // namespace kelvora
