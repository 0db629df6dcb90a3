#pragma once
// Portable 4-lane backend written in plain C++: the scalar path. It is always
// built (also on ARM) so that every kernel can be checked against it, and the
// build option KELVORA_FORCE_SCALAR makes it the only one.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kelvora::simd::scalar {

struct VF {
  float v[4];
};
struct VI {
  int32_t v[4];
};
struct VU {
  uint32_t v[4];
};
struct M {
  uint32_t v[4];
};  // all-ones or all-zero per lane

struct Tag {
  static constexpr const char* kName = "scalar";
  static constexpr std::size_t kLanes = 4;
  static constexpr bool kMemoryOperands = true;
};

#define KELVORA_SCALAR_MAP(T, expr)            \
  T r;                                         \
  for (int i = 0; i < 4; ++i) r.v[i] = (expr); \
  return r

inline VF Zero(Tag) {
  return VF{{0.f, 0.f, 0.f, 0.f}};
}
inline VF Set(Tag, float x) {
  return VF{{x, x, x, x}};
}
inline VI SetI(Tag, int32_t x) {
  return VI{{x, x, x, x}};
}
inline VU SetU(Tag, uint32_t x) {
  return VU{{x, x, x, x}};
}
inline VF Load(Tag, const float* p) {
  VF r;
  std::memcpy(r.v, p, sizeof r.v);
  return r;
}
inline VF LoadU(Tag d, const float* p) {
  return Load(d, p);
}
inline VU LoadU32(Tag, const uint32_t* p) {
  VU r;
  std::memcpy(r.v, p, sizeof r.v);
  return r;
}
inline void Store(VF a, Tag, float* p) {
  std::memcpy(p, a.v, sizeof a.v);
}
inline void StoreU(VF a, Tag d, float* p) {
  Store(a, d, p);
}
inline void StoreU32(VU a, Tag, uint32_t* p) {
  std::memcpy(p, a.v, sizeof a.v);
}

inline VF Add(VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, a.v[i] + b.v[i]);
}
inline VF Sub(VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, a.v[i] - b.v[i]);
}
inline VF Mul(VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, a.v[i] * b.v[i]);
}
inline VF Div(VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, a.v[i] / b.v[i]);
}
inline VF Min(VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, b.v[i] < a.v[i] ? b.v[i] : a.v[i]);
}
inline VF Max(VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, a.v[i] < b.v[i] ? b.v[i] : a.v[i]);
}
// Max for ordered lanes; a NaN lane gives a here (NaN on NEON).
inline VF MaxOrdered(VF a, VF b) {
  return Max(a, b);
}
inline VF Abs(VF a) {
  KELVORA_SCALAR_MAP(VF, std::fabs(a.v[i]));
}
inline VF Neg(VF a) {
  KELVORA_SCALAR_MAP(VF, -a.v[i]);
}
inline VF Sqrt(VF a) {
  KELVORA_SCALAR_MAP(VF, std::sqrt(a.v[i]));
}
// Exact reciprocal: this backend stands for the x86 behaviour.
inline VF Reciprocal(VF a) {
  KELVORA_SCALAR_MAP(VF, 1.0f / a.v[i]);
}
// a * b + c and c - a * b, rounded twice (never fused).
inline VF MulAdd(VF a, VF b, VF c) {
  return Add(Mul(a, b), c);
}
inline VF NegMulAdd(VF a, VF b, VF c) {
  return Sub(c, Mul(a, b));
}

// NaN and values outside the int32 range give INT32_MIN, as the x86
// conversion does (a plain cast would be undefined there).
inline int32_t truncateLane(float x) {
  return (x > -2147483904.0f && x < 2147483648.0f) ? static_cast<int32_t>(x) : INT32_MIN;
}
inline VI TruncateToInt(VF a) {
  KELVORA_SCALAR_MAP(VI, truncateLane(a.v[i]));
}
inline VF ConvertToFloat(VI a) {
  KELVORA_SCALAR_MAP(VF, static_cast<float>(a.v[i]));
}
inline VF ConvertToFloat(VU a) {
  KELVORA_SCALAR_MAP(VF, static_cast<float>(a.v[i]));
}
// float -> uint32 truncating toward zero and saturating as the ARM conversion
// does: negative and NaN give 0, 2^32 and above give 0xFFFFFFFF.
inline uint32_t TruncateToUnsignedLane(float x) {
  if (!(x > 0.0f)) return 0u;
  if (x >= 4294967296.0f) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(x);
}
inline VU TruncateToUnsigned(VF a) {
  KELVORA_SCALAR_MAP(VU, TruncateToUnsignedLane(a.v[i]));
}
// trunc(a * 2^23) for a * 2^23 below 2^31; negative lanes and NaN give
// 0.
inline VU TruncateToUnsignedTimes2Pow23(VF a) {
  const float scale = 8388608.0f;
  KELVORA_SCALAR_MAP(
      VU, 0.0f < a.v[i] * scale ? static_cast<uint32_t>(truncateLane(a.v[i] * scale)) : 0u);
}
// Reinterprets the lanes' bits (no conversion).
inline VF BitCastToFloat(VU a) {
  VF r;
  std::memcpy(r.v, a.v, sizeof r.v);
  return r;
}
inline VF BitCastToFloat(VI a) {
  VF r;
  std::memcpy(r.v, a.v, sizeof r.v);
  return r;
}

