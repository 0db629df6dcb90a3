#pragma once
// The flying-pixel test over the interior of the distance image: a pixel is
// flagged when both horizontal neighbours, or else both vertical ones, differ
// from its absolute distance by more than the limit (strictly).
#include <cstddef>
#include <cstdint>

#include "base/PixelFlags.hpp"
#include "core/CombineStages.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D>
void FlyingPixelKernel(D d, const FlyingPixelLimits& l, uint32_t width, uint32_t height,
                       const float* distance, uint32_t* flagsOut) {
  if (height < 3 || width < 3) return;
  const auto nearDist = Set(d, l.nearDist);
  const auto farDist = Set(d, l.farDist);
  const auto f0 = Set(d, l.f0);
  const auto f1 = Set(d, l.f1);
  const auto slope = Set(d, l.f1 - l.f0);
  const auto span = Set(d, l.farDist - l.nearDist);
  const auto flag = SetU(d, flags::kFlyingPixel);
  for (std::size_t y = 1; y + 1 < height; ++y) {
    const float* row = distance + y * width;
    const float* above = row - width;
    const float* below = row + width;
    uint32_t* rowFlags = flagsOut + y * width;
    simd::ForEachGroup(d, 1, width - 1, [=](auto g, std::size_t x) {
      const auto dist = Abs(g.Load(d, row + x));
      const auto ramp = Add(f0, Div(Mul(Sub(dist, nearDist), slope), span));
      const auto limit =
          IfThenElse(Gt(dist, nearDist), IfThenElse(Lt(dist, farDist), ramp, f1), f0);
      const auto beyond = [&](const float* neighbour) {
        return Gt(AbsDiff(g.Load(d, neighbour + x), dist), limit);
      };
      const auto horizontal = And(beyond(row - 1), beyond(row + 1));
      const auto vertical = And(beyond(above), beyond(below));
      g.Store32(d, Or(g.Load32(d, rowFlags + x), IfThenElseZero(Or(horizontal, vertical), flag)),
                rowFlags + x);
    });
  }
}

}  // namespace kelvora::KELVORA_TARGET
