#pragma once
// The adaptive noise filter for the interior pixels, a vector of them at a
// time.
#include <cstddef>
#include <cstdint>

#include "filters/AdaptiveNoiseFilter.hpp"
#include "filters/FastExp.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

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

// True when no flag word is set in the window of a whole group starting at
// `centre`: per window row, columns x - R .. x + lanes - 1 + R in two loads.
template <int R, class D>
inline bool NoneFlagged(D d, const uint32_t* flags, std::ptrdiff_t width, std::size_t centre) {
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
template <bool kSkipFlagged, int R, class D, class G, class VF>
inline void AccumulateWindow(D d, G g, const AdaptiveNoiseImage& im, std::size_t centre, VF d0,
                             VF negInvVariance, VF& sum, VF& weightSum) {
  const std::ptrdiff_t width = static_cast<std::ptrdiff_t>(im.width);
  for (int dy = -R; dy <= R; ++dy) {
    for (int dx = -R; dx <= R; ++dx) {
      const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(centre) + dy * width + dx;
      const VF n = g.Load(d, im.scratch + at);
      const VF diff = Sub(n, d0);
      const VF z = Mul(Mul(diff, diff), negInvVariance);
      const VF w = Mul(Set(d, kAdaptiveNoiseKernel[dy + 2][dx + 2]), FastExpNonPositive(d, z));
      if constexpr (kSkipFlagged) {
        const auto valid = Not(NeZero(g.Load32(d, im.flags + at)));
        sum = IfThenElse(valid, MulAdd(n, w, sum), sum);
        weightSum = IfThenElse(valid, Add(weightSum, w), weightSum);
      } else {
        sum = MulAdd(n, w, sum);
        weightSum = Add(weightSum, w);
      }
    }
  }
}

// Rows and columns radius .. size - radius - 1; reads scratch, noise and
// flags, writes distance.
template <int R, class D>
void AdaptiveNoiseInterior(D d, const AdaptiveNoiseImage& im) {
  if (im.height <= 2 * R || im.width <= 2 * R) return;
  const auto rangeScale = Set(d, kRangeVarianceScale);
  const auto minWeightSum = Set(d, kMinWeightSum);
  for (std::size_t y = R; y + R < im.height; ++y) {
    simd::ForEachGroup(d, y * im.width + R, (y + 1) * im.width - R, [=](auto g, std::size_t i) {
      const auto d0 = g.Load(d, im.scratch + i);
      const auto sigma = g.Load(d, im.noise + i);
      const auto negInvVariance = Neg(Reciprocal(Mul(rangeScale, Mul(sigma, sigma))));
      auto sum = Zero(d);
      auto weightSum = minWeightSum;
      if constexpr (decltype(g)::kWhole) {
        // Nothing in the window flagged (the common case): the same sums
        // without the per-neighbour selection.
        if (NoneFlagged<R>(d, im.flags, static_cast<std::ptrdiff_t>(im.width), i)) {
          AccumulateWindow<false, R>(d, g, im, i, d0, negInvVariance, sum, weightSum);
          g.Store(d, Mul(sum, Reciprocal(weightSum)), im.distance + i);
          return;
        }
      }
      AccumulateWindow<true, R>(d, g, im, i, d0, negInvVariance, sum, weightSum);
      const auto centreValid = Not(NeZero(g.Load32(d, im.flags + i)));
      g.Store(d, IfThenElse(centreValid, Mul(sum, Reciprocal(weightSum)), d0), im.distance + i);
    });
  }
}

template <class D>
void AdaptiveNoiseKernel(D d, const AdaptiveNoiseImage& im, int radius) {
  if (radius == 1) AdaptiveNoiseInterior<1>(d, im);
  if (radius == 2) AdaptiveNoiseInterior<2>(d, im);
}

}  // namespace kelvora::KELVORA_TARGET
