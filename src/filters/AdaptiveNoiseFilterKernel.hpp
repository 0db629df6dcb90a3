#pragma once
// The adaptive noise filter written once against the vector layer; the
// library instantiates it with the native backend (and, on x86-64, the
// eight-lane one for whole groups), tests with every backend.
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

// One image's buffers; width is also the row stride.
struct AdaptiveNoiseImage {
  std::ptrdiff_t width;
  std::ptrdiff_t count;  // width x height
  const float* scratch;  // unfiltered distances
  const float* noise;
  const uint32_t* flags;
  float* distance;
};

namespace adaptive_noise_detail {

// Where to load the lanes starting at element `index` from: the buffer itself,
// or with kBounded a zero-filled copy of only the lanes below `count`.
// Templated on the backend, not only its width: each backend's build gets its
// own copy (see cmake/CheckWideObjects.cmake).
template <bool kBounded, class D, class T>
inline const T* lanesAt(const T* base, std::ptrdiff_t index, std::ptrdiff_t count, T* copy) {
  if (!kBounded) return base + index;
  for (std::ptrdiff_t k = 0; k < static_cast<std::ptrdiff_t>(D::kLanes); ++k) {
    copy[k] = index + k < count ? base[index + k] : T{0};
  }
  return copy;
}

template <bool kBounded, class D>
inline auto loadFloats(D d, const float* base, std::ptrdiff_t index, std::ptrdiff_t count) {
  float copy[D::kLanes];
  return LoadU(d, lanesAt<kBounded, D>(base, index, count, copy));
}

// All-ones in the lanes whose flag word is 0.
template <bool kBounded, class D>
inline auto loadUnflagged(D d, const uint32_t* base, std::ptrdiff_t index, std::ptrdiff_t count) {
  uint32_t copy[D::kLanes];
  return Not(NeZero(LoadU32(d, lanesAt<kBounded, D>(base, index, count, copy))));
}

// True when no flag word is set in the window of the group starting at
// `centre`: per window row, columns x - R .. x + lanes - 1 + R in two loads.
template <int R, class D>
inline bool noneFlagged(D d, const uint32_t* flags, std::ptrdiff_t width, std::ptrdiff_t centre) {
  static_assert(2 * R <= static_cast<int>(D::kLanes), "two loads must cover a window row");
  auto any = SetU(d, 0u);
  for (int dy = -R; dy <= R; ++dy) {
    const uint32_t* row = flags + centre + dy * width;
    any = Or(any, Or(LoadU32(d, row - R), LoadU32(d, row + R)));
  }
  return AllFalse(NeZero(any));
}

// The window's sums in the fixed order (row by row, left to right). The
// weight is kernel(dx, dy) x E(-(n - d0)^2 / (12.5 sigma^2)), the negation
// carried by negInvVariance (exact: only the sign differs). With kSkipFlagged
// a flagged neighbour is skipped, not weighted by zero: its distance may be
// anything, NaN included.
template <bool kBounded, bool kSkipFlagged, int R, class D, class VF>
inline void accumulate(D d, const AdaptiveNoiseImage& im, std::ptrdiff_t centre, VF d0,
                       VF negInvVariance, VF& sum, VF& weightSum) {
  for (int dy = -R; dy <= R; ++dy) {
    for (int dx = -R; dx <= R; ++dx) {
      const std::ptrdiff_t at = centre + dy * im.width + dx;
      const VF n = loadFloats<kBounded>(d, im.scratch, at, im.count);
      const VF diff = Sub(n, d0);
      const VF z = Mul(Mul(diff, diff), negInvVariance);
      const VF w = Mul(Set(d, kAdaptiveNoiseKernel[dy + 2][dx + 2]), FastExpNonPositive(d, z));
      if constexpr (kSkipFlagged) {
        const auto valid = loadUnflagged<kBounded>(d, im.flags, at, im.count);
        sum = IfThenElse(valid, MulAdd(n, w, sum), sum);
        weightSum = IfThenElse(valid, Add(weightSum, w), weightSum);
      } else {
        sum = MulAdd(n, w, sum);
        weightSum = Add(weightSum, w);
      }
    }
  }
}

// One group of pixels of row y starting at column x; `inRange` marks the lanes
// that are interior pixels. Returns the new distances (old values in lanes
// that are not filtered).
template <bool kBounded, int R, class D, class VF = decltype(Zero(D())),
          class M = decltype(Lt(Zero(D()), Zero(D())))>
inline VF filterGroup(D d, const AdaptiveNoiseImage& im, std::ptrdiff_t y, std::ptrdiff_t x,
                      M inRange) {
  const std::ptrdiff_t centre = y * im.width + x;
  const VF d0 = loadFloats<kBounded>(d, im.scratch, centre, im.count);
  const VF sigma = loadFloats<kBounded>(d, im.noise, centre, im.count);
  const M centreValid = loadUnflagged<kBounded>(d, im.flags, centre, im.count);
  const VF negInvVariance = Neg(Reciprocal(Mul(Set(d, kRangeVarianceScale), Mul(sigma, sigma))));

  VF sum = Zero(d);
  VF weightSum = Set(d, kMinWeightSum);
  if (!kBounded && noneFlagged<R>(d, im.flags, im.width, centre)) {
    // Nothing in the window is flagged (the common case): the same sums
    // without the per-neighbour selection.
    accumulate<kBounded, false, R>(d, im, centre, d0, negInvVariance, sum, weightSum);
    return IfThenElse(inRange, Mul(sum, Reciprocal(weightSum)), d0);
  }
  accumulate<kBounded, true, R>(d, im, centre, d0, negInvVariance, sum, weightSum);
  const VF filtered = Mul(sum, Reciprocal(weightSum));
  return IfThenElse(And(inRange, centreValid), filtered, d0);
}

// Whole groups along interior row y from column x while they end inside the
// interior; returns the first column left.
template <int R, class D>
std::ptrdiff_t filterRowGroups(D d, const AdaptiveNoiseImage& im, std::ptrdiff_t y,
                               std::ptrdiff_t x) {
  constexpr std::ptrdiff_t kStep = static_cast<std::ptrdiff_t>(D::kLanes);
  const std::ptrdiff_t endX = im.width - R;  // one past the last interior column
  const auto all = Not(NeZero(SetU(d, 0u)));
  for (; x + kStep <= endX; x += kStep) {
    StoreU(filterGroup<false, R>(d, im, y, x, all), d, im.distance + y * im.width + x);
  }
  return x;
}

// The rest of row y from column x (fewer than four interior pixels) as one
// group with its outside lanes masked. Those lanes cover this row's right
// border and at most the first two pixels of the next row (which exists, as y
// is an interior row); they are written back with the values they hold, as
// nothing there has been filtered yet. Only near the image's end can the
// kernel's reads reach past the last pixel; there the loads are bounded.
template <int R, class D>
void filterRowTail(D d, const AdaptiveNoiseImage& im, std::ptrdiff_t y, std::ptrdiff_t x) {
  static_assert(D::kLanes == 4, "the masked tail is one group of four");
  const std::ptrdiff_t endX = im.width - R;
  if (x >= endX) return;
  uint32_t tailMaskBits[4];
  for (std::ptrdiff_t i = 0; i < 4; ++i) tailMaskBits[i] = x + i < endX ? ~0u : 0u;
  const auto tailMask = NeZero(LoadU32(d, tailMaskBits));
  const bool nearEnd = (y + R) * im.width + x + 3 + R >= im.count;
  StoreU(nearEnd ? filterGroup<true, R>(d, im, y, x, tailMask)
                 : filterGroup<false, R>(d, im, y, x, tailMask),
         d, im.distance + y * im.width + x);
}

}  // namespace adaptive_noise_detail

