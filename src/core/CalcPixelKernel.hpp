#pragma once
// The per-pixel stage for a vector of pixels. The table steps (phase,
// normalised amplitude, wiggling) give the bits of the per-pixel definition in
// every lane.
#include "base/PixelFlags.hpp"
#include "core/AtanKernel.hpp"
#include "core/CalcPixel.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// Phase in [0, 2 pi) of atan((A3 - A1) / (A0 - A2)), quadrant by the signs.
template <class D, class VF = decltype(Zero(D()))>
inline VF PhaseKernel(D d, VF imag, VF real) {
  const VF y = Neg(imag);
  const VF x = real;
  const VF tiny = Set(d, kTinyQuadrature);
  const auto yNegative = SignBitSet(y);
  const VF axis = IfThenElse(Lt(Abs(y), tiny), Zero(d),
                             IfThenElse(yNegative, Set(d, -kAtanHalfPi), Set(d, kAtanHalfPi)));
  const VF at = AtanKernel(d, Div(y, x));
  const VF left = Add(at, IfThenElse(yNegative, Set(d, -kPi), Set(d, kPi)));
  const VF phase = IfThenElse(Lt(Abs(x), tiny), axis, IfThenElse(Gt(x, Zero(d)), at, left));
  // |phase| <= 3 pi / 2 here, so floor(phase / 2 pi) is -1 or 0 and
  // phase - floor * 2 pi is phase + 2 pi or phase - 0 (keeping -0): the same
  // bits as the general floor, without the conversions on the critical path.
  const auto below = Lt(Mul(phase, Set(d, kInvTwoPi)), Zero(d));
  return Sub(phase, IfThenElseZero(below, Set(d, -kTwoPi)));
}

// Table position clamped to [0, 16383]; NaN goes to 0, so that a look-up can
// never leave the table.
template <class D, class VF = decltype(Zero(D()))>
inline VF ClampIndexRange(D d, VF p) {
  return Min(Max(Zero(d), p), Set(d, kLastWigglingIndex));
}

// Amplitude per unit of exposure, corrected by the amplitude wiggling table
// (interpolated; the last entry is used alone).
template <class D, class VF = decltype(Zero(D()))>
inline VF NormalisedAmplitudeKernel(D d, VF amplitude, VF exposure, VF phase, const float* table) {
  const VF p = ClampIndexRange(d, Mul(phase, Set(d, kPhaseToWigglingIndex)));
  const VF jf = ConvertToFloat(TruncateToInt(p));
  const VF w = Sub(p, jf);
  // Read the pair (j, j + 1) from at most (16382, 16383); at j = 16383 the
  // second of that pair is the last entry, used alone.
  const auto pairIndex = TruncateToInt(Min(jf, Set(d, kLastWigglingIndex - 1.0f)));
  VF lo;
  VF hi;
  GatherPairs(d, table, pairIndex, &lo, &hi);
  const VF interpolated = Add(lo, Mul(Sub(hi, lo), w));
  const VF correction = IfThenElse(Ge(jf, Set(d, kLastWigglingIndex)), hi, interpolated);
  return Mul(Div(amplitude, exposure), correction);
}

// Nearest entry of the phase wiggling table; not wrapped again afterwards.
template <class D, class VF = decltype(Zero(D()))>
inline VF WiggledPhaseKernel(D d, VF phase, const float* table) {
  const VF p = ClampIndexRange(d, Add(Mul(phase, Set(d, kPhaseToWigglingIndex)), Set(d, 0.5f)));
  return Add(phase, GatherIndex(d, table, TruncateToInt(p)));
}

// The stage runs in two passes over blocks of pixels that stay in the
// first-level cache: amplitude and phase, then everything that follows from
// them. Each pass has a shorter dependency chain per group than one fused
// pass, so the core overlaps more groups. A multiple of every lane count.
constexpr uint32_t kCalcPixelBlock = 512;

template <class D>
void CalcPixelKernel(D d, const CalcPixelConstants& c, const CalcPixelBuffers& buffers,
                     uint32_t n) {
  const CalcPixelBuffers b = buffers;  // a local copy: its pointers stay in registers
  const auto half = Set(d, 0.5f);
  const auto amplitudeFloor = Set(d, kAmplitudeFloor);
  const auto limitFactor = Set(d, c.limitFactor);
  const auto amplitudeThreshold = Set(d, c.amplitudeThreshold);
  const auto noise0 = Set(d, c.noise0);
  const auto noise1 = Set(d, c.noise1);
  const auto noise2e = Set(d, c.noise2TimesExposure);
  const auto noise3 = Set(d, c.noise3);
  const auto two = Set(d, 2.0f);
  const auto exposure = Set(d, c.exposure);
  const auto k = Set(d, c.metresPerRadian);
  const auto temperatureOffset = Set(d, c.temperatureOffset);
  const auto inconsistent = SetU(d, flags::kInconsistent);
  const auto lowSignal = SetU(d, flags::kLowSignal);

  for (uint32_t start = 0; start < n; start += kCalcPixelBlock) {
    const uint32_t end = n - start < kCalcPixelBlock ? n : start + kCalcPixelBlock;
    simd::ForEachGroup(d, start, end, [=](auto g, std::size_t i) {
      const auto imag = g.Load(d, b.imag + i);
      const auto real = g.Load(d, b.real + i);
      g.Store(d, Mul(half, Sqrt(Add(Add(Mul(imag, imag), Mul(real, real)), amplitudeFloor))),
              b.amplitude + i);
      g.Store(d, PhaseKernel(d, imag, real), b.phase + i);
    });
    simd::ForEachGroup(d, start, end, [=](auto g, std::size_t i) {
      const auto amplitude = g.Load(d, b.amplitude + i);
      const auto phase = g.Load(d, b.phase + i);
      auto f = g.Load32(d, b.flags + i);
      f = Or(f, IfThenElseZero(Gt(Abs(g.Load(d, b.asymmetry + i)), Mul(limitFactor, amplitude)),
                               inconsistent));
      f = Or(f, IfThenElseZero(Gt(amplitudeThreshold, amplitude), lowSignal));
      g.Store32(d, f, b.flags + i);
      const auto s = Add(Mul(noise0, amplitude), Mul(noise2e, g.Load(d, b.intensity + i)));
      const auto variance =
          IfThenElse(Ge(s, noise3), Add(Sub(Mul(two, s), noise3), noise1), Add(s, noise1));
      const auto rawNoise = Sqrt(variance);
      g.Store(d, rawNoise, b.rawNoise + i);
      const auto phaseNoise = Div(rawNoise, amplitude);
      g.Store(d, phaseNoise, b.phaseNoise + i);
      if (c.normaliseAmplitude) {
        g.Store(d, NormalisedAmplitudeKernel(d, amplitude, exposure, phase, b.amplitudeWiggling),
                b.normAmplitude + i);
      }
      const auto corrected = WiggledPhaseKernel(d, phase, b.phaseWiggling);
      g.Store(d, corrected, b.phase + i);
      g.Store(d, Add(Sub(Mul(corrected, k), temperatureOffset), g.Load(d, b.fppn + i)),
              b.distance + i);
      g.Store(d, Mul(phaseNoise, k), b.distanceNoise + i);
    });
  }
}

}  // namespace kelvora::KELVORA_TARGET
