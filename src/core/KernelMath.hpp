#pragma once
// Small vector helpers shared by the per-pixel stages.
#include "simd/Simd.hpp"

namespace kelvora {

// sqrt that keeps +-0: NEON forms sqrt(x) as x / sqrt(x) estimates, which
// would turn an exact 0 into NaN.
template <class D, class VF = decltype(Zero(D()))>
inline VF SqrtKeepZero(D d, VF x) {
  return IfThenElse(Eq(x, Zero(d)), x, Sqrt(x));
}

}  // namespace kelvora
