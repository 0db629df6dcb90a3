#pragma once
// SSE2 backend (x86-64 baseline). Division and square root are exact here:
// x86 has no cheap refined estimates that would match the ARM ones anyway.
#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace kelvora::simd::sse2 {

struct VF {
  __m128 v;
};
struct VI {
  __m128i v;
};
struct VU {
  __m128i v;
};
struct M {
  __m128i v;
};

struct Tag {
  static constexpr const char* kName = "sse2";
  static constexpr std::size_t kLanes = 4;
  // Arithmetic can read an operand from memory: constants need no register.
  static constexpr bool kMemoryOperands = true;
};

inline VF Zero(Tag) {
  return VF{_mm_setzero_ps()};
}
inline VF Set(Tag, float x) {
  return VF{_mm_set1_ps(x)};
}
inline VI SetI(Tag, int32_t x) {
  return VI{_mm_set1_epi32(x)};
}
inline VU SetU(Tag, uint32_t x) {
  return VU{_mm_set1_epi32(static_cast<int32_t>(x))};
}
inline VF Load(Tag, const float* p) {
  return VF{_mm_load_ps(p)};
}
inline VF LoadU(Tag, const float* p) {
  return VF{_mm_loadu_ps(p)};
}
inline VU LoadU32(Tag, const uint32_t* p) {
  return VU{_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
}
inline void Store(VF a, Tag, float* p) {
  _mm_store_ps(p, a.v);
}
inline void StoreU(VF a, Tag, float* p) {
  _mm_storeu_ps(p, a.v);
}
inline void StoreU32(VU a, Tag, uint32_t* p) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v);
}

inline VF Add(VF a, VF b) {
  return VF{_mm_add_ps(a.v, b.v)};
}
inline VF Sub(VF a, VF b) {
  return VF{_mm_sub_ps(a.v, b.v)};
}
inline VF Mul(VF a, VF b) {
  return VF{_mm_mul_ps(a.v, b.v)};
}
inline VF Div(VF a, VF b) {
  return VF{_mm_div_ps(a.v, b.v)};
}
// Lane-wise equal to the scalar ternaries b < a ? b : a and a < b ? b : a,
// including which operand wins for NaN.
inline VF Min(VF a, VF b) {
  return VF{_mm_min_ps(b.v, a.v)};
}
inline VF Max(VF a, VF b) {
  return VF{_mm_max_ps(b.v, a.v)};
}
// Max for ordered lanes; a NaN lane gives a here (NaN on NEON).
inline VF MaxOrdered(VF a, VF b) {
  return Max(a, b);
}
inline VF Abs(VF a) {
  return VF{_mm_and_ps(a.v, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)))};
}
inline VF Neg(VF a) {
  return VF{_mm_xor_ps(a.v, _mm_castsi128_ps(_mm_set1_epi32(static_cast<int32_t>(0x80000000u))))};
}
inline VF Sqrt(VF a) {
  return VF{_mm_sqrt_ps(a.v)};
}
inline VF Reciprocal(VF a) {
  return VF{_mm_div_ps(_mm_set1_ps(1.0f), a.v)};
}
inline VF MulAdd(VF a, VF b, VF c) {
  return Add(Mul(a, b), c);
}
inline VF NegMulAdd(VF a, VF b, VF c) {
  return Sub(c, Mul(a, b));
}

