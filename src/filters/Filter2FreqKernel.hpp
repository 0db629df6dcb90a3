#pragma once
// The unwrapping-error filter per pixel and a vector of interior pixels at a
// time.
// Both forms do the same float operations in the same order, so a pixel's
// result never depends on the path it took (no division or square root is
// involved, so every backend gives the same bits).
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "filters/Filter2Freq.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

// floor(v / R) as truncation of v * (1/R), stepped down by one where the
// truncation went up. Values beyond the int32 range are already integral (or
// not finite) and are kept as they are.
inline float filter2FreqFloor(float v, float invRange) {
  const float q = v * invRange;
  if (!(std::fabs(q) < 2147483648.0f)) return q;
  const float t = static_cast<float>(static_cast<int32_t>(q));
  return t > q ? t - 1.0f : t;
}

inline float filter2FreqWrapCentred(float v, const Filter2FreqConstants& c) {
  return v - filter2FreqFloor(v, c.invRange) * c.range - c.half;
}

// d moved by a correction and wrapped into [0, R).
inline float filter2FreqCorrected(float d, float correction, const Filter2FreqConstants& c) {
  const float v = d + correction;
  float wrapped = v - filter2FreqFloor(v, c.invRange) * c.range;
  // Rounding at the ends of the period can land on -0..-ulp or on R itself;
  // the result is defined to lie in [0, R).
  if (wrapped < 0.0f) wrapped += c.range;
  if (wrapped >= c.range) wrapped -= c.range;
  return wrapped;
}

// One pixel with the neighbours that exist; reads scratch only.
inline float filter2FreqPixel(const float* scratch, int width, int height, int x, int y,
                              const Filter2FreqConstants& c) {
  const float d = scratch[static_cast<std::size_t>(y) * width + x];
  int keep = 1;  // the pixel votes for itself
  int plus = 0;
  int minus = 0;
  for (int ny = y - 1; ny <= y + 1; ++ny) {
    if (ny < 0 || ny >= height) continue;
    for (int nx = x - 1; nx <= x + 1; ++nx) {
      if (nx < 0 || nx >= width || (nx == x && ny == y)) continue;
      const float e = (d + c.half) - scratch[static_cast<std::size_t>(ny) * width + nx];
      if (std::fabs(filter2FreqWrapCentred(e, c)) < c.threshold) {
        ++keep;
      } else if (std::fabs(filter2FreqWrapCentred(e + c.shift, c)) < c.threshold) {
        ++plus;
      } else if (std::fabs(filter2FreqWrapCentred(e - c.shift, c)) < c.threshold) {
        ++minus;
      }
    }
  }
  if (keep < plus) return filter2FreqCorrected(d, plus < minus ? -c.shift : c.shift, c);
  if (minus > keep) return filter2FreqCorrected(d, -c.shift, c);
  return d;
}

template <class D, class VF = decltype(Zero(D()))>
inline VF Filter2FreqFloorV(D d, VF v, VF invRange) {
  const VF q = Mul(v, invRange);
  const VF t = ConvertToFloat(TruncateToInt(q));
  const VF floored = Sub(t, IfThenElseZero(Gt(t, q), Set(d, 1.0f)));
  return IfThenElse(Lt(Abs(q), Set(d, 2147483648.0f)), floored, q);
}

template <class D, class VF = decltype(Zero(D()))>
inline auto Filter2FreqVotesV(D d, VF v, VF range, VF invRange, VF half, VF threshold) {
  const VF w = Sub(Sub(v, Mul(Filter2FreqFloorV(d, v, invRange), range)), half);
  return Lt(Abs(w), threshold);
}

