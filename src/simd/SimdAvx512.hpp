#pragma once
// Sixteen-lane AVX-512 backend on x86-64. Only the AVX-512 target's
// translation units include it, and the library selects that target only
// after checking the processor at run time (simd/Targets.hpp).
//
// The same IEEE results as the SSE2 and AVX2 backends lane for lane (exact
// division and square root, the SSE rules for NaN and signed zeros in Min and
// Max, int32 "indefinite" for out-of-range truncation). Masks are the
// processor's mask registers, one bit per lane.
#if !defined(__AVX512F__)
#error "SimdAvx512.hpp needs a translation unit built with AVX-512 enabled"
#endif
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace kelvora::simd::avx512 {

struct VF {
  __m512 v;
};
struct VI {
  __m512i v;
};
struct VU {
  __m512i v;
};
struct M {
  __mmask16 v;
};

struct Tag {
  static constexpr const char* kName = "avx512";
  static constexpr std::size_t kLanes = 16;
  // Arithmetic can read an operand from memory: constants need no register.
  static constexpr bool kMemoryOperands = true;
};

inline VF Zero(Tag) {
  return VF{_mm512_setzero_ps()};
}
inline VF Set(Tag, float x) {
  return VF{_mm512_set1_ps(x)};
}
inline VI SetI(Tag, int32_t x) {
  return VI{_mm512_set1_epi32(x)};
}
inline VU SetU(Tag, uint32_t x) {
  return VU{_mm512_set1_epi32(static_cast<int32_t>(x))};
}
inline VF Load(Tag, const float* p) {
  return VF{_mm512_load_ps(p)};
}
inline VF LoadU(Tag, const float* p) {
  return VF{_mm512_loadu_ps(p)};
}
inline VU LoadU32(Tag, const uint32_t* p) {
  return VU{_mm512_loadu_si512(p)};
}
inline void Store(VF a, Tag, float* p) {
  _mm512_store_ps(p, a.v);
}
inline void StoreU(VF a, Tag, float* p) {
  _mm512_storeu_ps(p, a.v);
}
inline void StoreU32(VU a, Tag, uint32_t* p) {
  _mm512_storeu_si512(p, a.v);
}

// Partial groups (n below sixteen): masked loads and stores touch only the
// first n elements, the other lanes read as zero.
inline M FirstN(Tag, std::size_t n) {
  return M{static_cast<__mmask16>((1u << n) - 1u)};
}
inline VF LoadN(Tag d, const float* p, std::size_t n) {
  return VF{_mm512_maskz_loadu_ps(FirstN(d, n).v, p)};
}
inline VU LoadN32(Tag d, const uint32_t* p, std::size_t n) {
  return VU{_mm512_maskz_loadu_epi32(FirstN(d, n).v, p)};
}
inline VI LoadNU16ToI32(Tag, const uint16_t* p, std::size_t n) {
  alignas(32) uint16_t lanes[16] = {};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VI{_mm512_cvtepu16_epi32(_mm256_load_si256(reinterpret_cast<const __m256i*>(lanes)))};
}
inline void StoreN(VF a, Tag d, float* p, std::size_t n) {
  _mm512_mask_storeu_ps(p, FirstN(d, n).v, a.v);
}
inline void StoreN32(VU a, Tag d, uint32_t* p, std::size_t n) {
  _mm512_mask_storeu_epi32(p, FirstN(d, n).v, a.v);
}

inline VF Add(VF a, VF b) {
  return VF{_mm512_add_ps(a.v, b.v)};
}
inline VF Sub(VF a, VF b) {
  return VF{_mm512_sub_ps(a.v, b.v)};
}
inline VF Mul(VF a, VF b) {
  return VF{_mm512_mul_ps(a.v, b.v)};
}
inline VF Div(VF a, VF b) {
  return VF{_mm512_div_ps(a.v, b.v)};
}
// Operand order as in the SSE2 backend: the scalar b < a ? b : a, NaN included.
inline VF Min(VF a, VF b) {
  return VF{_mm512_min_ps(b.v, a.v)};
}
inline VF Max(VF a, VF b) {
  return VF{_mm512_max_ps(b.v, a.v)};
}
// Max for ordered lanes; a NaN lane gives a here (NaN on NEON).
inline VF MaxOrdered(VF a, VF b) {
  return Max(a, b);
}
inline VF Abs(VF a) {
  return VF{_mm512_castsi512_ps(
      _mm512_and_si512(_mm512_castps_si512(a.v), _mm512_set1_epi32(0x7FFFFFFF)))};
}
inline VF Neg(VF a) {
  return VF{_mm512_castsi512_ps(
      _mm512_xor_si512(_mm512_castps_si512(a.v), _mm512_set1_epi32(INT32_MIN)))};
}
inline VF Sqrt(VF a) {
  return VF{_mm512_sqrt_ps(a.v)};
}
inline VF Reciprocal(VF a) {
  return VF{_mm512_div_ps(_mm512_set1_ps(1.0f), a.v)};
}
// Separate multiply and add, never fused: the bits must match the other backends.
inline VF MulAdd(VF a, VF b, VF c) {
  return Add(Mul(a, b), c);
}
inline VF NegMulAdd(VF a, VF b, VF c) {
  return Sub(c, Mul(a, b));
}

inline VI TruncateToInt(VF a) {
  return VI{_mm512_cvttps_epi32(a.v)};
}
inline VF ConvertToFloat(VI a) {
  return VF{_mm512_cvtepi32_ps(a.v)};
}
inline VI Add(VI a, VI b) {
  return VI{_mm512_add_epi32(a.v, b.v)};
}
inline VI Sub(VI a, VI b) {
  return VI{_mm512_sub_epi32(a.v, b.v)};
}
inline VI SignExtend16(VI a) {
  return VI{_mm512_srai_epi32(_mm512_slli_epi32(a.v, 16), 16)};
}
// One correctly rounded conversion, as the scalar uint32 -> float one.
inline VF ConvertToFloat(VU a) {
  return VF{_mm512_cvtepu32_ps(a.v)};
}
// Saturating like the ARM conversion: the instruction gives 0xFFFFFFFF for
// 2^32 and above; negative values and NaN are set to 0.
inline VU TruncateToUnsigned(VF a) {
  const __mmask16 positive = _mm512_cmp_ps_mask(a.v, _mm512_setzero_ps(), _CMP_GT_OQ);
  return VU{_mm512_maskz_mov_epi32(positive, _mm512_cvttps_epu32(a.v))};
}
// Sixteen unsigned 16-bit values, zero-extended.
inline VI LoadU16ToI32(Tag, const uint16_t* p) {
  return VI{_mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)))};
}
// trunc(a * 2^23) for a * 2^23 below 2^31; negative lanes and NaN give
// 0.
inline VU TruncateToUnsignedTimes2Pow23(VF a) {
  const __m512 scaled = _mm512_mul_ps(a.v, _mm512_set1_ps(8388608.0f));
  return VU{_mm512_cvttps_epi32(_mm512_max_ps(scaled, _mm512_setzero_ps()))};
}
inline VF BitCastToFloat(VU a) {
  return VF{_mm512_castsi512_ps(a.v)};
}
inline VF BitCastToFloat(VI a) {
  return VF{_mm512_castsi512_ps(a.v)};
}