inline VI TruncateToInt(VF a) {
  return VI{_mm_cvttps_epi32(a.v)};
}
inline VF ConvertToFloat(VI a) {
  return VF{_mm_cvtepi32_ps(a.v)};
}
inline VF ConvertToFloat(VU a) {
  // Split into 16-bit halves so values above INT32_MAX convert exactly as a
  // scalar uint32 -> float conversion would (one rounding).
  const __m128i lo = _mm_and_si128(a.v, _mm_set1_epi32(0xFFFF));
  const __m128i hi = _mm_srli_epi32(a.v, 16);
  const __m128 fhi = _mm_mul_ps(_mm_cvtepi32_ps(hi), _mm_set1_ps(65536.0f));
  return VF{_mm_add_ps(fhi, _mm_cvtepi32_ps(lo))};
}
// float -> uint32 truncating toward zero and saturating as the ARM conversion
// does: negative and NaN give 0, 2^32 and above give 0xFFFFFFFF. SSE2 only
// converts to int32, so values from 2^31 on are shifted down by 2^31 first
// and the top bit is put back afterwards.
inline VU TruncateToUnsigned(VF a) {
  const __m128 two31 = _mm_set1_ps(2147483648.0f);
  const __m128 big = _mm_cmpge_ps(a.v, two31);
  const __m128 shifted = _mm_sub_ps(a.v, _mm_and_ps(big, two31));
  __m128i r = _mm_cvttps_epi32(shifted);
  r = _mm_xor_si128(r, _mm_and_si128(_mm_castps_si128(big), _mm_set1_epi32(INT32_MIN)));
  const __m128 over = _mm_cmpge_ps(a.v, _mm_set1_ps(4294967296.0f));
  r = _mm_or_si128(r, _mm_castps_si128(over));
  // Not greater than 0 covers negative values and NaN.
  const __m128 positive = _mm_cmpgt_ps(a.v, _mm_setzero_ps());
  return VU{_mm_and_si128(r, _mm_castps_si128(positive))};
}
// trunc(a * 2^23) for a * 2^23 below 2^31; negative lanes and NaN give
// 0.
inline VU TruncateToUnsignedTimes2Pow23(VF a) {
  const __m128 scaled = _mm_mul_ps(a.v, _mm_set1_ps(8388608.0f));
  return VU{_mm_cvttps_epi32(_mm_max_ps(scaled, _mm_setzero_ps()))};
}
// Reinterprets the lanes' bits (no conversion).
inline VF BitCastToFloat(VU a) {
  return VF{_mm_castsi128_ps(a.v)};
}
inline VF BitCastToFloat(VI a) {
  return VF{_mm_castsi128_ps(a.v)};
}

inline M Lt(VF a, VF b) {
  return M{_mm_castps_si128(_mm_cmplt_ps(a.v, b.v))};
}
inline M Gt(VF a, VF b) {
  return M{_mm_castps_si128(_mm_cmpgt_ps(a.v, b.v))};
}
inline M Le(VF a, VF b) {
  return M{_mm_castps_si128(_mm_cmple_ps(a.v, b.v))};
}
inline M Ge(VF a, VF b) {
  return M{_mm_castps_si128(_mm_cmpge_ps(a.v, b.v))};
}
inline M Eq(VF a, VF b) {
  return M{_mm_castps_si128(_mm_cmpeq_ps(a.v, b.v))};
}
inline M NeZero(VU a) {
  const __m128i z = _mm_cmpeq_epi32(a.v, _mm_setzero_si128());
  return M{_mm_xor_si128(z, _mm_set1_epi32(-1))};
}
inline M And(M a, M b) {
  return M{_mm_and_si128(a.v, b.v)};
}
inline M Or(M a, M b) {
  return M{_mm_or_si128(a.v, b.v)};
}
inline M Not(M a) {
  return M{_mm_xor_si128(a.v, _mm_set1_epi32(-1))};
}
inline VF IfThenElse(M m, VF a, VF b) {
  const __m128 mf = _mm_castsi128_ps(m.v);
  return VF{_mm_or_ps(_mm_and_ps(mf, a.v), _mm_andnot_ps(mf, b.v))};
}
inline VF IfThenElseZero(M m, VF a) {
  return VF{_mm_and_ps(_mm_castsi128_ps(m.v), a.v)};
}
inline VU IfThenElseZero(M m, VU a) {
  return VU{_mm_and_si128(m.v, a.v)};
}
inline VU Or(VU a, VU b) {
  return VU{_mm_or_si128(a.v, b.v)};
}
inline bool AllFalse(M m) {
  return _mm_movemask_epi8(m.v) == 0;
}

