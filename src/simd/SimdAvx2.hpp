#pragma once
// Eight-lane AVX2 backend for the hottest per-pixel stages on x86-64. Only
// translation units built with AVX2 enabled include it, and the library calls
// them only after checking the processor at run time (WideVectors.hpp).
//
// Every operation is the eight-lane twin of the SSE2 one, with the same IEEE
// results (exact division and square root, the same NaN and signed-zero rules
// for Min and Max), so a pixel gets the same bits on either backend: a stage
// runs its whole groups of eight here and finishes on the four-lane backend.
#if !defined(__AVX2__)
#error "SimdAvx2.hpp needs a translation unit built with AVX2 enabled"
#endif
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace kelvora::simd::avx2 {

struct VF {
  __m256 v;
};
struct VI {
  __m256i v;
};
struct VU {
  __m256i v;
};
struct M {
  __m256i v;
};

struct Tag {
  static constexpr const char* kName = "avx2";
  static constexpr bool kExactDivision = true;
  static constexpr std::size_t kLanes = 8;
};

inline VF Zero(Tag) {
  return VF{_mm256_setzero_ps()};
}
inline VF Set(Tag, float x) {
  return VF{_mm256_set1_ps(x)};
}
inline VI SetI(Tag, int32_t x) {
  return VI{_mm256_set1_epi32(x)};
}
inline VU SetU(Tag, uint32_t x) {
  return VU{_mm256_set1_epi32(static_cast<int32_t>(x))};
}
inline VF Load(Tag, const float* p) {
  return VF{_mm256_load_ps(p)};
}
inline VF LoadU(Tag, const float* p) {
  return VF{_mm256_loadu_ps(p)};
}
inline VU LoadU32(Tag, const uint32_t* p) {
  return VU{_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
}
inline void Store(VF a, Tag, float* p) {
  _mm256_store_ps(p, a.v);
}
inline void StoreU(VF a, Tag, float* p) {
  _mm256_storeu_ps(p, a.v);
}
inline void StoreU32(VU a, Tag, uint32_t* p) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.v);
}
inline void StoreI(VI a, Tag, int32_t* p) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.v);
}

inline VF Add(VF a, VF b) {
  return VF{_mm256_add_ps(a.v, b.v)};
}
inline VF Sub(VF a, VF b) {
  return VF{_mm256_sub_ps(a.v, b.v)};
}
inline VF Mul(VF a, VF b) {
  return VF{_mm256_mul_ps(a.v, b.v)};
}
inline VF Div(VF a, VF b) {
  return VF{_mm256_div_ps(a.v, b.v)};
}
inline VF DivExact(VF a, VF b) {
  return Div(a, b);
}
// Operand order as in the SSE2 backend: the scalar b < a ? b : a, NaN included.
inline VF Min(VF a, VF b) {
  return VF{_mm256_min_ps(b.v, a.v)};
}
inline VF Max(VF a, VF b) {
  return VF{_mm256_max_ps(b.v, a.v)};
}
inline VF Abs(VF a) {
  return VF{_mm256_and_ps(a.v, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF)))};
}
inline VF Neg(VF a) {
  return VF{_mm256_xor_ps(a.v, _mm256_castsi256_ps(_mm256_set1_epi32(INT32_MIN)))};
}
inline VF Sqrt(VF a) {
  return VF{_mm256_sqrt_ps(a.v)};
}
inline VF Reciprocal(VF a) {
  return VF{_mm256_div_ps(_mm256_set1_ps(1.0f), a.v)};
}
// Separate multiply and add, never fused: the bits must match the other backends.
inline VF MulAdd(VF a, VF b, VF c) {
  return Add(Mul(a, b), c);
}
inline VF NegMulAdd(VF a, VF b, VF c) {
  return Sub(c, Mul(a, b));
}

