#pragma once
// The adaptive noise filter for the interior pixels, a vector of them at a
// time.
#include <cstddef>
#include <cstdint>

#include "filters/AdaptiveNoiseFilter.hpp"
#include "filters/FastExp.hpp"
#include "simd/OpaquePointer.hpp"
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

// The flag words of a window's rows, OR-ed down the columns: lanes columns
// from `top` (a pointer into the window's first row) over 2R + 1 rows.
template <int R, class D>
inline auto WindowColumnFlags(D d, const uint32_t* top, std::ptrdiff_t width) {
  auto any = LoadU32(d, top);
  for (int dy = 1; dy <= 2 * R; ++dy) {
    top += width;
    any = Or(any, LoadU32(d, top));
  }
  return any;
}

// Which whole groups of a row have no flag word set in their window. The
// window of the group at x covers columns x - R .. x + lanes - 1 + R: two
// column blocks, from x - R and x + R. Where a group is 2R lanes wide, the
// second block of one group is the first block of the next, so each group
// reads one new block and takes the other from its left neighbour.
template <int R, class D>
class CleanWindowTest {
 public:
  CleanWindowTest(const uint32_t* flags, std::ptrdiff_t width) : flags_(flags), width_(width) {}

  bool operator()(D d, std::size_t centre) {
    const uint32_t* top = flags_ + centre - R * width_;
    const auto right = WindowColumnFlags<R>(d, top + R, width_);
    if constexpr (2 * R == D::kLanes) {
      const auto left = carriedFor_ == centre ? carried_ : WindowColumnFlags<R>(d, top - R, width_);
      carried_ = right;
      carriedFor_ = centre + D::kLanes;
      return AllZero(Or(left, right));
    } else {
      static_assert(2 * R <= D::kLanes, "two blocks must cover a window row");
      return AllZero(Or(WindowColumnFlags<R>(d, top - R, width_), right));
    }
  }

 private:
  const uint32_t* flags_;
  std::ptrdiff_t width_;
  decltype(SetU(D(), 0u)) carried_ = SetU(D(), 0u);
  std::size_t carriedFor_ = 0;  // no group starts at 0: the interior starts at R
};

// The per-image vectors every group uses.
template <class VF>
struct AdaptiveNoiseConstants {
  FastExpConstants<VF> exp;
  VF rangeScale;
  VF minWeightSum;
};

// One group's filtered distances. The weight of a neighbour is
// kernel(dx, dy) x E(-(n - d0)^2 / (12.5 sigma^2)), the negation carried by
// negInvVariance (exact: only the sign differs), summed in the window's fixed
// order. With kSkipFlagged a flagged neighbour's distance and weight
// become +0, so it adds +0 to both sums, which leaves them as they were
// (neither sum is ever -0); its distance may be anything, NaN included. A
// flagged centre keeps its distance.
template <bool kSkipFlagged, int R, class D, class G, class VF>
inline void AdaptiveNoiseGroup(D d, G g, const AdaptiveNoiseImage& im, std::size_t i,
                               const AdaptiveNoiseConstants<VF>& c) {
  const VF d0 = g.Load(d, im.scratch + i);
  const VF sigma = g.Load(d, im.noise + i);
  const VF negInvVariance = Neg(Reciprocal(Mul(c.rangeScale, Mul(sigma, sigma))));
  VF sum = Zero(d);
  VF weightSum = c.minWeightSum;
  const float* centre = im.scratch + i;
  const uint32_t* centreFlags = im.flags + i;
  const auto tap = [&](std::ptrdiff_t offset, float kernelWeight) {
    VF n = g.Load(d, centre + offset);
    const VF diff = Sub(n, d0);
    const VF z = Mul(Mul(diff, diff), negInvVariance);
    VF w = Mul(Set(d, kernelWeight), FastExpNonPositive(z, c.exp));
    if constexpr (kSkipFlagged) {
      const auto valid = Not(NeZero(g.Load32(d, centreFlags + offset)));
      n = IfThenElseZero(valid, n);
      w = IfThenElseZero(valid, w);
    }
    sum = MulAdd(n, w, sum);
    weightSum = Add(weightSum, w);
  };
  // The window unrolled, row by row. Where arithmetic reads operands from
  // memory, the kernel weights are constants. Where it does not (NEON), they
  // are read through a pointer the optimiser cannot see through, one load
  // per neighbour: as constants they would be hoisted into registers, six of
  // them, and the exponential's constants spilled around every neighbour.
  const float* weights = &kAdaptiveNoiseKernel[0][0];
  if constexpr (!D::kMemoryOperands) weights = OpaquePointer(weights);
  const std::ptrdiff_t width = static_cast<std::ptrdiff_t>(im.width);
#if defined(__clang__)
#pragma clang loop unroll(full)
#endif
  for (int dy = -R; dy <= R; ++dy) {
    for (int dx = -R; dx <= R; ++dx) {
      tap(dy * width + dx, weights[(dy + 2) * 5 + dx + 2]);
    }
  }
  VF filtered = Mul(sum, Reciprocal(weightSum));
  if constexpr (kSkipFlagged) {
    filtered = IfThenElse(Not(NeZero(g.Load32(d, im.flags + i))), filtered, d0);
  }
  g.Store(d, filtered, im.distance + i);
}

// Rows and columns radius .. size - radius - 1; reads scratch, noise and
// flags, writes distance.
template <int R, class D>
void AdaptiveNoiseInterior(D d, const AdaptiveNoiseImage& im) {
  if (im.height <= 2 * R || im.width <= 2 * R) return;
  using VF = decltype(Zero(d));
  const AdaptiveNoiseConstants<VF> c{MakeFastExpConstants(d), Set(d, kRangeVarianceScale),
                                     Set(d, kMinWeightSum)};
  for (std::size_t y = R; y + R < im.height; ++y) {
    CleanWindowTest<R, D> clean(im.flags, static_cast<std::ptrdiff_t>(im.width));
    simd::ForEachGroup(d, y * im.width + R, (y + 1) * im.width - R, [&](auto g, std::size_t i) {
      if constexpr (decltype(g)::kWhole) {
        // Nothing in the window flagged (the common case): no per-neighbour
        // selection.
        if (clean(d, i)) {
          AdaptiveNoiseGroup<false, R>(d, g, im, i, c);
          return;
        }
      }
      AdaptiveNoiseGroup<true, R>(d, g, im, i, c);
    });
  }
}

template <class D>
void AdaptiveNoiseKernel(D d, const AdaptiveNoiseImage& im, int radius) {
  if (radius == 1) AdaptiveNoiseInterior<1>(d, im);
  if (radius == 2) AdaptiveNoiseInterior<2>(d, im);
}

}  // namespace kelvora::KELVORA_TARGET
