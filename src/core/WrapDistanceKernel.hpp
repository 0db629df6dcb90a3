#pragma once
// One frequency's distance wrapped into [0, range).
#include <cstddef>
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D>
void WrapDistanceKernel(D d, uint32_t n, const float* in, float range, float* out) {
  const auto vr = Set(d, range);
  const auto vrec = Set(d, 1.0f / range);
  simd::ForEachGroup(d, 0, n, [=](auto g, std::size_t i) {
    const auto x = g.Load(d, in + i);
    const auto k = FloorViaTruncate(d, Mul(x, vrec));
    // k * range is exact for the small integers k takes here, so rounding
    // the product separately gives the fused result.
    g.Store(d, NegMulAdd(k, vr, x), out + i);
  });
}

}  // namespace kelvora::KELVORA_TARGET
