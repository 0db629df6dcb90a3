#pragma once
// NEON backend (armv7-a, 32-bit). ARMv7 NEON has no vector division or square
// root; both run lane by lane on the VFP, which rounds correctly, so they give
// the bits of the other backends. The estimate instructions are named below for
// kernels that can use an approximation. NEON arithmetic flushes subnormals to
// zero: only for finite normal values are the results those of the scalar path.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kelvora::simd::neon {

struct VF {
  float32x4_t v;
};
struct VI {
  int32x4_t v;
};
struct VU {
  uint32x4_t v;
};
struct M {
  uint32x4_t v;
};

struct Tag {
  static constexpr const char* kName = "neon";
  static constexpr std::size_t kLanes = 4;
  // Arithmetic takes its operands from registers only: a kernel that needs
  // many constants holds each in one of the 16 quad registers.
  static constexpr bool kMemoryOperands = false;
};

namespace detail {
// GCC without unsafe-math writes vcgtq_f32 and its siblings as generic vector
// comparisons and, because the NEON instruction treats denormals as zero,
// lowers each one to four scalar VFP compares with moves through core
// registers. Every NEON operation of this backend treats denormals as zero
// anyway, so GCC is given the instruction itself; Clang emits it for the
// intrinsics already. vclt and vcle are vcgt and vcge with swapped operands.
#if defined(__GNUC__) && !defined(__clang__)
inline uint32x4_t CompareGt(float32x4_t a, float32x4_t b) {
  uint32x4_t r;
  __asm__("vcgt.f32 %q0, %q1, %q2" : "=w"(r) : "w"(a), "w"(b));
  return r;
}
inline uint32x4_t CompareGe(float32x4_t a, float32x4_t b) {
  uint32x4_t r;
  __asm__("vcge.f32 %q0, %q1, %q2" : "=w"(r) : "w"(a), "w"(b));
  return r;
}
#else
inline uint32x4_t CompareGt(float32x4_t a, float32x4_t b) {
  return vcgtq_f32(a, b);
}
inline uint32x4_t CompareGe(float32x4_t a, float32x4_t b) {
  return vcgeq_f32(a, b);
}
#endif
}  // namespace detail

inline VF Zero(Tag) {
  return VF{vdupq_n_f32(0.f)};
}
inline VF Set(Tag, float x) {
  return VF{vdupq_n_f32(x)};
}
inline VI SetI(Tag, int32_t x) {
  return VI{vdupq_n_s32(x)};
}
inline VU SetU(Tag, uint32_t x) {
  return VU{vdupq_n_u32(x)};
}
inline VF Load(Tag, const float* p) {
  return VF{vld1q_f32(p)};
}
inline VF LoadU(Tag, const float* p) {
  return VF{vld1q_f32(p)};
}
inline VU LoadU32(Tag, const uint32_t* p) {
  return VU{vld1q_u32(p)};
}
inline void Store(VF a, Tag, float* p) {
  vst1q_f32(p, a.v);
}
inline void StoreU(VF a, Tag, float* p) {
  vst1q_f32(p, a.v);
}
inline void StoreU32(VU a, Tag, uint32_t* p) {
  vst1q_u32(p, a.v);
}

inline VF Add(VF a, VF b) {
  return VF{vaddq_f32(a.v, b.v)};
}
inline VF Sub(VF a, VF b) {
  return VF{vsubq_f32(a.v, b.v)};
}
inline VF Mul(VF a, VF b) {
  return VF{vmulq_f32(a.v, b.v)};
}
inline VF Abs(VF a) {
  return VF{vabsq_f32(a.v)};
}
inline VF Neg(VF a) {
  return VF{vnegq_f32(a.v)};
}
// Same lane choice as the scalar ternaries b < a ? b : a and a < b ? b : a.
inline VF Min(VF a, VF b) {
  return VF{vbslq_f32(detail::CompareGt(a.v, b.v), b.v, a.v)};
}
inline VF Max(VF a, VF b) {
  return VF{vbslq_f32(detail::CompareGt(b.v, a.v), b.v, a.v)};
}
// Max for ordered lanes in one instruction; a NaN lane gives NaN here, where
// the other targets give a.
inline VF MaxOrdered(VF a, VF b) {
  return VF{vmaxq_f32(a.v, b.v)};
}

inline VF ReciprocalEstimate(VF a) {
  return VF{vrecpeq_f32(a.v)};
}
// 2 - a * b: one Newton-Raphson factor for a reciprocal.
inline VF ReciprocalStep(VF a, VF b) {
  return VF{vrecpsq_f32(a.v, b.v)};
}
inline VF RsqrtEstimate(VF a) {
  return VF{vrsqrteq_f32(a.v)};
}
// (3 - a * b) / 2: one Newton-Raphson factor for a reciprocal square root.
inline VF RsqrtStep(VF a, VF b) {
  return VF{vrsqrtsq_f32(a.v, b.v)};
}

