#pragma once
// The vector layer as one target's translation unit sees it. Such a unit
// defines exactly one of KELVORA_TARGET_SCALAR, _SSE2, _NEON, _AVX2 and
// _AVX512 before including anything; this header then brings in that backend
// alone and names the target's namespace KELVORA_TARGET. Kernel sources put
// everything they define inside kelvora::KELVORA_TARGET, so inline functions
// and templates built with AVX2 enabled get other mangled names than the
// baseline ones and the linker can never hand the one to a caller of the other.
// Kernel sources call only the vector layer and their own helpers, no
// function of the standard library that the compiler could emit out of line.
#include <cstddef>
#include <cstdint>

#if defined(KELVORA_TARGET_SCALAR)
#include "simd/SimdScalar.hpp"
#define KELVORA_TARGET scalar
#define KELVORA_TARGET_ENUM ::kelvora::simd::Target::kScalar
#elif defined(KELVORA_TARGET_SSE2)
#include "simd/SimdSse2.hpp"
#define KELVORA_TARGET sse2
#define KELVORA_TARGET_ENUM ::kelvora::simd::Target::kSse2
#elif defined(KELVORA_TARGET_NEON)
#include "simd/SimdNeon.hpp"
#define KELVORA_TARGET neon
#define KELVORA_TARGET_ENUM ::kelvora::simd::Target::kNeon
#elif defined(KELVORA_TARGET_AVX2)
#include "simd/SimdAvx2.hpp"
#define KELVORA_TARGET avx2
#define KELVORA_TARGET_ENUM ::kelvora::simd::Target::kAvx2
#elif defined(KELVORA_TARGET_AVX512)
#include "simd/SimdAvx512.hpp"
#define KELVORA_TARGET avx512
#define KELVORA_TARGET_ENUM ::kelvora::simd::Target::kAvx512
#else
#error "define the translation unit's KELVORA_TARGET_... before including simd/Simd.hpp"
#endif

#include "simd/GroupRunner.hpp"
#include "simd/Targets.hpp"

namespace kelvora::KELVORA_TARGET {

// The backend of this translation unit.
using Tag = simd::KELVORA_TARGET::Tag;

// Composite operations, for backends without one instruction for them. A
// backend that has one (NEON) defines its own, which overload resolution
// prefers to these templates.

// |a - b|: the difference rounded once, then its sign cleared.
template <class VF>
inline VF AbsDiff(VF a, VF b) {
  return Abs(Sub(a, b));
}

// Min for ordered lanes (the twin of MaxOrdered); a NaN lane may give either
// operand.
template <class VF>
inline VF MinOrdered(VF a, VF b) {
  return Min(a, b);
}

// The low 16 bits of each lane, read as signed, as float.
template <class VI>
inline auto ConvertSignExtended16ToFloat(VI a) {
  return ConvertToFloat(SignExtend16(a));
}

// a0 b0 a1 b1 ... from the lanes of a and b.
template <class VF, class D>
inline void StoreInterleaved2(VF a, VF b, D d, float* p) {
  StoreU(InterleaveLower(a, b), d, p);
  StoreU(InterleaveUpper(a, b), d, p + D::kLanes);
}

// floor() for |x| < 2^31: truncate, then step down where truncation went up.
template <class D, class VF = decltype(Zero(D()))>
inline VF FloorViaTruncate(D d, VF x) {
  const VF t = ConvertToFloat(TruncateToInt(x));
  return Sub(t, IfThenElseZero(Gt(t, x), Set(d, 1.0f)));
}

}  // namespace kelvora::KELVORA_TARGET
