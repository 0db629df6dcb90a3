#pragma once
// The unwrapping-error filter for the interior pixels (all eight neighbours
// exist), a vector of them at a time. No division or square root is
// involved, so every target gives the bits of the per-pixel definition.
#include <cstddef>
#include <cstdint>

#include "filters/Filter2Freq.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// floor(v / R) as truncation of v * (1/R), stepped down by one where the
// truncation went up; values beyond the int32 range are kept as they are
// (already integral, or not finite).
template <class D, class VF = decltype(Zero(D()))>
inline VF Filter2FreqFloor(D d, VF v, VF invRange) {
  const VF q = Mul(v, invRange);
  const VF t = ConvertToFloat(TruncateToInt(q));
  const VF floored = Sub(t, IfThenElseZero(Gt(t, q), Set(d, 1.0f)));
  return IfThenElse(Lt(Abs(q), Set(d, 2147483648.0f)), floored, q);
}

// Whether v, wrapped into [-R/2, R/2), lies strictly within the threshold.
template <class D, class VF = decltype(Zero(D()))>
inline auto Filter2FreqVotes(D d, VF v, VF range, VF invRange, VF half, VF threshold) {
  const VF w = Sub(Sub(v, Mul(Filter2FreqFloor(d, v, invRange), range)), half);
  return Lt(Abs(w), threshold);
}

// Rows 1 .. height - 2, columns 1 .. width - 2: reads scratch (the unfiltered
// copy), writes distance.
template <class D>
void Filter2FreqInteriorKernel(D d, const Filter2FreqConstants& c, uint32_t width, uint32_t height,
                               const float* scratch, float* distance) {
  if (width < 3 || height < 3) return;
  using VF = decltype(Zero(D()));
  const VF range = Set(d, c.range);
  const VF invRange = Set(d, c.invRange);
  const VF half = Set(d, c.half);
  const VF threshold = Set(d, c.threshold);
  const VF shift = Set(d, c.shift);
  const VF one = Set(d, 1.0f);
  const std::ptrdiff_t w = width;
  const std::ptrdiff_t offsets[8] = {-w - 1, -w, -w + 1, -1, 1, w - 1, w, w + 1};
  for (std::size_t y = 1; y + 1 < height; ++y) {
    const float* row = scratch + y * width;
    float* out = distance + y * width;
    simd::ForEachGroup(d, 1, width - 1, [&](auto g, std::size_t x) {
      const float* centre = row + x;
      const VF dv = g.Load(d, centre);
      const VF dh = Add(dv, half);
      // First the no-change votes alone: in a smooth image most neighbours
      // cast one, and the two shifted tests are not needed. Each shifted
      // count is at most 9 - keep: once every lane has keep >= 5, neither
      // can beat it whatever the remaining neighbours vote, so the pixels
      // stay as they are.
      const VF enough = Set(d, 5.0f);
      decltype(Lt(dv, dv)) kept[8];
      VF keep = one;
      for (int k = 0; k < 8; ++k) {
        kept[k] = Filter2FreqVotes(d, Sub(dh, g.Load(d, centre + offsets[k])), range, invRange,
                                   half, threshold);
        keep = Add(keep, IfThenElseZero(kept[k], one));
        if ((k & 1) == 1 && k >= 3 && AllFalse(Lt(keep, enough))) {
          g.Store(d, dv, out + x);
          return;
        }
      }
      VF plus = Zero(d);
      VF minus = Zero(d);
      for (int k = 0; k < 8; ++k) {
        const VF e = Sub(dh, g.Load(d, centre + offsets[k]));
        const auto up =
            And(Not(kept[k]), Filter2FreqVotes(d, Add(e, shift), range, invRange, half, threshold));
        const auto down = And(Not(Or(kept[k], up)),
                              Filter2FreqVotes(d, Sub(e, shift), range, invRange, half, threshold));
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
      VF wrapped = Sub(v, Mul(Filter2FreqFloor(d, v, invRange), range));
      // Rounding at the ends of the period can land on -0..-ulp or on R
      // itself; a corrected value lies in [0, R).
      wrapped = Add(wrapped, IfThenElseZero(Lt(wrapped, Zero(d)), range));
      wrapped = Sub(wrapped, IfThenElseZero(Ge(wrapped, range), range));
      g.Store(d, IfThenElse(corrected, wrapped, dv), out + x);
    });
  }
}

}  // namespace kelvora::KELVORA_TARGET