// One VFP instruction per lane on the S registers that alias the vector:
// no trip through memory. The square root is written as the instruction so
// that no errno branch or library call appears for negative lanes.
inline float SqrtLane(float x) {
  float r;
  __asm__("vsqrt.f32 %0, %1" : "=t"(r) : "t"(x));
  return r;
}
inline VF Div(VF a, VF b) {
  float32x4_t r = a.v;
  r = vsetq_lane_f32(vgetq_lane_f32(a.v, 0) / vgetq_lane_f32(b.v, 0), r, 0);
  r = vsetq_lane_f32(vgetq_lane_f32(a.v, 1) / vgetq_lane_f32(b.v, 1), r, 1);
  r = vsetq_lane_f32(vgetq_lane_f32(a.v, 2) / vgetq_lane_f32(b.v, 2), r, 2);
  r = vsetq_lane_f32(vgetq_lane_f32(a.v, 3) / vgetq_lane_f32(b.v, 3), r, 3);
  return VF{r};
}
inline VF Reciprocal(VF a) {
  return Div(VF{vdupq_n_f32(1.0f)}, a);
}
inline VF Sqrt(VF a) {
  float32x4_t r = a.v;
  r = vsetq_lane_f32(SqrtLane(vgetq_lane_f32(a.v, 0)), r, 0);
  r = vsetq_lane_f32(SqrtLane(vgetq_lane_f32(a.v, 1)), r, 1);
  r = vsetq_lane_f32(SqrtLane(vgetq_lane_f32(a.v, 2)), r, 2);
  r = vsetq_lane_f32(SqrtLane(vgetq_lane_f32(a.v, 3)), r, 3);
  return VF{r};
}
inline VF MulAdd(VF a, VF b, VF c) {
  return Add(Mul(a, b), c);
}
inline VF NegMulAdd(VF a, VF b, VF c) {
  return Sub(c, Mul(a, b));
}

inline VI TruncateToInt(VF a) {
  return VI{vcvtq_s32_f32(a.v)};
}
inline VF ConvertToFloat(VI a) {
  return VF{vcvtq_f32_s32(a.v)};
}
inline VF ConvertToFloat(VU a) {
  return VF{vcvtq_f32_u32(a.v)};
}
// Truncates toward zero and saturates: negative and NaN give 0, 2^32 and
// above give 0xFFFFFFFF (the instruction's own behaviour).
inline VU TruncateToUnsigned(VF a) {
  return VU{vcvtq_u32_f32(a.v)};
}
// trunc(a * 2^23) for a * 2^23 below 2^31; negative lanes and NaN give
// 0. The fixed-point form of the conversion scales exactly, in one step.
inline VU TruncateToUnsignedTimes2Pow23(VF a) {
  return VU{vcvtq_n_u32_f32(a.v, 23)};
}
// Reinterprets the lanes' bits (no conversion).
inline VF BitCastToFloat(VU a) {
  return VF{vreinterpretq_f32_u32(a.v)};
}
inline VF BitCastToFloat(VI a) {
  return VF{vreinterpretq_f32_s32(a.v)};
}

inline M Lt(VF a, VF b) {
  return M{detail::CompareGt(b.v, a.v)};
}
inline M Gt(VF a, VF b) {
  return M{detail::CompareGt(a.v, b.v)};
}
inline M Le(VF a, VF b) {
  return M{detail::CompareGe(b.v, a.v)};
}
inline M Ge(VF a, VF b) {
  return M{detail::CompareGe(a.v, b.v)};
}
inline M Eq(VF a, VF b) {
  return M{vceqq_f32(a.v, b.v)};
}
inline M NeZero(VU a) {
  return M{vmvnq_u32(vceqq_u32(a.v, vdupq_n_u32(0)))};
}
inline M And(M a, M b) {
  return M{vandq_u32(a.v, b.v)};
}
inline M Or(M a, M b) {
  return M{vorrq_u32(a.v, b.v)};
}
inline M Not(M a) {
  return M{vmvnq_u32(a.v)};
}
inline VF IfThenElse(M m, VF a, VF b) {
  return VF{vbslq_f32(m.v, a.v, b.v)};
}
inline VF IfThenElseZero(M m, VF a) {
  return VF{vreinterpretq_f32_u32(vandq_u32(m.v, vreinterpretq_u32_f32(a.v)))};
}
inline VU IfThenElseZero(M m, VU a) {
  return VU{vandq_u32(m.v, a.v)};
}
inline VU Or(VU a, VU b) {
  return VU{vorrq_u32(a.v, b.v)};
}
inline bool AllFalse(M m) {
  const uint32x2_t r = vorr_u32(vget_low_u32(m.v), vget_high_u32(m.v));
  return (vget_lane_u32(r, 0) | vget_lane_u32(r, 1)) == 0u;
}