// True when every lane is zero (for bit sets such as flag words).
inline bool AllZero(VU a) {
  return _mm_movemask_epi8(_mm_cmpeq_epi32(a.v, _mm_setzero_si128())) == 0xFFFF;
}

// Lane shuffles for interleaved data (complex pairs, xyz rays, xyzc points).
inline VF InterleaveLower(VF a, VF b) {
  return VF{_mm_unpacklo_ps(a.v, b.v)};
}
inline VF InterleaveUpper(VF a, VF b) {
  return VF{_mm_unpackhi_ps(a.v, b.v)};
}
inline VF ConcatEven(VF hi, VF lo) {
  return VF{_mm_shuffle_ps(lo.v, hi.v, _MM_SHUFFLE(2, 0, 2, 0))};
}
inline VF ConcatOdd(VF hi, VF lo) {
  return VF{_mm_shuffle_ps(lo.v, hi.v, _MM_SHUFFLE(3, 1, 3, 1))};
}
inline void LoadInterleaved3(Tag, const float* p, VF& x, VF& y, VF& z) {
  const __m128 a = _mm_loadu_ps(p);                                  // x0 y0 z0 x1
  const __m128 b = _mm_loadu_ps(p + 4);                              // y1 z1 x2 y2
  const __m128 c = _mm_loadu_ps(p + 8);                              // z2 x3 y3 z3
  const __m128 x01 = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 3, 0));  // x0 x1 x1 x1
  const __m128 x23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(1, 1, 2, 2));  // x2 x2 x3 x3
  x.v = _mm_shuffle_ps(x01, x23, _MM_SHUFFLE(2, 0, 1, 0));
  const __m128 y01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(0, 0, 1, 1));  // y0 y0 y1 y1
  const __m128 y23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 2, 3, 3));  // y2 y2 y3 y3
  y.v = _mm_shuffle_ps(y01, y23, _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 z01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 1, 2, 2));  // z0 z0 z1 z1
  const __m128 z23 = _mm_shuffle_ps(c, c, _MM_SHUFFLE(3, 3, 0, 0));  // z2 z2 z3 z3
  z.v = _mm_shuffle_ps(z01, z23, _MM_SHUFFLE(2, 0, 2, 0));
}
inline void StoreInterleaved4(VF a, VF b, VF c, VF d, Tag, float* p) {
  __m128 r0 = a.v, r1 = b.v, r2 = c.v, r3 = d.v;
  _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
  _mm_storeu_ps(p, r0);
  _mm_storeu_ps(p + 4, r1);
  _mm_storeu_ps(p + 8, r2);
  _mm_storeu_ps(p + 12, r3);
}

inline VI LoadU16ToI32(Tag, const uint16_t* p) {
  const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return VI{_mm_unpacklo_epi16(four, _mm_setzero_si128())};
}

inline M SignBitSet(VF a) {
  return M{_mm_srai_epi32(_mm_castps_si128(a.v), 31)};
}
inline VI Add(VI a, VI b) {
  return VI{_mm_add_epi32(a.v, b.v)};
}
inline VI Sub(VI a, VI b) {
  return VI{_mm_sub_epi32(a.v, b.v)};
}
inline VI SignExtend16(VI a) {
  return VI{_mm_srai_epi32(_mm_slli_epi32(a.v, 16), 16)};
}