inline M Lt(VF a, VF b) {
  return M{_mm512_cmp_ps_mask(a.v, b.v, _CMP_LT_OQ)};
}
inline M Gt(VF a, VF b) {
  return M{_mm512_cmp_ps_mask(a.v, b.v, _CMP_GT_OQ)};
}
inline M Le(VF a, VF b) {
  return M{_mm512_cmp_ps_mask(a.v, b.v, _CMP_LE_OQ)};
}
inline M Ge(VF a, VF b) {
  return M{_mm512_cmp_ps_mask(a.v, b.v, _CMP_GE_OQ)};
}
inline M Eq(VF a, VF b) {
  return M{_mm512_cmp_ps_mask(a.v, b.v, _CMP_EQ_OQ)};
}
inline M NeZero(VU a) {
  return M{_mm512_test_epi32_mask(a.v, a.v)};
}
inline M SignBitSet(VF a) {
  return M{_mm512_test_epi32_mask(_mm512_castps_si512(a.v), _mm512_set1_epi32(INT32_MIN))};
}
inline M And(M a, M b) {
  return M{static_cast<__mmask16>(a.v & b.v)};
}
inline M Or(M a, M b) {
  return M{static_cast<__mmask16>(a.v | b.v)};
}
inline M Not(M a) {
  return M{static_cast<__mmask16>(~a.v)};
}
inline VF IfThenElse(M m, VF a, VF b) {
  return VF{_mm512_mask_blend_ps(m.v, b.v, a.v)};
}
inline VF IfThenElseZero(M m, VF a) {
  return VF{_mm512_maskz_mov_ps(m.v, a.v)};
}
inline VU IfThenElseZero(M m, VU a) {
  return VU{_mm512_maskz_mov_epi32(m.v, a.v)};
}
inline VU Or(VU a, VU b) {
  return VU{_mm512_or_si512(a.v, b.v)};
}
inline bool AllFalse(M m) {
  return m.v == 0;
}