// Copies distance into scratch and tells whether any pixel is to be filtered.
// The kernel table covers radius 2; larger radii are refused upstream and
// leave the image unchanged here rather than read past the table.
inline bool adaptiveNoisePrepare(int width, int height, uint8_t radius, float* scratch,
                                 const float* distance) {
  if (width <= 0 || height <= 0) return false;
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  std::memcpy(scratch, distance, count * sizeof(float));
  const int r = radius;
  return r >= 1 && r <= 2 && height - r > r && width - r > r;
}

// Filters interior row y on a four-lane backend from column x on.
template <class D>
void filterAdaptiveNoiseRow(D d, const AdaptiveNoiseImage& im, int radius, std::ptrdiff_t y,
                            std::ptrdiff_t x) {
  using namespace adaptive_noise_detail;
  if (radius == 1) {
    filterRowTail<1>(d, im, y, filterRowGroups<1>(d, im, y, x));
  } else {
    filterRowTail<2>(d, im, y, filterRowGroups<2>(d, im, y, x));
  }
}

template <class D>
void filterAdaptiveNoise(D d, int width, int height, uint8_t radius, float* scratch,
                         const float* noise, const uint32_t* flags, float* distance) {
  if (!adaptiveNoisePrepare(width, height, radius, scratch, distance)) return;
  const AdaptiveNoiseImage im{
      width, static_cast<std::ptrdiff_t>(width) * height, scratch, noise, flags, distance};
  for (std::ptrdiff_t y = radius; y < height - radius; ++y) {
    filterAdaptiveNoiseRow(d, im, radius, y, radius);
  }
}

#if defined(KELVORA_WIDE_X86)
// The whole groups of eight (sixteen) of interior row y from column x on the
// AVX2 (AVX-512) backend, in core/WideStages.inl;
// return the first column left.
std::ptrdiff_t adaptiveNoiseRowGroupsAvx2(const AdaptiveNoiseImage& im, int radius,
                                          std::ptrdiff_t y, std::ptrdiff_t x);
std::ptrdiff_t adaptiveNoiseRowGroupsAvx512(const AdaptiveNoiseImage& im, int radius,
                                            std::ptrdiff_t y, std::ptrdiff_t x);
#endif

}  // namespace kelvora