// Partial groups (n below four): SSE2 has no masked loads, so the lanes go
// through a zero-filled copy.
inline M FirstN(Tag, std::size_t n) {
  return M{_mm_cmplt_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_set1_epi32(static_cast<int32_t>(n)))};
}
inline VF LoadN(Tag, const float* p, std::size_t n) {
  alignas(16) float lanes[4] = {0.f, 0.f, 0.f, 0.f};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VF{_mm_load_ps(lanes)};
}
inline VU LoadN32(Tag, const uint32_t* p, std::size_t n) {
  alignas(16) uint32_t lanes[4] = {0u, 0u, 0u, 0u};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VU{_mm_load_si128(reinterpret_cast<const __m128i*>(lanes))};
}
inline VI LoadNU16ToI32(Tag, const uint16_t* p, std::size_t n) {
  alignas(16) int32_t lanes[4] = {0, 0, 0, 0};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VI{_mm_load_si128(reinterpret_cast<const __m128i*>(lanes))};
}
inline void StoreN(VF a, Tag, float* p, std::size_t n) {
  alignas(16) float lanes[4];
  _mm_store_ps(lanes, a.v);
  for (std::size_t i = 0; i < n; ++i) p[i] = lanes[i];
}
inline void StoreN32(VU a, Tag, uint32_t* p, std::size_t n) {
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), a.v);
  for (std::size_t i = 0; i < n; ++i) p[i] = lanes[i];
}
inline VF GatherIndex(Tag, const float* table, VI idx) {
  const int i0 = _mm_cvtsi128_si32(idx.v);
  const int i1 = _mm_cvtsi128_si32(_mm_shuffle_epi32(idx.v, 1));
  const int i2 = _mm_cvtsi128_si32(_mm_shuffle_epi32(idx.v, 2));
  const int i3 = _mm_cvtsi128_si32(_mm_shuffle_epi32(idx.v, 3));
  return VF{_mm_setr_ps(table[i0], table[i1], table[i2], table[i3])};
}
// One 64-bit load per lane, then a de-interleave: cheaper than two gathers.
inline void GatherPairs(Tag, const float* table, VI idx, VF* first, VF* second) {
  const int i0 = _mm_cvtsi128_si32(idx.v);
  const int i1 = _mm_cvtsi128_si32(_mm_shuffle_epi32(idx.v, 1));
  const int i2 = _mm_cvtsi128_si32(_mm_shuffle_epi32(idx.v, 2));
  const int i3 = _mm_cvtsi128_si32(_mm_shuffle_epi32(idx.v, 3));
  __m128 p01 = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(table + i0));
  p01 = _mm_loadh_pi(p01, reinterpret_cast<const __m64*>(table + i1));
  __m128 p23 = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(table + i2));
  p23 = _mm_loadh_pi(p23, reinterpret_cast<const __m64*>(table + i3));
  first->v = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
  second->v = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
}

// GatherPairs from a table of 33 entries with indices 0..31.
inline void GatherPairs32(Tag d, const float* table, VI idx, VF* first, VF* second) {
  GatherPairs(d, table, idx, first, second);
}

// Lanes 1.. of lo followed by lane 0 of hi: a window one lane further along
// two consecutive vectors, for stages that carry a vector from one group to
// the next. SSE2 has no lane alignment across registers: two shuffles.
inline VF ConcatShiftOne(VF hi, VF lo) {
  const __m128 joint = _mm_shuffle_ps(lo.v, hi.v, _MM_SHUFFLE(0, 0, 3, 3));  // lo3 lo3 hi0 hi0
  return VF{_mm_shuffle_ps(lo.v, joint, _MM_SHUFFLE(2, 0, 2, 1))};
}

// Larger and smaller of lanes that hold 16-bit samples (0 to 65535): SSE2
// has no 32-bit max or min, but the unsigned saturating 16-bit difference
// gives both, and the zero upper halves stay zero. Then the signed
// comparison of 32-bit lanes.
inline VI MaxSample(VI a, VI b) {
  return VI{_mm_add_epi16(_mm_subs_epu16(a.v, b.v), b.v)};
}
inline VI MinSample(VI a, VI b) {
  return VI{_mm_sub_epi16(a.v, _mm_subs_epu16(a.v, b.v))};
}
inline M Gt(VI a, VI b) {
  return M{_mm_cmpgt_epi32(a.v, b.v)};
}

}  // namespace kelvora::simd::sse2
