#pragma once
// Fast exp(z) for z <= 0 through a power of two, built in the float's bit
// pattern: 2^p has the bits 2^23 * (p + 127) when p is an integer, and the
// quadratic in the fractional part f bends the linear interpolation between
// integers toward the true curve. Relative error stays below 0.25 % while the
// result is a normal float (z down to about -87.3); E(0) is 0.99876, not 1.
// The results are part of the adaptive noise filter's fixed output, so the
// constants and the order of operations must not change.
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

namespace fastexp {
constexpr float kLog2e = 1.442695f;
// Below 2^-127 the bit pattern would leave the float's exponent range.
constexpr float kMinPower = -127.0f;
constexpr float kBias = 127.00248f;  // exponent bias plus a small offset
constexpr float kLinear = -0.34895322f;
constexpr float kQuadratic = 0.3440011f;
}  // namespace fastexp

// E(z) for arguments that are not positive (or NaN), the range weights' case.
// There p lies in [-127, 0] once clamped, so the truncations fit int32
// without guards. A NaN argument ends at 0, as the saturating conversion of
// the definition gives: either clamped to -127, whose result is 0, or (where
// MaxOrdered keeps NaN) carried through to the final conversion, which gives
// 0 for NaN.
template <class D, class VF = decltype(Zero(D()))>
inline VF FastExpNonPositive(D d, VF z) {
  using namespace fastexp;
  const VF p = MaxOrdered(Set(d, kMinPower), Mul(z, Set(d, kLog2e)));
  const VF f = Add(Sub(p, ConvertToFloat(TruncateToInt(p))), Set(d, 1.0f));
  const VF poly = Mul(f, Add(Set(d, kLinear), Mul(Set(d, kQuadratic), f)));
  // Scaling by 2^23 is exact, so the fixed-point conversion gives the bits
  // of the product's truncation; below 0 it gives 0, as the unsigned
  // conversion of the definition does.
  return BitCastToFloat(TruncateToUnsignedTimes2Pow23(Add(Add(p, Set(d, kBias)), poly)));
}

}  // namespace kelvora::KELVORA_TARGET
