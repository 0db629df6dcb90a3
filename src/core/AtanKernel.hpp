#pragma once
// zyn_atanf for a vector of arguments: the same operations, the same bits.
#include "core/Atan.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D, class VF = decltype(Zero(D()))>
inline VF AtanKernel(D d, VF x) {
  const VF one = Set(d, 1.0f);
  const VF a = Abs(x);
  const auto folded = Ge(a, one);
  const VF u = IfThenElse(folded, Div(one, a), a);
  // Max(0, p) maps NaN to 0 so the look-up stays inside the table; after it
  // every lane is ordered.
  const VF p = MinOrdered(Max(Zero(d), Mul(u, Set(d, 31.0f))), Set(d, 31.0f));
  const auto m = TruncateToInt(p);
  const VF mf = ConvertToFloat(m);
  VF lo;
  VF hi;
  GatherPairs32(d, kAtanTable, m, &lo, &hi);
  const VF t = Mul(Sub(u, Mul(mf, Set(d, kAtanStep))), Set(d, 31.0f));
  const VF q = Add(lo, Mul(t, Sub(hi, lo)));
  // The sign last: multiplying by -1 and subtracting from -pi/2 are exact
  // negations of the positive forms (q never reaches pi/2, so no zero arises).
  const VF magnitude = IfThenElse(folded, Sub(Set(d, kAtanHalfPi), q), q);
  return IfThenElse(Gt(x, Zero(d)), magnitude, Neg(magnitude));
}

}  // namespace kelvora::KELVORA_TARGET