// True when every lane is zero (for bit sets such as flag words).
inline bool AllZero(VU a) {
  return _mm512_test_epi32_mask(a.v, a.v) == 0;
}

// Full-width lane shuffles with the four-lane backends' meaning:
// ConcatEven(hi, lo) = lo0 lo2 .. hi0 hi2 .., InterleaveLower(a, b) =
// a0 b0 a1 b1 .. over the lower halves.
inline VF ConcatEven(VF hi, VF lo) {
  const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
  return VF{_mm512_permutex2var_ps(lo.v, even, hi.v)};
}
inline VF ConcatOdd(VF hi, VF lo) {
  const __m512i odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
  return VF{_mm512_permutex2var_ps(lo.v, odd, hi.v)};
}
inline VF InterleaveLower(VF a, VF b) {
  const __m512i lower = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  return VF{_mm512_permutex2var_ps(a.v, lower, b.v)};
}
inline VF InterleaveUpper(VF a, VF b) {
  const __m512i upper =
      _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
  return VF{_mm512_permutex2var_ps(a.v, upper, b.v)};
}

// Callers keep every index inside the table (clamped before the look-up).
// Scalar loads beat the gather instruction on the processors measured.
inline VF GatherIndex(Tag, const float* table, VI idx) {
  alignas(64) int32_t i[16];
  _mm512_store_si512(i, idx.v);
  alignas(64) float v[16];
  for (int k = 0; k < 16; ++k) v[k] = table[i[k]];
  return VF{_mm512_load_ps(v)};
}
// One 64-bit load per lane, then a de-interleave.
inline void GatherPairs(Tag, const float* table, VI idx, VF* first, VF* second) {
  alignas(64) int32_t i[16];
  _mm512_store_si512(i, idx.v);
  const auto pairs = [table, &i](int k) {
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(table + i[k]));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(table + i[k + 1]));
    return _mm_castsi128_ps(_mm_unpacklo_epi64(a, b));
  };
  // Pairs 0-1, 4-5, 8-9, 12-13 in `lo` and 2-3, 6-7, 10-11, 14-15 in `hi`,
  // so that one even/odd shuffle per 128-bit block puts the lanes in order.
  __m512 lo = _mm512_castps128_ps512(pairs(0));
  lo = _mm512_insertf32x4(lo, pairs(4), 1);
  lo = _mm512_insertf32x4(lo, pairs(8), 2);
  lo = _mm512_insertf32x4(lo, pairs(12), 3);
  __m512 hi = _mm512_castps128_ps512(pairs(2));
  hi = _mm512_insertf32x4(hi, pairs(6), 1);
  hi = _mm512_insertf32x4(hi, pairs(10), 2);
  hi = _mm512_insertf32x4(hi, pairs(14), 3);
  first->v = _mm512_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0));
  second->v = _mm512_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1));
}

// GatherPairs from a table of 33 entries with indices 0..31: two-register
// permutes over the table and over the table shifted by one, no per-lane load.
inline void GatherPairs32(Tag, const float* table, VI idx, VF* first, VF* second) {
  first->v = _mm512_permutex2var_ps(_mm512_loadu_ps(table), idx.v, _mm512_loadu_ps(table + 16));
  second->v =
      _mm512_permutex2var_ps(_mm512_loadu_ps(table + 1), idx.v, _mm512_loadu_ps(table + 17));
}