inline M Lt(VF a, VF b) {
  KELVORA_SCALAR_MAP(M, a.v[i] < b.v[i] ? ~0u : 0u);
}
inline M Gt(VF a, VF b) {
  KELVORA_SCALAR_MAP(M, a.v[i] > b.v[i] ? ~0u : 0u);
}
inline M Le(VF a, VF b) {
  KELVORA_SCALAR_MAP(M, a.v[i] <= b.v[i] ? ~0u : 0u);
}
inline M Ge(VF a, VF b) {
  KELVORA_SCALAR_MAP(M, a.v[i] >= b.v[i] ? ~0u : 0u);
}
inline M Eq(VF a, VF b) {
  KELVORA_SCALAR_MAP(M, a.v[i] == b.v[i] ? ~0u : 0u);
}
inline M NeZero(VU a) {
  KELVORA_SCALAR_MAP(M, a.v[i] != 0u ? ~0u : 0u);
}
inline M And(M a, M b) {
  KELVORA_SCALAR_MAP(M, a.v[i] & b.v[i]);
}
inline M Or(M a, M b) {
  KELVORA_SCALAR_MAP(M, a.v[i] | b.v[i]);
}
inline M Not(M a) {
  KELVORA_SCALAR_MAP(M, ~a.v[i]);
}
inline VF IfThenElse(M m, VF a, VF b) {
  KELVORA_SCALAR_MAP(VF, m.v[i] ? a.v[i] : b.v[i]);
}
inline VF IfThenElseZero(M m, VF a) {
  KELVORA_SCALAR_MAP(VF, m.v[i] ? a.v[i] : 0.f);
}
inline VU IfThenElseZero(M m, VU a) {
  KELVORA_SCALAR_MAP(VU, m.v[i] ? a.v[i] : 0u);
}
inline VU Or(VU a, VU b) {
  KELVORA_SCALAR_MAP(VU, a.v[i] | b.v[i]);
}
inline bool AllFalse(M m) {
  return (m.v[0] | m.v[1] | m.v[2] | m.v[3]) == 0u;
}

// True when every lane is zero (for bit sets such as flag words).
inline bool AllZero(VU a) {
  return (a.v[0] | a.v[1] | a.v[2] | a.v[3]) == 0u;
}

// Lane shuffles for interleaved data (complex pairs, xyz rays, xyzc points).
// [a0 b0 a1 b1] and [a2 b2 a3 b3].
inline VF InterleaveLower(VF a, VF b) {
  return VF{{a.v[0], b.v[0], a.v[1], b.v[1]}};
}
inline VF InterleaveUpper(VF a, VF b) {
  return VF{{a.v[2], b.v[2], a.v[3], b.v[3]}};
}
// Even or odd lanes of lo, then of hi: [lo0 lo2 hi0 hi2] and [lo1 lo3 hi1 hi3].
inline VF ConcatEven(VF hi, VF lo) {
  return VF{{lo.v[0], lo.v[2], hi.v[0], hi.v[2]}};
}
inline VF ConcatOdd(VF hi, VF lo) {
  return VF{{lo.v[1], lo.v[3], hi.v[1], hi.v[3]}};
}
// Twelve floats x0 y0 z0 x1 ... z3 into x, y and z of four elements.
inline void LoadInterleaved3(Tag, const float* p, VF& x, VF& y, VF& z) {
  for (int i = 0; i < 4; ++i) {
    x.v[i] = p[3 * i];
    y.v[i] = p[3 * i + 1];
    z.v[i] = p[3 * i + 2];
  }
}
// Four elements of a, b, c, d into sixteen floats a0 b0 c0 d0 a1 ... d3.
inline void StoreInterleaved4(VF a, VF b, VF c, VF d, Tag, float* p) {
  for (int i = 0; i < 4; ++i) {
    p[4 * i] = a.v[i];
    p[4 * i + 1] = b.v[i];
    p[4 * i + 2] = c.v[i];
    p[4 * i + 3] = d.v[i];
  }
}

