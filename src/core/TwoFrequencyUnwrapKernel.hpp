#pragma once
// The per-pixel part of the two-frequency unwrapping: no branches and no
// table, only arithmetic on each lane.
#include <cstddef>
#include <cstdint>

#include "core/TwoFrequencyUnwrap.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class D>
void Calc2FreqKernel(D d, const TwoFrequencyConstants& c, uint32_t n,
                     const TwoFrequencyBuffers& buffers) {
  const TwoFrequencyBuffers b = buffers;
  const auto floorV = Set(d, kVarianceFloor);
  const auto one = Set(d, 1.0f);
  const auto invRL = Set(d, c.invRL);
  const auto RL = Set(d, c.RL);
  const auto N = Set(d, c.N);
  const auto invN = Set(d, c.invN);
  const auto K = Set(d, c.K);
  const auto plusHalf = Set(d, 0.5f);
  const auto minusHalf = Set(d, -0.5f);
  simd::ForEachGroup(d, 0, n, [=](auto g, std::size_t i) {
    const auto a = g.Load(d, b.distanceA + i);
    const auto sa = g.Load(d, b.noiseA + i);
    const auto sb = g.Load(d, b.noiseB + i);
    const auto wA = Reciprocal(Add(Mul(sa, sa), floorV));
    const auto wB = Reciprocal(Add(Mul(sb, sb), floorV));
    const auto V = Reciprocal(Add(wA, wB));
    const auto alpha = Mul(wA, V);

    const auto x = Mul(Sub(a, g.Load(d, b.distanceB + i)), invRL);
    // Nearest integer, halves away from zero.
    const auto m =
        ConvertToFloat(TruncateToInt(Add(x, IfThenElse(SignBitSet(x), minusHalf, plusHalf))));
    const auto r = Sub(x, m);
    const auto shareA = Mul(Sub(alpha, one), r);
    const auto yA = Add(Mul(a, invRL), shareA);
    const auto z = Sub(yA, Mul(m, K));
    const auto w = Sub(z, Mul(FloorViaTruncate(d, Mul(z, invN)), N));
    g.Store(d, Mul(w, RL), b.distance + i);
    g.Store(d, Sqrt(V), b.noise + i);
    const auto shareB = Mul(alpha, r);
    g.Store(d, Mul(RL, Sqrt(Add(Mul(shareA, shareA), Mul(shareB, shareB)))), b.difference + i);
  });
}

}  // namespace kelvora::KELVORA_TARGET
