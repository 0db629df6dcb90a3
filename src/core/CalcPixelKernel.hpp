#pragma once
// The per-pixel stage for a vector of pixels. The table steps (phase,
// normalised amplitude, wiggling) give the bits of the per-pixel definition in
// every lane.
#include "base/PixelFlags.hpp"
#include "core/AtanKernel.hpp"
#include "core/CalcPixel.hpp"
#include "simd/OpaquePointer.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// Phase in [0, 2 pi) of atan((A3 - A1) / (A0 - A2)), quadrant by the signs.
template <class D, class VF = decltype(Zero(D()))>
inline VF PhaseKernel(D d, VF imag, VF real) {
  const VF y = Neg(imag);
  const VF x = real;
  const VF tiny = Set(d, kTinyQuadrature);
  // +-pi/2 by the sign of y; doubled it is +-pi exactly (the float pi is
  // twice the float pi/2), one constant pair fewer to hold.
  const VF quarter = IfThenElse(SignBitSet(y), Set(d, -kAtanHalfPi), Set(d, kAtanHalfPi));
  const VF axis = IfThenElse(Lt(Abs(y), tiny), Zero(d), quarter);
  const VF at = AtanKernel(d, Div(y, x));
  const VF left = Add(at, Add(quarter, quarter));
  const VF phase = IfThenElse(Lt(Abs(x), tiny), axis, IfThenElse(Gt(x, Zero(d)), at, left));
  // |phase| <= 3 pi / 2 here, so floor(phase / 2 pi) is -1 or 0 and
  // phase - floor * 2 pi is phase + 2 pi or phase - 0 (keeping -0): the same
  // bits as the general floor, without the conversions on the critical path.
  const auto below = Lt(Mul(phase, Set(d, kInvTwoPi)), Zero(d));
  return Sub(phase, IfThenElseZero(below, Set(d, -kTwoPi)));
}

