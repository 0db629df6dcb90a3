#pragma once
// The unwrapping-error filter for every pixel but the first and last of each
// row, a vector of them at a time. No division or square root is
// involved, so every target gives the bits of the per-pixel definition.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "filters/Filter2Freq.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// floor(v / R) as truncation of v * (1/R), stepped down by one where the
// truncation went up; values beyond the int32 range are kept as they are
// (already integral, or not finite). kInRange: the caller knows every
// |v / R| is far inside the int32 range, so the range test cannot fail.
template <bool kInRange, class D, class VF = decltype(Zero(D()))>
inline VF Filter2FreqFloor(D d, VF v, VF invRange) {
  const VF q = Mul(v, invRange);
  const VF t = ConvertToFloat(TruncateToInt(q));
  const VF floored = Sub(t, IfThenElseZero(Gt(t, q), Set(d, 1.0f)));
  if constexpr (kInRange) {
    return floored;
  } else {
    return IfThenElse(Lt(Abs(q), Set(d, 2147483648.0f)), floored, q);
  }
}

// Whether v, wrapped into [-R/2, R/2), lies strictly within the threshold.
template <bool kInRange, class D, class VF = decltype(Zero(D()))>
inline auto Filter2FreqVotes(D d, VF v, VF range, VF invRange, VF half, VF threshold) {
  const VF w = Sub(Sub(v, Mul(Filter2FreqFloor<kInRange>(d, v, invRange), range)), half);
  return Lt(Abs(w), threshold);
}

// A bound on |distance| under which every value the filter floors, (d + R/2)
// - n and that moved by +-shift, or d moved by a correction, stays below 2^30
// ranges: there the floor needs no range test. 0 when no bound works.
inline float Filter2FreqInRangeBound(const Filter2FreqConstants& c) {
  const double limit = (1073741824.0 / static_cast<double>(c.invRange) -
                        static_cast<double>(c.half) - std::fabs(static_cast<double>(c.shift))) /
                       4.0;
  return limit > 0.0 && limit < 1e30 ? static_cast<float>(limit) : 0.0f;
}

// Whether every one of the n > 0 values lies strictly within +-bound (NaN
// does not).
template <class D>
bool AllWithin(D d, const float* v, std::size_t n, float bound) {
  const auto vBound = Set(d, bound);
  // The running mask lives in the body itself, so it stays in a register;
  // the whole groups run on this body and the rest on it directly.
  auto check = [=, within = Lt(Zero(d), vBound)](auto g, std::size_t i) mutable {
    within = And(within, Lt(Abs(g.Load(d, v + i)), vBound));
    return within;
  };
  const std::size_t whole = n / D::kLanes * D::kLanes;
  simd::ForEachGroup(d, 0, whole, check);
  const auto within =
      whole < n ? check(simd::PartialGroup<D>{n - whole}, whole) : check(simd::WholeGroup<D>{}, 0);
  return AllFalse(Not(within));
}

