#pragma once
// Eight-lane AVX2 backend on x86-64. Only the AVX2 target's translation units
// include it, and the library selects that target only after checking the
// processor at run time (simd/Targets.hpp).
//
// Every operation is the eight-lane twin of the SSE2 one, with the same IEEE
// results (exact division and square root, the same NaN and signed-zero rules
// for Min and Max), so a pixel gets the same bits on either backend.
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
  static constexpr std::size_t kLanes = 8;
  // Arithmetic can read an operand from memory: constants need no register.
  static constexpr bool kMemoryOperands = true;
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

// Partial groups (n below eight): masked loads and stores touch only the
// first n elements, the other lanes read as zero.
inline M FirstN(Tag, std::size_t n) {
  return M{_mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int32_t>(n)),
                              _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7))};
}
inline VF LoadN(Tag d, const float* p, std::size_t n) {
  return VF{_mm256_maskload_ps(p, FirstN(d, n).v)};
}
inline VU LoadN32(Tag d, const uint32_t* p, std::size_t n) {
  return VU{_mm256_maskload_epi32(reinterpret_cast<const int*>(p), FirstN(d, n).v)};
}
inline VI LoadNU16ToI32(Tag, const uint16_t* p, std::size_t n) {
  alignas(16) uint16_t lanes[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VI{_mm256_cvtepu16_epi32(_mm_load_si128(reinterpret_cast<const __m128i*>(lanes)))};
}
inline void StoreN(VF a, Tag d, float* p, std::size_t n) {
  _mm256_maskstore_ps(p, FirstN(d, n).v, a.v);
}
inline void StoreN32(VU a, Tag d, uint32_t* p, std::size_t n) {
  _mm256_maskstore_epi32(reinterpret_cast<int*>(p), FirstN(d, n).v, a.v);
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
// Operand order as in the SSE2 backend: the scalar b < a ? b : a, NaN included.
inline VF Min(VF a, VF b) {
  return VF{_mm256_min_ps(b.v, a.v)};
}
inline VF Max(VF a, VF b) {
  return VF{_mm256_max_ps(b.v, a.v)};
}
// Max for ordered lanes; a NaN lane gives a here (NaN on NEON).
inline VF MaxOrdered(VF a, VF b) {
  return Max(a, b);
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
inline VI Add(VI a, VI b) {
  return VI{_mm256_add_epi32(a.v, b.v)};
}
inline VI Sub(VI a, VI b) {
  return VI{_mm256_sub_epi32(a.v, b.v)};
}
inline VI SignExtend16(VI a) {
  return VI{_mm256_srai_epi32(_mm256_slli_epi32(a.v, 16), 16)};
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
// trunc(a * 2^23) for a * 2^23 below 2^31; negative lanes and NaN give
// 0.
inline VU TruncateToUnsignedTimes2Pow23(VF a) {
  const __m256 scaled = _mm256_mul_ps(a.v, _mm256_set1_ps(8388608.0f));
  return VU{_mm256_cvttps_epi32(_mm256_max_ps(scaled, _mm256_setzero_ps()))};
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

// True when every lane is zero (for bit sets such as flag words).
inline bool AllZero(VU a) {
  return _mm256_testz_si256(a.v, a.v) != 0;
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
inline __m256 joinHalves(__m128 lo, __m128 hi) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(lo), hi, 1);
}
// Twenty-four floats x0 y0 z0 x1 ... z7 into x, y and z.
inline void LoadInterleaved3(Tag, const float* p, VF& x, VF& y, VF& z) {
  __m128 x0, y0, z0, x1, y1, z1;
  deinterleave3(p, x0, y0, z0);
  deinterleave3(p + 12, x1, y1, z1);
  x.v = joinHalves(x0, x1);
  y.v = joinHalves(y0, y1);
  z.v = joinHalves(z0, z1);
}
// Eight elements of a, b, c, d into thirty-two floats a0 b0 c0 d0 a1 ... d7.
inline void StoreInterleaved4(VF a, VF b, VF c, VF d, Tag, float* p) {
  for (int half = 0; half < 2; ++half) {
    __m128 r0 = half == 0 ? _mm256_castps256_ps128(a.v) : _mm256_extractf128_ps(a.v, 1);
    __m128 r1 = half == 0 ? _mm256_castps256_ps128(b.v) : _mm256_extractf128_ps(b.v, 1);
    __m128 r2 = half == 0 ? _mm256_castps256_ps128(c.v) : _mm256_extractf128_ps(c.v, 1);
    __m128 r3 = half == 0 ? _mm256_castps256_ps128(d.v) : _mm256_extractf128_ps(d.v, 1);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
    float* out = p + 16 * half;
    _mm_storeu_ps(out, r0);
    _mm_storeu_ps(out + 4, r1);
    _mm_storeu_ps(out + 8, r2);
    _mm_storeu_ps(out + 12, r3);
  }
}

// GatherPairs from a table of 33 entries with indices 0..31.
inline void GatherPairs32(Tag d, const float* table, VI idx, VF* first, VF* second) {
  GatherPairs(d, table, idx, first, second);
}

// Lanes 1.. of lo followed by lane 0 of hi: a window one lane further along
// two consecutive vectors, for stages that carry a vector from one group to
// the next. The byte alignment works within 128-bit halves, so the halves
// that meet at the seam are paired first.
inline VF ConcatShiftOne(VF hi, VF lo) {
  const __m256i seam = _mm256_castps_si256(_mm256_permute2f128_ps(lo.v, hi.v, 0x21));
  return VF{_mm256_castsi256_ps(_mm256_alignr_epi8(seam, _mm256_castps_si256(lo.v), 4))};
}

// Larger and smaller of lanes that hold 16-bit samples (0 to 65535), and
// the signed comparison of 32-bit lanes.
inline VI MaxSample(VI a, VI b) {
  return VI{_mm256_max_epi32(a.v, b.v)};
}
inline VI MinSample(VI a, VI b) {
  return VI{_mm256_min_epi32(a.v, b.v)};
}
inline M Gt(VI a, VI b) {
  return M{_mm256_cmpgt_epi32(a.v, b.v)};
}

}  // namespace kelvora::simd::avx2
