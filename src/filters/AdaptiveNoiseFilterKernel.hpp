#pragma once
// The adaptive noise filter written once against the 4-lane layer; the
// library instantiates it with the native backend, tests with every backend.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "filters/FastExp.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

// exp(-(dx^2 + dy^2) / 8) for dx, dy in -2..2, indexed [dy + 2][dx + 2]. Kept
// as stored values: the filter's output is fixed to these exact floats.
constexpr float kAdaptiveNoiseKernel[5][5] = {
    {0.36787945f, 0.53526145f, 0.60653067f, 0.53526145f, 0.36787945f},
    {0.53526145f, 0.77880079f, 0.88249689f, 0.77880079f, 0.53526145f},
    {0.60653067f, 0.88249689f, 1.0f, 0.88249689f, 0.60653067f},
    {0.53526145f, 0.77880079f, 0.88249689f, 0.77880079f, 0.53526145f},
    {0.36787945f, 0.53526145f, 0.60653067f, 0.53526145f, 0.36787945f},
};

// The range term's variance is (2.5 sigma)^2.
constexpr float kRangeVarianceScale = 12.5f;
// Smallest normal float: the weight sum never becomes zero, even when every
// weight underflows.
constexpr float kMinWeightSum = 1.1754944e-38f;

namespace adaptive_noise_detail {

// Where to load the four lanes starting at element `index` from: the buffer
// itself, or with kBounded a zero-filled copy of only the lanes below `count`.
template <bool kBounded, class T>
inline const T* lanesAt(const T* base, std::ptrdiff_t index, std::ptrdiff_t count, T* copy) {
  if (!kBounded) return base + index;
  for (std::ptrdiff_t k = 0; k < 4; ++k) copy[k] = index + k < count ? base[index + k] : T{0};
  return copy;
}

template <bool kBounded, class D>
inline auto loadFloats(D d, const float* base, std::ptrdiff_t index, std::ptrdiff_t count) {
  float copy[4];
  return LoadU(d, lanesAt<kBounded>(base, index, count, copy));
}

// All-ones in the lanes whose flag word is 0.
template <bool kBounded, class D>
inline auto loadUnflagged(D d, const uint32_t* base, std::ptrdiff_t index, std::ptrdiff_t count) {
  uint32_t copy[4];
  return Not(NeZero(LoadU32(d, lanesAt<kBounded>(base, index, count, copy))));
}

// True when no flag word is set in the window of the four pixels starting at
// `centre`: per window row, columns x - radius .. x + 3 + radius in two loads.
template <class D>
inline bool noneFlagged(D d, const uint32_t* flags, std::ptrdiff_t width, int radius,
                        std::ptrdiff_t centre) {
  auto any = SetU(d, 0u);
  for (int dy = -radius; dy <= radius; ++dy) {
    const uint32_t* row = flags + centre + dy * width;
    any = Or(any, Or(LoadU32(d, row - radius), LoadU32(d, row + radius)));
  }
  return AllFalse(NeZero(any));
}

// One group of four pixels of row y starting at column x; `inRange` marks the
// lanes that are interior pixels. Returns the new distances (old values in
// lanes that are not filtered).
template <bool kBounded, class D, class VF = decltype(Zero(D())),
          class M = decltype(Lt(Zero(D()), Zero(D())))>
inline VF filterGroup(D d, std::ptrdiff_t width, std::ptrdiff_t count, int radius, std::ptrdiff_t y,
                      std::ptrdiff_t x, M inRange, const float* scratch, const float* noise,
                      const uint32_t* flags) {
  const std::ptrdiff_t centre = y * width + x;
  const VF d0 = loadFloats<kBounded>(d, scratch, centre, count);
  const VF sigma = loadFloats<kBounded>(d, noise, centre, count);
  const M centreValid = loadUnflagged<kBounded>(d, flags, centre, count);
  const VF invVariance = Reciprocal(Mul(Set(d, kRangeVarianceScale), Mul(sigma, sigma)));

  VF sum = Zero(d);
  VF weightSum = Set(d, kMinWeightSum);
  if (!kBounded && noneFlagged(d, flags, width, radius, centre)) {
    // Nothing in the window is flagged (the common case): the same sums
    // without the per-neighbour selection.
    for (int dy = -radius; dy <= radius; ++dy) {
      for (int dx = -radius; dx <= radius; ++dx) {
        const VF n = LoadU(d, scratch + centre + dy * width + dx);
        const VF diff = Sub(n, d0);
        const VF z = Neg(Mul(Mul(diff, diff), invVariance));
        const VF w = Mul(Set(d, kAdaptiveNoiseKernel[dy + 2][dx + 2]), FastExpNonPositive(d, z));
        sum = MulAdd(n, w, sum);
        weightSum = Add(weightSum, w);
      }
    }
    return IfThenElse(inRange, Mul(sum, Reciprocal(weightSum)), d0);
  }
  for (int dy = -radius; dy <= radius; ++dy) {
    for (int dx = -radius; dx <= radius; ++dx) {
      const std::ptrdiff_t at = centre + dy * width + dx;
      const VF n = loadFloats<kBounded>(d, scratch, at, count);
      const M valid = loadUnflagged<kBounded>(d, flags, at, count);
      const VF diff = Sub(n, d0);
      const VF z = Neg(Mul(Mul(diff, diff), invVariance));
      const VF w = Mul(Set(d, kAdaptiveNoiseKernel[dy + 2][dx + 2]), FastExpNonPositive(d, z));
      // A flagged neighbour is skipped, not weighted by zero: its distance may
      // be anything, NaN included.
      sum = IfThenElse(valid, MulAdd(n, w, sum), sum);
      weightSum = IfThenElse(valid, Add(weightSum, w), weightSum);
    }
  }
  const VF filtered = Mul(sum, Reciprocal(weightSum));
  return IfThenElse(And(inRange, centreValid), filtered, d0);
}

}  // namespace adaptive_noise_detail