// Twelve floats x0 y0 z0 x1 ... z3 into four lanes each of x, y and z.
inline void deinterleave3(const float* p, __m128& x, __m128& y, __m128& z) {
  const __m128 a = _mm_loadu_ps(p);
  const __m128 b = _mm_loadu_ps(p + 4);
  const __m128 c = _mm_loadu_ps(p + 8);
  const __m128 x01 = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 3, 0));
  const __m128 x23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(1, 1, 2, 2));
  x = _mm_shuffle_ps(x01, x23, _MM_SHUFFLE(2, 0, 1, 0));
  const __m128 y01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(0, 0, 1, 1));
  const __m128 y23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 2, 3, 3));
  y = _mm_shuffle_ps(y01, y23, _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 z01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 1, 2, 2));
  const __m128 z23 = _mm_shuffle_ps(c, c, _MM_SHUFFLE(3, 3, 0, 0));
  z = _mm_shuffle_ps(z01, z23, _MM_SHUFFLE(2, 0, 2, 0));
}
// Forty-eight floats x0 y0 z0 x1 ... z15 into x, y and z.
inline void LoadInterleaved3(Tag, const float* p, VF& x, VF& y, VF& z) {
  __m128 x0, y0, z0, x1, y1, z1, x2, y2, z2, x3, y3, z3;
  deinterleave3(p, x0, y0, z0);
  deinterleave3(p + 12, x1, y1, z1);
  deinterleave3(p + 24, x2, y2, z2);
  deinterleave3(p + 36, x3, y3, z3);
  const auto join = [](__m128 q0, __m128 q1, __m128 q2, __m128 q3) {
    __m512 v = _mm512_castps128_ps512(q0);
    v = _mm512_insertf32x4(v, q1, 1);
    v = _mm512_insertf32x4(v, q2, 2);
    return _mm512_insertf32x4(v, q3, 3);
  };
  x.v = join(x0, x1, x2, x3);
  y.v = join(y0, y1, y2, y3);
  z.v = join(z0, z1, z2, z3);
}
// Sixteen elements of a, b, c, d into sixty-four floats a0 b0 c0 d0 a1 ... d15.
inline void StoreInterleaved4(VF a, VF b, VF c, VF d, Tag, float* p) {
  alignas(64) float la[16], lb[16], lc[16], ld[16];
  _mm512_store_ps(la, a.v);
  _mm512_store_ps(lb, b.v);
  _mm512_store_ps(lc, c.v);
  _mm512_store_ps(ld, d.v);
  for (int q = 0; q < 4; ++q) {
    __m128 r0 = _mm_load_ps(la + 4 * q), r1 = _mm_load_ps(lb + 4 * q);
    __m128 r2 = _mm_load_ps(lc + 4 * q), r3 = _mm_load_ps(ld + 4 * q);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
    _mm_storeu_ps(p + 16 * q, r0);
    _mm_storeu_ps(p + 16 * q + 4, r1);
    _mm_storeu_ps(p + 16 * q + 8, r2);
    _mm_storeu_ps(p + 16 * q + 12, r3);
  }
}

// Lanes 1.. of lo followed by lane 0 of hi: a window one lane further along
// two consecutive vectors, for stages that carry a vector from one group to
// the next.
inline VF ConcatShiftOne(VF hi, VF lo) {
  return VF{_mm512_castsi512_ps(
      _mm512_alignr_epi32(_mm512_castps_si512(hi.v), _mm512_castps_si512(lo.v), 1))};
}

// Larger and smaller of lanes that hold 16-bit samples (0 to 65535), and
// the signed comparison of 32-bit lanes.
inline VI MaxSample(VI a, VI b) {
  return VI{_mm512_max_epi32(a.v, b.v)};
}
inline VI MinSample(VI a, VI b) {
  return VI{_mm512_min_epi32(a.v, b.v)};
}
inline M Gt(VI a, VI b) {
  return M{_mm512_cmpgt_epi32_mask(a.v, b.v)};
}

}  // namespace kelvora::simd::avx512
