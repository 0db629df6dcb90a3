#pragma once
// Two-frequency unwrapping. Each frequency alone measures distance modulo
// c/(2f); together they measure modulo c/(2g), g = gcd(f1, f2). The wrap
// counts that make the two wrapped distances agree come from the Chinese
// remainder theorem on the integer ratios a = f2/g and b = f1/g, and the two
// measurements are blended by inverse noise variance.
#include <cstdint>

namespace kelvora {

// gcd(a, b) with a*x + b*y = gcd in two's complement (coefficients may be
// negative: read them as int32). b = 0 gives a, x = 1, y = 0.
uint32_t zyn_extendedGCD(uint32_t a, uint32_t b, uint32_t* x, uint32_t* y);

// n pixels; distances and noises in metres, frequencies in Hz.
void calc2Freq_arm(uint32_t n, const float* dA, const float* dB, const float* noiseA,
                   const float* noiseB, uint32_t f1, uint32_t f2, float* distanceOut,
                   float* differenceOut, float* noiseOut);

// 1 / 149852320 (half the speed of light in air, m/s), as stored.
constexpr float kInvHalfSpeedOfLight = 6.6732366e-9f;
// Smallest normal float: keeps the inverse variances finite for zero noise.
constexpr float kVarianceFloor = 1.1754944e-38f;

struct TwoFrequencyConstants {
  bool valid;  // false for a zero frequency: nothing can be unwrapped
  uint32_t gcd;
  int32_t coefficientF2;  // Bezout coefficient of f2
  uint32_t lcm;
  uint32_t a;   // lcm / f1
  uint32_t b;   // lcm / f2
  float invRL;  // 1 / (unambiguous range at the lcm frequency)
  float RL;     // metres
  float N;      // a * b: unwrapping indices in the combined range
  float invN;
  float K;  // = 1 mod b, = 0 mod a
};

TwoFrequencyConstants twoFrequencyConstants(uint32_t f1, uint32_t f2);

// The per-pixel inputs and outputs, n elements each (see calc2Freq_arm).
struct TwoFrequencyBuffers {
  const float* distanceA;
  const float* distanceB;
  const float* noiseA;
  const float* noiseB;
  float* distance;
  float* difference;
  float* noise;
};

}  // namespace kelvora