// True when every lane is zero (for bit sets such as flag words).
inline bool AllZero(VU a) {
  const uint32x2_t r = vorr_u32(vget_low_u32(a.v), vget_high_u32(a.v));
  return (vget_lane_u32(r, 0) | vget_lane_u32(r, 1)) == 0u;
}

// Lane shuffles for interleaved data (complex pairs, xyz rays, xyzc points).
inline VF InterleaveLower(VF a, VF b) {
  return VF{vzipq_f32(a.v, b.v).val[0]};
}
inline VF InterleaveUpper(VF a, VF b) {
  return VF{vzipq_f32(a.v, b.v).val[1]};
}
inline VF ConcatEven(VF hi, VF lo) {
  return VF{vuzpq_f32(lo.v, hi.v).val[0]};
}
inline VF ConcatOdd(VF hi, VF lo) {
  return VF{vuzpq_f32(lo.v, hi.v).val[1]};
}
inline void LoadInterleaved3(Tag, const float* p, VF& x, VF& y, VF& z) {
  const float32x4x3_t v = vld3q_f32(p);
  x.v = v.val[0];
  y.v = v.val[1];
  z.v = v.val[2];
}
inline void StoreInterleaved4(VF a, VF b, VF c, VF d, Tag, float* p) {
  float32x4x4_t v;
  v.val[0] = a.v;
  v.val[1] = b.v;
  v.val[2] = c.v;
  v.val[3] = d.v;
  vst4q_f32(p, v);
}

// The load is written as the instruction: Clang merges vld1_u16 and the
// widening into one extending load that it then assembles, for a pointer not
// known to be 8-byte aligned, from two core-register loads through the stack.
inline VI LoadU16ToI32(Tag, const uint16_t* p) {
  uint16x4_t samples;
  __asm__("vld1.16 {%P0}, [%1]"
          : "=w"(samples)
          : "r"(p), "m"(*reinterpret_cast<const uint16_t(*)[4]>(p)));
  return VI{vreinterpretq_s32_u32(vmovl_u16(samples))};
}

inline M SignBitSet(VF a) {
  return M{vreinterpretq_u32_s32(vshrq_n_s32(vreinterpretq_s32_f32(a.v), 31))};
}
inline VI Add(VI a, VI b) {
  return VI{vaddq_s32(a.v, b.v)};
}
inline VI Sub(VI a, VI b) {
  return VI{vsubq_s32(a.v, b.v)};
}
inline VI SignExtend16(VI a) {
  return VI{vshrq_n_s32(vshlq_n_s32(a.v, 16), 16)};
}

// Partial groups (n below four): the lanes go through a zero-filled copy.
inline M FirstN(Tag, std::size_t n) {
  const int32_t index[4] = {0, 1, 2, 3};
  return M{vcltq_s32(vld1q_s32(index), vdupq_n_s32(static_cast<int32_t>(n)))};
}
inline VF LoadN(Tag, const float* p, std::size_t n) {
  float lanes[4] = {0.f, 0.f, 0.f, 0.f};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VF{vld1q_f32(lanes)};
}
inline VU LoadN32(Tag, const uint32_t* p, std::size_t n) {
  uint32_t lanes[4] = {0u, 0u, 0u, 0u};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VU{vld1q_u32(lanes)};
}
inline VI LoadNU16ToI32(Tag, const uint16_t* p, std::size_t n) {
  int32_t lanes[4] = {0, 0, 0, 0};
  for (std::size_t i = 0; i < n; ++i) lanes[i] = p[i];
  return VI{vld1q_s32(lanes)};
}
inline void StoreN(VF a, Tag, float* p, std::size_t n) {
  float lanes[4];
  vst1q_f32(lanes, a.v);
  for (std::size_t i = 0; i < n; ++i) p[i] = lanes[i];
}
inline void StoreN32(VU a, Tag, uint32_t* p, std::size_t n) {
  uint32_t lanes[4];
  vst1q_u32(lanes, a.v);
  for (std::size_t i = 0; i < n; ++i) p[i] = lanes[i];
}

