#pragma once
// Fast exp(z) for z <= 0 through a power of two, built in the float's bit
// pattern: 2^p has the bits 2^23 * (p + 127) when p is an integer, and the
// quadratic in the fractional part f bends the linear interpolation between
// integers toward the true curve. Relative error stays below 0.25 % while the
// result is a normal float (z down to about -87.3); E(0) is 0.99876, not 1.
// The results are part of the adaptive noise filter's fixed output, so the
// constants and the order of operations must not change.
#include <cstdint>
#include <cstring>

#include "base/SaturatingConvert.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

namespace fastexp {
constexpr float kLog2e = 1.442695f;
// Below 2^-127 the bit pattern would leave the float's exponent range.
constexpr float kMinPower = -127.0f;
constexpr float kMantissaScale = 8388608.0f;  // 2^23
constexpr float kBias = 127.00248f;           // exponent bias plus a small offset
constexpr float kLinear = -0.34895322f;
constexpr float kQuadratic = 0.3440011f;
// From 2^23 on every float is an integer, so trunc(p) = p; converting such p
// to int32 could overflow.
constexpr float kAllIntegral = 8388608.0f;
}  // namespace fastexp

// Scalar form; every lane of FastExp below yields exactly these bits.
inline float fastExp(float z) {
  float p = z * fastexp::kLog2e;
  if (p < fastexp::kMinPower) p = fastexp::kMinPower;
  float whole = p;
  if (p > -fastexp::kAllIntegral && p < fastexp::kAllIntegral) {
    whole = static_cast<float>(static_cast<int32_t>(p));
  }
  const float f = p - whole + 1.0f;
  const float poly = f * (fastexp::kLinear + fastexp::kQuadratic * f);
  const uint32_t bits = saturatingToUnsigned(fastexp::kMantissaScale * (p + fastexp::kBias + poly));
  float r;
  std::memcpy(&r, &bits, sizeof r);
  return r;
}

template <class D, class VF = decltype(Zero(D()))>
inline VF FastExp(D d, VF z) {
  using namespace fastexp;
  VF p = Mul(z, Set(d, kLog2e));
  // Max keeps p for NaN, as the scalar comparison above does.
  p = Max(p, Set(d, kMinPower));
  const auto small = Lt(Abs(p), Set(d, kAllIntegral));
  // Large and NaN lanes are zeroed before the conversion so it never overflows.
  const VF truncated = ConvertToFloat(TruncateToInt(IfThenElseZero(small, p)));
  const VF whole = IfThenElse(small, truncated, p);
  const VF f = Add(Sub(p, whole), Set(d, 1.0f));
  const VF poly = Mul(f, Add(Set(d, kLinear), Mul(Set(d, kQuadratic), f)));
  const VF scaled = Mul(Set(d, kMantissaScale), Add(Add(p, Set(d, kBias)), poly));
  return BitCastToFloat(TruncateToUnsigned(scaled));
}

// FastExp for arguments that are not positive (or NaN), the range weights'
// case. There p lies in [-127, 0] once clamped, so the truncations fit int32
// without guards, and a NaN argument, which FastExp maps to 0, is clamped to
// -127 whose result is 0 as well. Same bits as FastExp on that domain.
template <class D, class VF = decltype(Zero(D()))>
inline VF FastExpNonPositive(D d, VF z) {
  using namespace fastexp;
  // Operand order matters: Max(a, b) keeps b for NaN, so NaN becomes -127.
  const VF p = Max(Set(d, kMinPower), Mul(z, Set(d, kLog2e)));
  const VF f = Add(Sub(p, ConvertToFloat(TruncateToInt(p))), Set(d, 1.0f));
  const VF poly = Mul(f, Add(Set(d, kLinear), Mul(Set(d, kQuadratic), f)));
  const VF scaled = Mul(Set(d, kMantissaScale), Add(Add(p, Set(d, kBias)), poly));
  // scaled < 2^31 here; negative values become 0 as the unsigned conversion
  // would make them.
  return BitCastToFloat(TruncateToInt(Max(Zero(d), scaled)));
}

}  // namespace kelvora
