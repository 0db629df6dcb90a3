#pragma once
// Arctangent by linear interpolation in a 32-entry table over [0, 1], folded
// to |x| > 1 through atan(x) = pi/2 - atan(1/x). Its largest error, about
// 8.5e-5 rad, is what the distance stage is built on. The vector kernel gives
// the same bits as zyn_atanf in every lane, on every backend.
#include "simd/Simd.hpp"

namespace kelvora {

// atan(m / 31) for m = 0..31, plus a copy of the last entry so that the
// interpolation can always read the entry after m (its weight is 0 there).
extern const float kAtanTable[33];

constexpr float kAtanHalfPi = 1.5707964f;
constexpr float kAtanStep = 0.032258064f;  // 1/31

float zyn_atanf(float x);

template <class D, class VF = decltype(Zero(D()))>
inline VF AtanKernel(D d, VF x) {
  const VF one = Set(d, 1.0f);
  const VF sign = IfThenElse(Gt(x, Zero(d)), one, Set(d, -1.0f));
  const VF a = Abs(x);
  const auto folded = Ge(a, one);
  const VF u = IfThenElse(folded, DivExact(one, a), a);
  // Max(0, p) maps NaN to 0 so the look-up stays inside the table.
  const VF p = Min(Max(Zero(d), Mul(u, Set(d, 31.0f))), Set(d, 31.0f));
  const auto m = TruncateToInt(p);
  const VF mf = ConvertToFloat(m);
  VF lo;
  VF hi;
  GatherPairs32(d, kAtanTable, m, &lo, &hi);
  const VF t = Mul(Sub(u, Mul(mf, Set(d, kAtanStep))), Set(d, 31.0f));
  const VF r = Mul(Add(lo, Mul(t, Sub(hi, lo))), sign);
  return IfThenElse(folded, Sub(Mul(sign, Set(d, kAtanHalfPi)), r), r);
}

}  // namespace kelvora