inline VI TruncateToInt(VF a) {
  return VI{_mm256_cvttps_epi32(a.v)};
}
inline VF ConvertToFloat(VI a) {
  return VF{_mm256_cvtepi32_ps(a.v)};
}
inline VF ConvertToFloat(VU a) {
  const __m256i lo = _mm256_and_si256(a.v, _mm256_set1_epi32(0xFFFF));
  const __m256i hi = _mm256_srli_epi32(a.v, 16);
  const __m256 fhi = _mm256_mul_ps(_mm256_cvtepi32_ps(hi), _mm256_set1_ps(65536.0f));
  return VF{_mm256_add_ps(fhi, _mm256_cvtepi32_ps(lo))};
}
// Saturating like the ARM conversion: negative and NaN give 0, 2^32 and
// above give 0xFFFFFFFF (see the SSE2 backend for the construction).
inline VU TruncateToUnsigned(VF a) {
  const __m256 two31 = _mm256_set1_ps(2147483648.0f);
  const __m256 big = _mm256_cmp_ps(a.v, two31, _CMP_GE_OQ);
  const __m256 shifted = _mm256_sub_ps(a.v, _mm256_and_ps(big, two31));
  __m256i r = _mm256_cvttps_epi32(shifted);
  r = _mm256_xor_si256(r, _mm256_and_si256(_mm256_castps_si256(big), _mm256_set1_epi32(INT32_MIN)));
  const __m256 over = _mm256_cmp_ps(a.v, _mm256_set1_ps(4294967296.0f), _CMP_GE_OQ);
  r = _mm256_or_si256(r, _mm256_castps_si256(over));
  const __m256 positive = _mm256_cmp_ps(a.v, _mm256_setzero_ps(), _CMP_GT_OQ);
  return VU{_mm256_and_si256(r, _mm256_castps_si256(positive))};
}
// Eight unsigned 16-bit values, zero-extended.
inline VI LoadU16ToI32(Tag, const uint16_t* p) {
  return VI{_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
}
inline VF BitCastToFloat(VU a) {
  return VF{_mm256_castsi256_ps(a.v)};
}
inline VF BitCastToFloat(VI a) {
  return VF{_mm256_castsi256_ps(a.v)};
}

inline M Lt(VF a, VF b) {
  return M{_mm256_castps_si256(_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ))};
}
inline M Gt(VF a, VF b) {
  return M{_mm256_castps_si256(_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ))};
}
inline M Le(VF a, VF b) {
  return M{_mm256_castps_si256(_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ))};
}
inline M Ge(VF a, VF b) {
  return M{_mm256_castps_si256(_mm256_cmp_ps(a.v, b.v, _CMP_GE_OQ))};
}
inline M Eq(VF a, VF b) {
  return M{_mm256_castps_si256(_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ))};
}
inline M NeZero(VU a) {
  const __m256i z = _mm256_cmpeq_epi32(a.v, _mm256_setzero_si256());
  return M{_mm256_xor_si256(z, _mm256_set1_epi32(-1))};
}
inline M SignBitSet(VF a) {
  return M{_mm256_srai_epi32(_mm256_castps_si256(a.v), 31)};
}
inline M And(M a, M b) {
  return M{_mm256_and_si256(a.v, b.v)};
}
inline M Or(M a, M b) {
  return M{_mm256_or_si256(a.v, b.v)};
}
inline M Not(M a) {
  return M{_mm256_xor_si256(a.v, _mm256_set1_epi32(-1))};
}
inline VF IfThenElse(M m, VF a, VF b) {
  return VF{_mm256_blendv_ps(b.v, a.v, _mm256_castsi256_ps(m.v))};
}
inline VF IfThenElseZero(M m, VF a) {
  return VF{_mm256_and_ps(_mm256_castsi256_ps(m.v), a.v)};
}
inline VU IfThenElseZero(M m, VU a) {
  return VU{_mm256_and_si256(m.v, a.v)};
}
inline VU Or(VU a, VU b) {
  return VU{_mm256_or_si256(a.v, b.v)};
}
inline bool AllFalse(M m) {
  return _mm256_testz_si256(m.v, m.v) != 0;
}

// Full-width lane shuffles with the four-lane backends' meaning:
// ConcatEven(hi, lo) = lo0 lo2 .. hi0 hi2 .., InterleaveLower(a, b) =
// a0 b0 a1 b1 .. over the lower halves.
inline VF ConcatEven(VF hi, VF lo) {
  const __m256 inLanes = _mm256_shuffle_ps(lo.v, hi.v, _MM_SHUFFLE(2, 0, 2, 0));
  return VF{_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(inLanes), 0xD8))};
}
inline VF ConcatOdd(VF hi, VF lo) {
  const __m256 inLanes = _mm256_shuffle_ps(lo.v, hi.v, _MM_SHUFFLE(3, 1, 3, 1));
  return VF{_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(inLanes), 0xD8))};
}
inline VF InterleaveLower(VF a, VF b) {
  return VF{
      _mm256_permute2f128_ps(_mm256_unpacklo_ps(a.v, b.v), _mm256_unpackhi_ps(a.v, b.v), 0x20)};
}
inline VF InterleaveUpper(VF a, VF b) {
  return VF{
      _mm256_permute2f128_ps(_mm256_unpacklo_ps(a.v, b.v), _mm256_unpackhi_ps(a.v, b.v), 0x31)};
}

// Callers keep every index inside the table (clamped before the look-up).
// Eight scalar loads beat the gather instruction on the processors measured.
inline VF GatherIndex(Tag, const float* table, VI idx) {
  alignas(32) int32_t i[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(i), idx.v);
  return VF{_mm256_setr_ps(table[i[0]], table[i[1]], table[i[2]], table[i[3]], table[i[4]],
                           table[i[5]], table[i[6]], table[i[7]])};
}
// One 64-bit load per lane, then a de-interleave.
inline void GatherPairs(Tag, const float* table, VI idx, VF* first, VF* second) {
  alignas(32) int32_t i[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(i), idx.v);
  const auto pair = [table](int32_t k) {
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(table + k)));
  };
  const __m128 p01 = _mm_movelh_ps(pair(i[0]), pair(i[1]));
  const __m128 p23 = _mm_movelh_ps(pair(i[2]), pair(i[3]));
  const __m128 p45 = _mm_movelh_ps(pair(i[4]), pair(i[5]));
  const __m128 p67 = _mm_movelh_ps(pair(i[6]), pair(i[7]));
  const __m256 lo = _mm256_insertf128_ps(_mm256_castps128_ps256(p01), p45, 1);
  const __m256 hi = _mm256_insertf128_ps(_mm256_castps128_ps256(p23), p67, 1);
  first->v = _mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0));
  second->v = _mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1));
}

// GatherPairs from a table of 33 entries with indices 0..31.
inline void GatherPairs32(Tag d, const float* table, VI idx, VF* first, VF* second) {
  GatherPairs(d, table, idx, first, second);
}

}  // namespace kelvora::simd::avx2
