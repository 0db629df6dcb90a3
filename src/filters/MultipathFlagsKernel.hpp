#pragma once
// The per-pixel parts of the multipath stage, written once against the vector
// layer. Whole groups of four are read and written in place; the last partial
// group goes through a copy on the stack, so the buffers need no padding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/Simd.hpp"

namespace kelvora {

// Guards only the ratio's division: a frequency-1 amplitude of exactly 0 gives
// a huge ratio rather than a division by zero.
constexpr float kMultipathRatioGuard = 1e-10f;

namespace multipath_detail {

// Calls group(index, lanes) over [0, count) in groups of four; lanes is 4
// except for the last group.
template <class Group>
inline void forEachGroup(std::size_t count, Group group) {
  std::size_t i = 0;
  for (; i + simd::kLanes <= count; i += simd::kLanes) group(i, simd::kLanes);
  if (i < count) group(i, count - i);
}

// Four lanes from p, or a zero-filled stack copy of the first `lanes` ones.
template <class T>
inline const T* readable(const T* p, std::size_t lanes, T* copy) {
  if (lanes == simd::kLanes) return p;
  std::fill(copy, copy + simd::kLanes, T{0});
  std::copy(p, p + lanes, copy);
  return copy;
}

// Stores four lanes at p, or only the first `lanes` of them.
template <class D, class V, class T>
inline void writeLanes(D d, V v, std::size_t lanes, T* p) {
  T out[4];
  T* at = lanes == simd::kLanes ? p : out;
  if constexpr (std::is_same_v<T, float>) {
    StoreU(v, d, at);
  } else {
    StoreU32(v, d, at);
  }
  if (at == out) std::copy(out, out + lanes, p);
}

}  // namespace multipath_detail

// The inputs and outputs of the per-pixel measures.
struct MultipathMeasureBuffers {
  const float* normAmplitude0;
  const float* normAmplitude1;
  const float* rawNoise0;
  const float* amplitude0;
  const float* rawNoise1;
  const float* amplitude1;
  float* ratio;
  float* noise;

  MultipathMeasureBuffers from(std::size_t offset) const {
    return {normAmplitude0 + offset, normAmplitude1 + offset, rawNoise0 + offset,
            amplitude0 + offset,     rawNoise1 + offset,      amplitude1 + offset,
            ratio + offset,          noise + offset};
  }
};

// ratio = normAmplitude0 / (normAmplitude1 + 1e-10) - 1 and
// noise = sqrt((rawNoise1/amplitude1)^2 + (rawNoise0/amplitude0)^2) for the
// backend's whole groups of the count pixels; returns how many it did.
template <class D>
std::size_t MultipathMeasureGroups(D d, std::size_t count, const MultipathMeasureBuffers& b) {
  constexpr std::size_t kStep = D::kLanes;
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    const auto q = Sub(Div(LoadU(d, b.normAmplitude0 + i),
                           Add(LoadU(d, b.normAmplitude1 + i), Set(d, kMultipathRatioGuard))),
                       Set(d, 1.0f));
    const auto e1 = Div(LoadU(d, b.rawNoise1 + i), LoadU(d, b.amplitude1 + i));
    const auto e0 = Div(LoadU(d, b.rawNoise0 + i), LoadU(d, b.amplitude0 + i));
    StoreU(q, d, b.ratio + i);
    StoreU(Sqrt(Add(Mul(e1, e1), Mul(e0, e0))), d, b.noise + i);
  }
  return i;
}

#if defined(KELVORA_WIDE_X86)
// MultipathMeasureGroups on the AVX2 (AVX-512) backend, in
// core/WideStages.inl.
std::size_t multipathMeasureGroupsAvx2(std::size_t count, const MultipathMeasureBuffers& b);
std::size_t multipathMeasureGroupsAvx512(std::size_t count, const MultipathMeasureBuffers& b);
#endif

// The amplitude disagreement of the two frequencies and its relative noise
// for every pixel: whole groups in place, the last partial group of four
// through a copy on the stack.
template <class D>
void computeMultipathMeasures(D d, std::size_t count, const float* normAmplitude0,
                              const float* normAmplitude1, const float* rawNoise0,
                              const float* amplitude0, const float* rawNoise1,
                              const float* amplitude1, float* ratio, float* noise) {
  using multipath_detail::readable;
  const MultipathMeasureBuffers b{normAmplitude0, normAmplitude1, rawNoise0, amplitude0,
                                  rawNoise1,      amplitude1,     ratio,     noise};
  const std::size_t done = MultipathMeasureGroups(d, count, b);
  if (done == count) return;
  const std::size_t i = done;
  const std::size_t lanes = count - done;
  float c[6][4];
  const auto n0 = LoadU(d, readable(normAmplitude0 + i, lanes, c[0]));
  const auto n1 = LoadU(d, readable(normAmplitude1 + i, lanes, c[1]));
  const auto r0 = LoadU(d, readable(rawNoise0 + i, lanes, c[2]));
  const auto a0 = LoadU(d, readable(amplitude0 + i, lanes, c[3]));
  const auto r1 = LoadU(d, readable(rawNoise1 + i, lanes, c[4]));
  const auto a1 = LoadU(d, readable(amplitude1 + i, lanes, c[5]));
  const auto q = Sub(Div(n0, Add(n1, Set(d, kMultipathRatioGuard))), Set(d, 1.0f));
  const auto e1 = Div(r1, a1);
  const auto e0 = Div(r0, a0);
  const auto s = Sqrt(Add(Mul(e1, e1), Mul(e0, e0)));
  multipath_detail::writeLanes(d, q, lanes, ratio + i);
  multipath_detail::writeLanes(d, s, lanes, noise + i);
}

// ORs flagValue into flags[i] where |measure[i]| > max-floor(noise[i] * factor,
// floor). The comparison is strict, and a NaN measure or scaled noise never
// flags (the floor replaces the scaled noise only when that is below it).
template <class D>
void flagAboveNoiseFloor(D d, std::size_t count, const float* measure, const float* noise,
                         float factor, float floor, uint32_t flagValue, uint32_t* flags) {
  using multipath_detail::readable;
  const auto vFactor = Set(d, factor);
  const auto vFloor = Set(d, floor);
  const auto vFlag = SetU(d, flagValue);
  multipath_detail::forEachGroup(count, [&](std::size_t i, std::size_t lanes) {
    float c[2][4];
    uint32_t cf[4];
    const auto m = LoadU(d, readable(measure + i, lanes, c[0]));
    auto t = Mul(LoadU(d, readable(noise + i, lanes, c[1])), vFactor);
    t = IfThenElse(Lt(t, vFloor), vFloor, t);
    const auto raised = IfThenElseZero(Gt(Abs(m), t), vFlag);
    multipath_detail::writeLanes(d, Or(LoadU32(d, readable(flags + i, lanes, cf)), raised), lanes,
                                 flags + i);
  });
}

}  // namespace kelvora
