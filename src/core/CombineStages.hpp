#pragma once
// The stages the combine driver runs itself: wrapping a single frequency's
// distance into its range, the noise test, the flying-pixel test and image
// validation. The branch-free ones are vector kernels over the backend tag.
#include <cstdint>

#include "core/KelvoraOutput.hpp"
#include "core/KelvoraParameter.hpp"
#include "core/PixelFlags.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

// out[i] = in[i] - floor(in[i] / range) * range, i.e. into [0, range).
// Only n values are written: out may be a caller's array of exactly n.
template <class D>
void WrapDistanceKernel(D d, uint32_t n, const float* in, float range, float* out) {
  const float reciprocal = 1.0f / range;
  const auto vr = Set(d, range), vrec = Set(d, reciprocal);
  uint32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const auto x = LoadU(d, in + i);
    const auto k = simd::FloorViaTruncate(d, Mul(x, vrec));
    // k * range is exact for the small integers k takes here, so rounding
    // the product separately gives the fused result.
    StoreU(NegMulAdd(k, vr, x), d, out + i);
  }
  for (; i < n; ++i) {
    const float q = in[i] * reciprocal;
    float k = static_cast<float>(static_cast<int32_t>(q));
    if (k > q) k -= 1.0f;
    out[i] = in[i] - k * range;
  }
}

// ORs kLowSignal into every pixel whose noise exceeds the threshold.
template <class D>
void FlagNoiseKernel(D d, uint32_t n, const float* noise, float threshold, uint32_t* flagsOut) {
  const auto vt = Set(d, threshold);
  const auto flag = SetU(d, flags::kLowSignal);
  uint32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const auto m = Gt(LoadU(d, noise + i), vt);
    StoreU32(Or(LoadU32(d, flagsOut + i), IfThenElseZero(m, flag)), d, flagsOut + i);
  }
  for (; i < n; ++i) {
    if (noise[i] > threshold) flagsOut[i] |= flags::kLowSignal;
  }
}

void wrapSingleFrequencyDistance(uint32_t n, const float* in, float range, float* out);
void flagNoise(uint32_t n, const float* noise, float threshold, uint32_t* flagsOut);

// Flags pixels that stand out from both horizontal or both vertical
// neighbours by more than a distance-dependent limit. Borders are not tested.
void flagFlyingPixels(const KelvoraParameter& parameters, const float* distance,
                      uint32_t* flagsOut);

// Clears every flagged pixel's results and collapses its flags to kInvalid.
void validateImage(const KelvoraParameter& parameters, KelvoraOutput& output);

}  // namespace kelvora