// Internal linkage lets the compiler inline each row's group body into its
// loop, so the constants stay in registers.
namespace {

// Columns 1 .. width - 2 of one row, with the floors' range test or
// (kInRange) without it. kAbove, kBelow: whether the row has neighbours above
// and below; a missing row casts no votes, as outside the image.
template <bool kInRange, bool kAbove, bool kBelow, class D>
void Filter2FreqRow(D d, const Filter2FreqConstants& c, std::size_t width, const float* row,
                    float* out) {
  using VF = decltype(Zero(D()));
  const VF range = Set(d, c.range);
  const VF invRange = Set(d, c.invRange);
  const VF half = Set(d, c.half);
  const VF threshold = Set(d, c.threshold);
  const VF shift = Set(d, c.shift);
  const VF one = Set(d, 1.0f);
  const std::ptrdiff_t w = static_cast<std::ptrdiff_t>(width);
  const std::ptrdiff_t offsets[8] = {-w - 1, -w, -w + 1, -1, 1, w - 1, w, w + 1};
  const auto exists = [](int k) { return (k >= 3 && k <= 4) || (k < 3 ? kAbove : kBelow); };
  constexpr int kNeighbours = 2 + (kAbove ? 3 : 0) + (kBelow ? 3 : 0);
  simd::ForEachGroup(d, 1, width - 1, [&](auto g, std::size_t x) {
    const float* centre = row + x;
    const VF dv = g.Load(d, centre);
    const VF dh = Add(dv, half);
    // First the no-change votes alone: in a smooth image most neighbours
    // cast one, and the two shifted tests are not needed. Each shifted
    // count is at most neighbours + 1 - keep: once every lane has keep at
    // least half of that, neither can beat it whatever the remaining
    // neighbours vote, so the pixels stay as they are.
    constexpr int kEnough = (kNeighbours + 2) / 2;
    const VF enough = Set(d, static_cast<float>(kEnough));
    decltype(Lt(dv, dv)) kept[8];
    VF keep = one;
    int cast = 0;
    for (int k = 0; k < 8; ++k) {
      if (!exists(k)) continue;
      kept[k] = Filter2FreqVotes<kInRange>(d, Sub(dh, g.Load(d, centre + offsets[k])), range,
                                           invRange, half, threshold);
      keep = Add(keep, IfThenElseZero(kept[k], one));
      ++cast;
      if (cast % 2 == 0 && cast + 1 >= kEnough && AllFalse(Lt(keep, enough))) {
        g.Store(d, dv, out + x);
        return;
      }
    }
    VF plus = Zero(d);
    VF minus = Zero(d);
    for (int k = 0; k < 8; ++k) {
      if (!exists(k)) continue;
      const VF e = Sub(dh, g.Load(d, centre + offsets[k]));
      const auto up = And(Not(kept[k]), Filter2FreqVotes<kInRange>(d, Add(e, shift), range,
                                                                   invRange, half, threshold));
      const auto down =
          And(Not(Or(kept[k], up)),
              Filter2FreqVotes<kInRange>(d, Sub(e, shift), range, invRange, half, threshold));
      plus = Add(plus, IfThenElseZero(up, one));
      minus = Add(minus, IfThenElseZero(down, one));
    }
    // No change wins every tie with a correction; +shift wins a tie with
    // -shift.
    const auto keepBelowPlus = Lt(keep, plus);
    const auto corrected = Or(keepBelowPlus, Gt(minus, keep));
    const VF minusShift = Neg(shift);
    const VF correction =
        IfThenElse(keepBelowPlus, IfThenElse(Lt(plus, minus), minusShift, shift), minusShift);
    const VF v = Add(dv, correction);
    VF wrapped = Sub(v, Mul(Filter2FreqFloor<kInRange>(d, v, invRange), range));
    // Rounding at the ends of the period can land on -0..-ulp or on R
    // itself; a corrected value lies in [0, R).
    wrapped = Add(wrapped, IfThenElseZero(Lt(wrapped, Zero(d)), range));
    wrapped = Sub(wrapped, IfThenElseZero(Ge(wrapped, range), range));
    g.Store(d, IfThenElse(corrected, wrapped, dv), out + x);
  });
}

// Columns 1 .. width - 2 of every row; the first and last rows have
// neighbours on one side only (a single row has none and is left alone).
template <bool kInRange, class D>
void Filter2FreqRows(D d, const Filter2FreqConstants& c, std::size_t width, std::size_t height,
                     const float* scratch, float* distance) {
  if (height < 2) return;
  Filter2FreqRow<kInRange, false, true>(d, c, width, scratch, distance);
  for (std::size_t y = 1; y + 1 < height; ++y) {
    Filter2FreqRow<kInRange, true, true>(d, c, width, scratch + y * width, distance + y * width);
  }
  const std::size_t last = (height - 1) * width;
  Filter2FreqRow<kInRange, true, false>(d, c, width, scratch + last, distance + last);
}

}  // namespace

// Columns 1 .. width - 2 of every row of a multi-row image: reads scratch
// (the unfiltered copy), writes distance. Distances of any sane scene pass
// the bound, and the floors then skip their range test; one pass over the
// copy decides.
template <class D>
void Filter2FreqInteriorKernel(D d, const Filter2FreqConstants& c, uint32_t width, uint32_t height,
                               const float* scratch, float* distance) {
  if (width < 3 || height < 2) return;
  const float bound = Filter2FreqInRangeBound(c);
  if (bound > 0.0f && AllWithin(d, scratch, std::size_t{width} * height, bound)) {
    Filter2FreqRows<true>(d, c, width, height, scratch, distance);
  } else {
    Filter2FreqRows<false>(d, c, width, height, scratch, distance);
  }
}

}  // namespace kelvora::KELVORA_TARGET
