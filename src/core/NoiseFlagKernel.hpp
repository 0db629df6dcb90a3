#pragma once
// The noise test: kLowSignal where the distance noise exceeds the threshold.
#include <cstddef>
#include <cstdint>

#include "base/PixelFlags.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D>
void NoiseFlagKernel(D d, uint32_t n, const float* noise, float threshold, uint32_t* flagsOut) {
  const auto vt = Set(d, threshold);
  const auto flag = SetU(d, flags::kLowSignal);
  simd::ForEachGroup(d, 0, n, [=](auto g, std::size_t i) {
    const auto raised = IfThenElseZero(Gt(g.Load(d, noise + i), vt), flag);
    g.Store32(d, Or(g.Load32(d, flagsOut + i), raised), flagsOut + i);
  });
}

}  // namespace kelvora::KELVORA_TARGET
