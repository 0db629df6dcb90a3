#pragma once
// Two-frequency unwrapping. Each frequency alone measures distance modulo
// c/(2f); together they measure modulo c/(2g), g = gcd(f1, f2). The wrap
// counts that make the two wrapped distances agree come from the Chinese
// remainder theorem on the integer ratios a = f2/g and b = f1/g, and the two
// measurements are blended by inverse noise variance.
#include <cstdint>

#include "core/KernelMath.hpp"
#include "simd/Simd.hpp"

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

// count must be a multiple of the backend's lane count.
template <class D>
void Calc2FreqKernel(D d, const TwoFrequencyConstants& c, uint32_t count, const float* dA,
                     const float* dB, const float* noiseA, const float* noiseB, float* distanceOut,
                     float* differenceOut, float* noiseOut) {
  const auto floorV = Set(d, kVarianceFloor);
  const auto one = Set(d, 1.0f);
  const auto invRL = Set(d, c.invRL);
  const auto RL = Set(d, c.RL);
  const auto N = Set(d, c.N);
  const auto invN = Set(d, c.invN);
  const auto K = Set(d, c.K);
  const auto plusHalf = Set(d, 0.5f);
  const auto minusHalf = Set(d, -0.5f);
  for (uint32_t i = 0; i < count; i += static_cast<uint32_t>(D::kLanes)) {
    const auto a = LoadU(d, dA + i);
    const auto b = LoadU(d, dB + i);
    const auto sa = LoadU(d, noiseA + i);
    const auto sb = LoadU(d, noiseB + i);
    const auto wA = Reciprocal(Add(Mul(sa, sa), floorV));
    const auto wB = Reciprocal(Add(Mul(sb, sb), floorV));
    const auto V = Reciprocal(Add(wA, wB));
    const auto alpha = Mul(wA, V);

    const auto x = Mul(Sub(a, b), invRL);
    // Nearest integer, halves away from zero.
    const auto m =
        ConvertToFloat(TruncateToInt(Add(x, IfThenElse(SignBitSet(x), minusHalf, plusHalf))));
    const auto r = Sub(x, m);
    const auto shareA = Mul(Sub(alpha, one), r);
    const auto yA = Add(Mul(a, invRL), shareA);
    const auto z = Sub(yA, Mul(m, K));
    const auto w = Sub(z, Mul(simd::FloorViaTruncate(d, Mul(z, invN)), N));
    StoreU(Mul(w, RL), d, distanceOut + i);
    // With both noises 0, V is below the normal range: NEON flushes it to 0.
    StoreU(SqrtKeepZero(d, V), d, noiseOut + i);
    const auto shareB = Mul(alpha, r);
    StoreU(Mul(RL, SqrtKeepZero(d, Add(Mul(shareA, shareA), Mul(shareB, shareB)))), d,
           differenceOut + i);
  }
}

// Whole groups through the kernel, a last partial group through staging
// buffers, so nothing outside the n elements is read or written.
template <class D>
void Calc2FreqRun(D d, const TwoFrequencyConstants& c, uint32_t n, const float* dA, const float* dB,
                  const float* noiseA, const float* noiseB, float* distanceOut,
                  float* differenceOut, float* noiseOut) {
  static_assert(D::kLanes == 4, "the staged tail is one group of four");
  const uint32_t whole = n & ~3u;
  Calc2FreqKernel(d, c, whole, dA, dB, noiseA, noiseB, distanceOut, differenceOut, noiseOut);
  if (whole == n) return;
  float in[4][4] = {};
  float out[3][4] = {};
  for (uint32_t i = whole; i < n; ++i) {
    in[0][i - whole] = dA[i];
    in[1][i - whole] = dB[i];
    in[2][i - whole] = noiseA[i];
    in[3][i - whole] = noiseB[i];
  }
  Calc2FreqKernel(d, c, 4, in[0], in[1], in[2], in[3], out[0], out[1], out[2]);
  for (uint32_t i = whole; i < n; ++i) {
    distanceOut[i] = out[0][i - whole];
    differenceOut[i] = out[1][i - whole];
    noiseOut[i] = out[2][i - whole];
  }
}

#if defined(KELVORA_WIDE_X86)
// The whole groups of eight (sixteen) of n pixels on the AVX2 (AVX-512)
// backend, in core/WideStages.inl; return how many
// pixels they did.
uint32_t calc2FreqWideGroupsAvx2(const TwoFrequencyConstants& c, uint32_t n, const float* dA,
                                 const float* dB, const float* noiseA, const float* noiseB,
                                 float* distanceOut, float* differenceOut, float* noiseOut);
uint32_t calc2FreqWideGroupsAvx512(const TwoFrequencyConstants& c, uint32_t n, const float* dA,
                                   const float* dB, const float* noiseA, const float* noiseB,
                                   float* distanceOut, float* differenceOut, float* noiseOut);
#endif

}  // namespace kelvora