template <class D>
void filterAdaptiveNoise(D d, int width, int height, uint8_t radius, float* scratch,
                         const float* noise, const uint32_t* flags, float* distance) {
  using namespace adaptive_noise_detail;
  if (width <= 0 || height <= 0) return;
  const std::ptrdiff_t w = width;
  const std::ptrdiff_t count = w * height;
  std::copy(distance, distance + count, scratch);
  const int r = radius;
  // The kernel table covers radius 2; larger radii are refused upstream and
  // leave the image unchanged here rather than read past the table.
  if (r > 2 || height - r <= r || width - r <= r) return;

  const std::ptrdiff_t endX = w - r;  // one past the last interior column
  const std::ptrdiff_t lanes = static_cast<std::ptrdiff_t>(simd::kLanes);
  // Every row's groups start at the same columns, so one lane mask serves the
  // last group of every row. Kept per call: engines may run on several threads.
  const std::ptrdiff_t tailLanes = (endX - r) % lanes;
  uint32_t tailMaskBits[4];
  for (std::ptrdiff_t i = 0; i < lanes; ++i) tailMaskBits[i] = i < tailLanes ? ~0u : 0u;
  const auto all = Not(NeZero(SetU(d, 0u)));
  const auto tailMask = NeZero(LoadU32(d, tailMaskBits));

  for (std::ptrdiff_t y = r; y < height - r; ++y) {
    std::ptrdiff_t x = r;
    for (; x + lanes <= endX; x += lanes) {
      StoreU(filterGroup<false>(d, w, count, r, y, x, all, scratch, noise, flags), d,
             distance + y * w + x);
    }
    if (x == endX) continue;
    // The masked lanes cover this row's right border and at most the first
    // two pixels of the next row (which exists, as y is an interior row); they
    // are written back with the values they hold, as nothing there has been
    // filtered yet. Only near the image's end can the kernel's reads reach past
    // the last pixel; there the loads are bounded.
    const bool nearEnd = (y + r) * w + x + (lanes - 1) + r >= count;
    StoreU(nearEnd ? filterGroup<true>(d, w, count, r, y, x, tailMask, scratch, noise, flags)
                   : filterGroup<false>(d, w, count, r, y, x, tailMask, scratch, noise, flags),
           d, distance + y * w + x);
  }
}

}  // namespace kelvora
