#pragma once
// zyn_atanf for a vector of arguments: the same operations, the same bits.
#include "core/Atan.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D, class VF = decltype(Zero(D()))>
inline VF AtanKernel(D d, VF x) {
  const VF one = Set(d, 1.0f);
  const VF sign = IfThenElse(Gt(x, Zero(d)), one, Set(d, -1.0f));
  const VF a = Abs(x);
  const auto folded = Ge(a, one);
  const VF u = IfThenElse(folded, Div(one, a), a);
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

}  // namespace kelvora::KELVORA_TARGET
