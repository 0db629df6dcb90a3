#pragma once
// The per-pixel parts of the multipath stage: the two measures, and the test
// of a measure against its noise-scaled threshold with a floor.
#include <cstddef>
#include <cstdint>

#include "filters/MultipathFlags.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// ratio = normAmplitude0 / (normAmplitude1 + 1e-10) - 1 and
// noise = sqrt((rawNoise1/amplitude1)^2 + (rawNoise0/amplitude0)^2).
template <class D>
void MultipathMeasuresKernel(D d, std::size_t n, const MultipathMeasureBuffers& buffers) {
  const MultipathMeasureBuffers b = buffers;
  const auto guard = Set(d, kMultipathRatioGuard);
  const auto one = Set(d, 1.0f);
  simd::ForEachGroup(d, 0, n, [&](auto g, std::size_t i) {
    const auto q =
        Sub(Div(g.Load(d, b.normAmplitude0 + i), Add(g.Load(d, b.normAmplitude1 + i), guard)), one);
    const auto e1 = Div(g.Load(d, b.rawNoise1 + i), g.Load(d, b.amplitude1 + i));
    const auto e0 = Div(g.Load(d, b.rawNoise0 + i), g.Load(d, b.amplitude0 + i));
    g.Store(d, q, b.ratio + i);
    g.Store(d, Sqrt(Add(Mul(e1, e1), Mul(e0, e0))), b.noise + i);
  });
}

// ORs each test's flag into flags[i] where |measure[i]| > max(noise[i] *
// factor, floor). The comparison is strict, and a NaN measure or scaled noise
// never flags (the floor replaces the scaled noise only when that is below
// it). Flags are only ORed, so the tests can share one pass.
template <std::size_t kTests, class D>
void NoiseFloorKernel(D d, std::size_t n, const NoiseFloorTest* tests, uint32_t* flags) {
  const float* measure[kTests];
  const float* noise[kTests];
  decltype(Zero(d)) factor[kTests], floor[kTests];
  decltype(SetU(d, 0u)) flag[kTests];
  for (std::size_t k = 0; k < kTests; ++k) {
    measure[k] = tests[k].measure;
    noise[k] = tests[k].noise;
    factor[k] = Set(d, tests[k].factor);
    floor[k] = Set(d, tests[k].floor);
    flag[k] = SetU(d, tests[k].flag);
  }
  simd::ForEachGroup(d, 0, n, [&](auto g, std::size_t i) {
    auto f = g.Load32(d, flags + i);
    for (std::size_t k = 0; k < kTests; ++k) {
      auto t = Mul(g.Load(d, noise[k] + i), factor[k]);
      t = IfThenElse(Lt(t, floor[k]), floor[k], t);
      f = Or(f, IfThenElseZero(Gt(Abs(g.Load(d, measure[k] + i)), t), flag[k]));
    }
    g.Store32(d, f, flags + i);
  });
}

}  // namespace kelvora::KELVORA_TARGET
