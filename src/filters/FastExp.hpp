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

// The constants as vectors, set up once per image: built inside a window
// loop they would be materialised again for every group.
template <class VF>
struct FastExpConstants {
  VF log2e, minPower, one, bias, linear, quadratic;
};

template <class D, class VF = decltype(Zero(D()))>
inline FastExpConstants<VF> MakeFastExpConstants(D d) {
  using namespace fastexp;
  return {Set(d, kLog2e), Set(d, kMinPower), Set(d, 1.0f),
          Set(d, kBias),  Set(d, kLinear),   Set(d, kQuadratic)};
}

// E(z) for arguments that are not positive (or NaN), the range weights' case.
// There p lies in [-127, 0] once clamped, so the truncations fit int32
// without guards. A NaN argument ends at 0, as the saturating conversion of
// the definition gives: either clamped to -127, whose result is 0, or (where
// MaxOrdered keeps NaN) carried through to the final conversion, which gives
// 0 for NaN.
template <class VF>
inline VF FastExpNonPositive(VF z, const FastExpConstants<VF>& c) {
  const VF p = MaxOrdered(c.minPower, Mul(z, c.log2e));
  const VF f = Add(Sub(p, ConvertToFloat(TruncateToInt(p))), c.one);
  const VF poly = Mul(f, Add(c.linear, Mul(c.quadratic, f)));
  // Scaling by 2^23 is exact, so the fixed-point conversion gives the bits
  // of the product's truncation; below 0 it gives 0, as the unsigned
  // conversion of the definition does.
  return BitCastToFloat(TruncateToUnsignedTimes2Pow23(Add(Add(p, c.bias), poly)));
}

}  // namespace kelvora::KELVORA_TARGET
