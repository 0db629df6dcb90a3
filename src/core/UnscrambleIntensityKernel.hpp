#pragma once
// The grey-frame stage over n pixels: g = sample - fpn, and g x scale clamped
// at 0 for the noise model.
#include <cstddef>
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D>
void UnscrambleIntensityKernel(D d, std::size_t n, const uint16_t* raw, const float* fpn,
                               float scale, float* grey, float* normalised) {
  const auto scaleV = Set(d, scale);
  const auto zero = Zero(d);
  simd::ForEachGroup(d, 0, n, [=](auto group, std::size_t i) {
    const auto g = Sub(ConvertToFloat(group.LoadSamples(d, raw + i)), group.Load(d, fpn + i));
    group.Store(d, g, grey + i);
    group.Store(d, IfThenElse(Lt(g, zero), zero, Mul(g, scaleV)), normalised + i);
  });
}

}  // namespace kelvora::KELVORA_TARGET