// Four consecutive 16-bit samples, zero-extended.
inline VI LoadU16ToI32(Tag, const uint16_t* p) {
  KELVORA_SCALAR_MAP(VI, static_cast<int32_t>(p[i]));
}

// All-ones where the sign bit is set (also for -0 and negative NaN).
inline M SignBitSet(VF a) {
  M r;
  for (int i = 0; i < 4; ++i) {
    uint32_t bits;
    std::memcpy(&bits, &a.v[i], sizeof bits);
    r.v[i] = (bits & 0x80000000u) != 0u ? ~0u : 0u;
  }
  return r;
}
inline VI Add(VI a, VI b) {
  KELVORA_SCALAR_MAP(VI, static_cast<int32_t>(static_cast<uint32_t>(a.v[i]) + b.v[i]));
}
inline VI Sub(VI a, VI b) {
  KELVORA_SCALAR_MAP(VI, static_cast<int32_t>(static_cast<uint32_t>(a.v[i]) - b.v[i]));
}
// The low 16 bits of each lane read as int16: 16-bit wrap-around arithmetic.
inline VI SignExtend16(VI a) {
  KELVORA_SCALAR_MAP(VI, static_cast<int16_t>(static_cast<uint16_t>(a.v[i])));
}

// Partial groups: the first n lanes (n below the lane count) from or to
// memory; the other lanes read as zero and are never written.
// The comparison in int: GCC 12's ARM vectoriser breaks on a 64-bit one here.
inline M FirstN(Tag, std::size_t n) {
  KELVORA_SCALAR_MAP(M, i < static_cast<int>(n) ? ~0u : 0u);
}
inline VF LoadN(Tag, const float* p, std::size_t n) {
  VF r{{0.f, 0.f, 0.f, 0.f}};
  for (std::size_t i = 0; i < n; ++i) r.v[i] = p[i];
  return r;
}
inline VU LoadN32(Tag, const uint32_t* p, std::size_t n) {
  VU r{{0u, 0u, 0u, 0u}};
  for (std::size_t i = 0; i < n; ++i) r.v[i] = p[i];
  return r;
}
inline VI LoadNU16ToI32(Tag, const uint16_t* p, std::size_t n) {
  VI r{{0, 0, 0, 0}};
  for (std::size_t i = 0; i < n; ++i) r.v[i] = p[i];
  return r;
}
inline void StoreN(VF a, Tag, float* p, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) p[i] = a.v[i];
}
inline void StoreN32(VU a, Tag, uint32_t* p, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) p[i] = a.v[i];
}
// table[idx] per lane; every index must lie inside the table.
inline VF GatherIndex(Tag, const float* table, VI idx) {
  KELVORA_SCALAR_MAP(VF, table[idx.v[i]]);
}
// table[idx] into first and table[idx + 1] into second.
inline void GatherPairs(Tag, const float* table, VI idx, VF* first, VF* second) {
  for (int i = 0; i < 4; ++i) {
    first->v[i] = table[idx.v[i]];
    second->v[i] = table[idx.v[i] + 1];
  }
}

#undef KELVORA_SCALAR_MAP

// GatherPairs from a table of 33 entries with indices 0..31.
inline void GatherPairs32(Tag d, const float* table, VI idx, VF* first, VF* second) {
  GatherPairs(d, table, idx, first, second);
}

// Lanes 1.. of lo followed by lane 0 of hi: a window one lane further along
// two consecutive vectors, for stages that carry a vector from one group to
// the next.
inline VF ConcatShiftOne(VF hi, VF lo) {
  return VF{{lo.v[1], lo.v[2], lo.v[3], hi.v[0]}};
}

// Larger and smaller of lanes that hold 16-bit samples (0 to 65535), and
// the signed comparison of 32-bit lanes.
inline VI MaxSample(VI a, VI b) {
  VI r;
  for (int i = 0; i < 4; ++i) r.v[i] = a.v[i] > b.v[i] ? a.v[i] : b.v[i];
  return r;
}
inline VI MinSample(VI a, VI b) {
  VI r;
  for (int i = 0; i < 4; ++i) r.v[i] = a.v[i] < b.v[i] ? a.v[i] : b.v[i];
  return r;
}
inline M Gt(VI a, VI b) {
  M r;
  for (int i = 0; i < 4; ++i) r.v[i] = a.v[i] > b.v[i] ? ~0u : 0u;
  return r;
}

}  // namespace kelvora::simd::scalar
