#pragma once
// The vector layer. Kernels are templates over a backend tag `D` and call the
// free functions of that backend (Load, Add, MulAdd, IfThenElse, ...);
// `NativeTag` is the four-lane backend the library runs, and `AllTags` lists
// every four-lane backend compiled into this build so tests can run each
// kernel on each one. A tag's `kLanes` is its width; the wider x86 backends
// exist only in translation units built for them (WideVectors.hpp).
#include <cstddef>
#include <cstdint>
#include <tuple>

#include "simd/SimdScalar.hpp"

#if !defined(KELVORA_FORCE_SCALAR) && (defined(__ARM_NEON) || defined(__ARM_NEON__))
#define KELVORA_SIMD_HAVE_NEON 1
#include "simd/SimdNeon.hpp"
#elif !defined(KELVORA_FORCE_SCALAR) && (defined(__SSE2__) || defined(_M_X64))
#define KELVORA_SIMD_HAVE_SSE2 1
#include "simd/SimdSse2.hpp"
#endif

#if defined(KELVORA_SIMD_HAVE_SSE2) && defined(__AVX2__) && defined(KELVORA_WIDE_X86)
#include "simd/SimdAvx2.hpp"
#endif
#if defined(KELVORA_SIMD_HAVE_SSE2) && defined(__AVX512F__) && defined(KELVORA_WIDE_X86)
#include "simd/SimdAvx512.hpp"
#endif

namespace kelvora::simd {

// Width of the four-lane backends, and the grouping the stages' visible
// counts follow (e.g. point-cloud slots).
constexpr std::size_t kLanes = 4;

#if defined(KELVORA_SIMD_HAVE_NEON)
using NativeTag = neon::Tag;
using AllTags = std::tuple<scalar::Tag, neon::Tag>;
#elif defined(KELVORA_SIMD_HAVE_SSE2)
using NativeTag = sse2::Tag;
using AllTags = std::tuple<scalar::Tag, sse2::Tag>;
#else
using NativeTag = scalar::Tag;
using AllTags = std::tuple<scalar::Tag>;
#endif

// Pixel counts rounded up to whole vectors: every per-pixel buffer holds this
// many elements so kernels never need a tail inside the hot loop.
constexpr uint32_t roundUpToLanes(uint32_t n) {
  return (n + 3u) & ~3u;
}

// floor() for |x| < 2^31: truncate, then step down where truncation went up.
template <class D, class VF = decltype(Zero(D()))>
inline VF FloorViaTruncate(D d, VF x) {
  const VF t = ConvertToFloat(TruncateToInt(x));
  return Sub(t, IfThenElseZero(Gt(t, x), Set(d, 1.0f)));
}

}  // namespace kelvora::simd