// The pixels at columns x .. x + lanes - 1 of an interior row (1 <= x,
// x + lanes < width, 0 < row < height - 1): all eight neighbours exist. `row` points at the
// scratch row, `out` at the distance row.
template <class D>
void Filter2FreqInteriorGroup(D d, const Filter2FreqConstants& c, const float* row, int width,
                              int x, float* out) {
  using VF = decltype(Zero(D()));
  const VF range = Set(d, c.range);
  const VF invRange = Set(d, c.invRange);
  const VF half = Set(d, c.half);
  const VF threshold = Set(d, c.threshold);
  const VF shift = Set(d, c.shift);
  const VF one = Set(d, 1.0f);
  const float* centre = row + x;
  const std::ptrdiff_t offsets[8] = {-width - 1, -width,    -width + 1, -1,
                                     1,          width - 1, width,      width + 1};
  const VF dv = LoadU(d, centre);
  const VF dh = Add(dv, half);

  // First the no-change votes alone: in a smooth image most neighbours cast
  // one, and the two shifted tests are not needed.
  VF keep = one;
  for (const std::ptrdiff_t o : offsets) {
    const auto kept =
        Filter2FreqVotesV(d, Sub(dh, LoadU(d, centre + o)), range, invRange, half, threshold);
    keep = Add(keep, IfThenElseZero(kept, one));
  }
  // Each shifted count is at most 9 - keep: with keep >= 5 neither can beat
  // it, so the pixel stays as it is.
  if (AllFalse(Lt(keep, Set(d, 5.0f)))) {
    StoreU(dv, d, out + x);
    return;
  }
  VF plus = Zero(d);
  VF minus = Zero(d);
  for (const std::ptrdiff_t o : offsets) {
    const VF e = Sub(dh, LoadU(d, centre + o));
    const auto kept = Filter2FreqVotesV(d, e, range, invRange, half, threshold);
    const auto up =
        And(Not(kept), Filter2FreqVotesV(d, Add(e, shift), range, invRange, half, threshold));
    const auto down = And(Not(Or(kept, up)),
                          Filter2FreqVotesV(d, Sub(e, shift), range, invRange, half, threshold));
    plus = Add(plus, IfThenElseZero(up, one));
    minus = Add(minus, IfThenElseZero(down, one));
  }
  const auto keepBelowPlus = Lt(keep, plus);
  const auto corrected = Or(keepBelowPlus, Gt(minus, keep));
  if (AllFalse(corrected)) {
    StoreU(dv, d, out + x);
    return;
  }
  const VF minusShift = Neg(shift);
  const VF correction =
      IfThenElse(keepBelowPlus, IfThenElse(Lt(plus, minus), minusShift, shift), minusShift);
  const VF v = Add(dv, correction);
  VF wrapped = Sub(v, Mul(Filter2FreqFloorV(d, v, invRange), range));
  wrapped = Add(wrapped, IfThenElseZero(Lt(wrapped, Zero(d)), range));
  wrapped = Sub(wrapped, IfThenElseZero(Ge(wrapped, range), range));
  StoreU(IfThenElse(corrected, wrapped, dv), d, out + x);
}

// Interior groups along one row from column x while every lane has all eight
// neighbours; returns the first column left.
template <class D>
int Filter2FreqRowGroups(D d, const Filter2FreqConstants& c, const float* row, int width, int x,
                         float* out) {
  constexpr int kStep = static_cast<int>(D::kLanes);
  for (; x + kStep < width; x += kStep) Filter2FreqInteriorGroup(d, c, row, width, x, out);
  return x;
}

#if defined(KELVORA_WIDE_X86)
// Filter2FreqRowGroups on the AVX2 (AVX-512) backend, in core/WideStages.inl.
int filter2FreqRowGroupsAvx2(const Filter2FreqConstants& c, const float* row, int width, int x,
                             float* out);
int filter2FreqRowGroupsAvx512(const Filter2FreqConstants& c, const float* row, int width, int x,
                               float* out);
#endif

// The whole image: interior groups through the vector path (first through the
// wide x86 forms up to `wideLanes`), borders and row ends one pixel at a time.
// scratch must already hold the copy.
template <class D>
void Filter2FreqImage(D d, const Filter2FreqConstants& c, int width, int height,
                      const float* scratch, float* distance, unsigned wideLanes = 4) {
  static_cast<void>(wideLanes);
  for (int y = 0; y < height; ++y) {
    const std::size_t rowStart = static_cast<std::size_t>(y) * width;
    float* out = distance + rowStart;
    int x = 0;
    if (y > 0 && y < height - 1) {
      if (width > 0) out[0] = filter2FreqPixel(scratch, width, height, 0, y, c);
      x = 1;
#if defined(KELVORA_WIDE_X86)
      if (wideLanes >= 16) x = filter2FreqRowGroupsAvx512(c, scratch + rowStart, width, x, out);
      if (wideLanes >= 8) x = filter2FreqRowGroupsAvx2(c, scratch + rowStart, width, x, out);
#endif
      x = Filter2FreqRowGroups(d, c, scratch + rowStart, width, x, out);
    }
    for (; x < width; ++x) out[x] = filter2FreqPixel(scratch, width, height, x, y, c);
  }
}

}  // namespace kelvora