// Table position clamped to [0, 16383]; NaN goes to 0, so that a look-up can
// never leave the table (and the upper bound sees ordered lanes only).
template <class D, class VF = decltype(Zero(D()))>
inline VF ClampIndexRange(D d, VF p) {
  return MinOrdered(Max(Zero(d), p), Set(d, kLastWigglingIndex));
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
  const auto pairIndex = TruncateToInt(MinOrdered(jf, Set(d, kLastWigglingIndex - 1.0f)));
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

// The stage runs in passes over blocks of pixels that stay in the first-level
// cache: amplitude and phase; flags and noise; the normalised amplitude; the
// phase correction and the distance. Each pass has a shorter dependency chain
// per group than one fused pass, so the core overlaps more groups, and few
// enough streams and constants to keep them all in registers. A multiple of
// every lane count.
constexpr uint32_t kCalcPixelBlock = 512;

// The passes are flattened: with the group runner and the body inlined, the
// constants and pointers live in registers, where a body called through its
// address has them read again after every store. Their buffers start at the
// block, each stream with a pointer of its own (simd/OpaquePointer.hpp).
template <class D>
[[gnu::flatten]] void CalcPixelPhasePass(D d, const float* imag, const float* real,
                                         float* amplitude, float* phase, std::size_t count) {
  const auto half = Set(d, 0.5f);
  const auto amplitudeFloor = Set(d, kAmplitudeFloor);
  simd::ForEachGroup(d, 0, count, [=](auto g, std::size_t i) {
    const auto y = g.Load(d, imag + i);
    const auto x = g.Load(d, real + i);
    g.Store(d, Mul(half, Sqrt(Add(Add(Mul(y, y), Mul(x, x)), amplitudeFloor))), amplitude + i);
    g.Store(d, PhaseKernel(d, y, x), phase + i);
  });
}

template <class D>
[[gnu::flatten]] void CalcPixelNoisePass(D d, const CalcPixelConstants& c, const float* amplitudeIn,
                                         const float* asymmetryIn, const float* intensityIn,
                                         uint32_t* flagsInOut, float* rawNoiseOut,
                                         float* phaseNoiseOut, float* distanceNoiseOut,
                                         std::size_t count) {
  const auto limitFactor = Set(d, c.limitFactor);
  const auto amplitudeThreshold = Set(d, c.amplitudeThreshold);
  const auto noise0 = Set(d, c.noise0);
  const auto noise1 = Set(d, c.noise1);
  const auto noise2e = Set(d, c.noise2TimesExposure);
  const auto noise3 = Set(d, c.noise3);
  const auto two = Set(d, 2.0f);
  const auto k = Set(d, c.metresPerRadian);
  const auto inconsistent = SetU(d, flags::kInconsistent);
  const auto lowSignal = SetU(d, flags::kLowSignal);
  simd::ForEachGroup(d, 0, count, [=](auto g, std::size_t i) {
    const auto amplitude = g.Load(d, amplitudeIn + i);
    auto f = g.Load32(d, flagsInOut + i);
    f = Or(f, IfThenElseZero(Gt(Abs(g.Load(d, asymmetryIn + i)), Mul(limitFactor, amplitude)),
                             inconsistent));
    f = Or(f, IfThenElseZero(Gt(amplitudeThreshold, amplitude), lowSignal));
    g.Store32(d, f, flagsInOut + i);
    const auto s = Add(Mul(noise0, amplitude), Mul(noise2e, g.Load(d, intensityIn + i)));
    const auto variance =
        IfThenElse(Ge(s, noise3), Add(Sub(Mul(two, s), noise3), noise1), Add(s, noise1));
    const auto rawNoise = Sqrt(variance);
    g.Store(d, rawNoise, rawNoiseOut + i);
    const auto phaseNoise = Div(rawNoise, amplitude);
    g.Store(d, phaseNoise, phaseNoiseOut + i);
    g.Store(d, Mul(phaseNoise, k), distanceNoiseOut + i);
  });
}

// Before the phase correction, which overwrites the phase it reads.
template <class D>
[[gnu::flatten]] void CalcPixelNormalisedAmplitudePass(D d, const CalcPixelConstants& c,
                                                       const float* amplitudeIn,
                                                       const float* phaseIn, const float* table,
                                                       float* normAmplitudeOut, std::size_t count) {
  const auto exposure = Set(d, c.exposure);
  simd::ForEachGroup(d, 0, count, [=](auto g, std::size_t i) {
    g.Store(d,
            NormalisedAmplitudeKernel(d, g.Load(d, amplitudeIn + i), exposure,
                                      g.Load(d, phaseIn + i), table),
            normAmplitudeOut + i);
  });
}

template <class D>
[[gnu::flatten]] void CalcPixelDistancePass(D d, const CalcPixelConstants& c, const float* fppnIn,
                                            const float* table, float* phaseInOut,
                                            float* distanceOut, std::size_t count) {
  const auto k = Set(d, c.metresPerRadian);
  const auto temperatureOffset = Set(d, c.temperatureOffset);
  simd::ForEachGroup(d, 0, count, [=](auto g, std::size_t i) {
    const auto corrected = WiggledPhaseKernel(d, g.Load(d, phaseInOut + i), table);
    g.Store(d, corrected, phaseInOut + i);
    g.Store(d, Add(Sub(Mul(corrected, k), temperatureOffset), g.Load(d, fppnIn + i)),
            distanceOut + i);
  });
}

template <class D>
void CalcPixelKernel(D d, const CalcPixelConstants& c, const CalcPixelBuffers& b, uint32_t n) {
  for (uint32_t start = 0; start < n; start += kCalcPixelBlock) {
    const uint32_t count = n - start < kCalcPixelBlock ? n - start : kCalcPixelBlock;
    CalcPixelPhasePass(d, OpaquePointer(b.imag + start), OpaquePointer(b.real + start),
                       OpaquePointer(b.amplitude + start), OpaquePointer(b.phase + start), count);
    CalcPixelNoisePass(d, c, OpaquePointer(b.amplitude + start), OpaquePointer(b.asymmetry + start),
                       OpaquePointer(b.intensity + start), OpaquePointer(b.flags + start),
                       OpaquePointer(b.rawNoise + start), OpaquePointer(b.phaseNoise + start),
                       OpaquePointer(b.distanceNoise + start), count);
    if (c.normaliseAmplitude) {
      CalcPixelNormalisedAmplitudePass(d, c, OpaquePointer(b.amplitude + start),
                                       OpaquePointer(b.phase + start), b.amplitudeWiggling,
                                       OpaquePointer(b.normAmplitude + start), count);
    }
    CalcPixelDistancePass(d, c, OpaquePointer(b.fppn + start), b.phaseWiggling,
                          OpaquePointer(b.phase + start), OpaquePointer(b.distance + start), count);
  }
}

}  // namespace kelvora::KELVORA_TARGET
