#pragma once
// The stages the combine driver runs itself: wrapping a single frequency's
// distance into its range, the noise test, the flying-pixel test and image
// validation. The branch-free ones are vector kernels over the backend tag.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/PixelFlags.hpp"
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

// The flying-pixel limit for distance d (metres): flyingPixelF0 up to the near
// distance, flyingPixelF1 from the far one, linear in between.
inline float flyingPixelLimit(const KelvoraParameter& p, float d) {
  if (!(d > p.flyingPixelNearDist)) return p.flyingPixelF0;
  if (d < p.flyingPixelFarDist) {
    return p.flyingPixelF0 + (d - p.flyingPixelNearDist) * (p.flyingPixelF1 - p.flyingPixelF0) /
                                 (p.flyingPixelFarDist - p.flyingPixelNearDist);
  }
  return p.flyingPixelF1;
}

// Whether the pixel at column x of a row (with the rows above and below)
// stands out from both horizontal or both vertical neighbours.
inline bool isFlyingPixel(const KelvoraParameter& p, const float* above, const float* row,
                          const float* below, uint32_t x) {
  const float d = std::fabs(row[x]);
  const float limit = flyingPixelLimit(p, d);
  const bool horizontal = std::fabs(row[x - 1] - d) > limit && std::fabs(row[x + 1] - d) > limit;
  const bool vertical = std::fabs(above[x] - d) > limit && std::fabs(below[x] - d) > limit;
  return horizontal || vertical;
}

// The flying-pixel limits and the flag, as vectors of backend D.
template <class D>
struct FlyingPixelVectors {
  explicit FlyingPixelVectors(D d, const KelvoraParameter& p)
      : near(Set(d, p.flyingPixelNearDist)),
        far(Set(d, p.flyingPixelFarDist)),
        f0(Set(d, p.flyingPixelF0)),
        f1(Set(d, p.flyingPixelF1)),
        slope(Set(d, p.flyingPixelF1 - p.flyingPixelF0)),
        span(Set(d, p.flyingPixelFarDist - p.flyingPixelNearDist)),
        flag(SetU(d, flags::kFlyingPixel)) {}
  decltype(Zero(D())) near, far, f0, f1, slope, span;
  decltype(SetU(D(), 0u)) flag;
};

// One row of the flying-pixel test from column x in whole groups of the
// backend's width while every lane is an interior pixel; returns the first
// column left. The same operations as isFlyingPixel, the division correctly
// rounded on every backend.
template <class D>
uint32_t FlyingPixelRowGroups(D d, const FlyingPixelVectors<D>& v, const float* above,
                              const float* row, const float* below, uint32_t width,
                              uint32_t* rowFlags, uint32_t x) {
  constexpr uint32_t kStep = static_cast<uint32_t>(D::kLanes);
  for (; x + kStep < width; x += kStep) {
    const auto dist = Abs(LoadU(d, row + x));
    const auto ramp = Add(v.f0, DivExact(Mul(Sub(dist, v.near), v.slope), v.span));
    const auto limit = IfThenElse(Gt(dist, v.near), IfThenElse(Lt(dist, v.far), ramp, v.f1), v.f0);
    const auto horizontal = And(Gt(Abs(Sub(LoadU(d, row + x - 1), dist)), limit),
                                Gt(Abs(Sub(LoadU(d, row + x + 1), dist)), limit));
    const auto vertical = And(Gt(Abs(Sub(LoadU(d, above + x), dist)), limit),
                              Gt(Abs(Sub(LoadU(d, below + x), dist)), limit));
    StoreU32(Or(LoadU32(d, rowFlags + x), IfThenElseZero(Or(horizontal, vertical), v.flag)), d,
             rowFlags + x);
  }
  return x;
}

#if defined(KELVORA_WIDE_X86)
// One row's whole groups of the flying-pixel test on the AVX2 (AVX-512)
// backend, in core/WideStages.inl.
uint32_t flyingPixelRowGroupsAvx2(const KelvoraParameter& p, const float* above, const float* row,
                                  const float* below, uint32_t* rowFlags, uint32_t x);
uint32_t flyingPixelRowGroupsAvx512(const KelvoraParameter& p, const float* above, const float* row,
                                    const float* below, uint32_t* rowFlags, uint32_t x);
#endif

// The flying-pixel test over the interior: groups of interior pixels (first
// on the wide x86 backends up to `wideLanes`), the rest of each row one by one.
template <class D>
void FlagFlyingPixelsKernel(D d, const KelvoraParameter& p, const float* distance,
                            uint32_t* flagsOut, unsigned wideLanes = 4) {
  static_cast<void>(wideLanes);
  const uint32_t w = p.width, h = p.height;
  if (h < 3 || w < 3) return;
  const FlyingPixelVectors<D> v(d, p);
  for (uint32_t y = 1; y + 1 < h; ++y) {
    const std::size_t rowStart = static_cast<std::size_t>(y) * w;
    const float* row = distance + rowStart;
    const float* above = row - w;
    const float* below = row + w;
    uint32_t* rowFlags = flagsOut + rowStart;
    uint32_t x = 1;
#if defined(KELVORA_WIDE_X86)
    if (wideLanes >= 16) x = flyingPixelRowGroupsAvx512(p, above, row, below, rowFlags, x);
    if (wideLanes >= 8) x = flyingPixelRowGroupsAvx2(p, above, row, below, rowFlags, x);
#endif
    x = FlyingPixelRowGroups(d, v, above, row, below, w, rowFlags, x);
    for (; x + 1 < w; ++x) {
      if (isFlyingPixel(p, above, row, below, x)) rowFlags[x] |= flags::kFlyingPixel;
    }
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