// The entries go through core registers: a core load takes the index
// scaled as its offset, where a vector lane load needs the address added
// first; two moves then put the four words in the vector.
inline VF GatherIndex(Tag, const float* table, VI idx) {
  const auto word = [table](int32_t i) {
    uint32_t w;
    std::memcpy(&w, table + i, sizeof w);
    return w;
  };
  const uint32_t w0 = word(vgetq_lane_s32(idx.v, 0));
  const uint32_t w1 = word(vgetq_lane_s32(idx.v, 1));
  const uint32_t w2 = word(vgetq_lane_s32(idx.v, 2));
  const uint32_t w3 = word(vgetq_lane_s32(idx.v, 3));
  uint32x2_t lo;
  uint32x2_t hi;
  __asm__("vmov %P0, %1, %2" : "=w"(lo) : "r"(w0), "r"(w1));
  __asm__("vmov %P0, %1, %2" : "=w"(hi) : "r"(w2), "r"(w3));
  return VF{vreinterpretq_f32_u32(vcombine_u32(lo, hi))};
}
// The four addresses are formed in the vector unit, one shift and one add
// for all lanes; the empty statement keeps the compiler from moving the sums
// back to the core, one addition per lane.
inline void GatherPairs(Tag, const float* table, VI idx, VF* first, VF* second) {
  static_assert(sizeof(uintptr_t) == sizeof(uint32_t), "addresses formed in 32-bit lanes");
  uint32x4_t at = vaddq_u32(vdupq_n_u32(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(table))),
                            vshlq_n_u32(vreinterpretq_u32_s32(idx.v), 2));
  __asm__("" : "+w"(at));
  const auto entry = [](uint32_t address) {
    return vld1_f32(reinterpret_cast<const float*>(static_cast<uintptr_t>(address)));
  };
  const float32x4_t p01 = vcombine_f32(entry(vgetq_lane_u32(at, 0)), entry(vgetq_lane_u32(at, 1)));
  const float32x4_t p23 = vcombine_f32(entry(vgetq_lane_u32(at, 2)), entry(vgetq_lane_u32(at, 3)));
  const float32x4x2_t split = vuzpq_f32(p01, p23);
  first->v = split.val[0];
  second->v = split.val[1];
}

// GatherPairs from a table of 33 entries with indices 0..31. Its caller (the
// arctangent) has no vector register to spare for the addresses, so they are
// formed in the core.
inline void GatherPairs32(Tag, const float* table, VI idx, VF* first, VF* second) {
  const float32x4_t p01 = vcombine_f32(vld1_f32(table + vgetq_lane_s32(idx.v, 0)),
                                       vld1_f32(table + vgetq_lane_s32(idx.v, 1)));
  const float32x4_t p23 = vcombine_f32(vld1_f32(table + vgetq_lane_s32(idx.v, 2)),
                                       vld1_f32(table + vgetq_lane_s32(idx.v, 3)));
  const float32x4x2_t split = vuzpq_f32(p01, p23);
  first->v = split.val[0];
  second->v = split.val[1];
}

// Min for ordered lanes in one instruction where the target has one (the
// twin of MaxOrdered); a NaN lane may give either operand.
inline VF MinOrdered(VF a, VF b) {
  return VF{vminq_f32(a.v, b.v)};
}

// The low 16 bits of each lane, read as signed, as float: the fixed-point
// conversion of the lane shifted up by 16 is exact and scales back down in
// the same instruction.
inline VF ConvertSignExtended16ToFloat(VI a) {
  return VF{vcvtq_n_f32_s32(vshlq_n_s32(a.v, 16), 16)};
}

// Larger and smaller of lanes that hold 16-bit samples (0 to 65535), and
// the signed comparison of 32-bit lanes.
inline VI MaxSample(VI a, VI b) {
  return VI{vmaxq_s32(a.v, b.v)};
}
inline VI MinSample(VI a, VI b) {
  return VI{vminq_s32(a.v, b.v)};
}
inline M Gt(VI a, VI b) {
  return M{vcgtq_s32(a.v, b.v)};
}

// Lanes 1.. of lo followed by lane 0 of hi: a window one lane further along
// two consecutive vectors, for stages that carry a vector from one group to
// the next.
inline VF ConcatShiftOne(VF hi, VF lo) {
  return VF{vextq_f32(lo.v, hi.v, 1)};
}
// a0 b0 a1 b1 ... from the lanes of a and b.
inline void StoreInterleaved2(VF a, VF b, Tag, float* p) {
  float32x4x2_t v;
  v.val[0] = a.v;
  v.val[1] = b.v;
  vst2q_f32(p, v);
}

// |a - b|: the difference rounded once, then its sign cleared, in one
// instruction.
inline VF AbsDiff(VF a, VF b) {
  return VF{vabdq_f32(a.v, b.v)};
}

}  // namespace kelvora::simd::neon
