#pragma once
// Per-pixel stage of one modulation frequency: amplitude, phase, raw and phase
// noise, normalised amplitude, phase wiggling, distance and distance noise,
// with the calibration's temperature and fixed-pattern corrections, plus the
// inconsistency (0x5) and low-amplitude (0x9) flags.
//
// Every step works on groups of four pixels. The table steps (phase,
// normalised amplitude, wiggling) are defined per pixel by the scalar
// functions below; their vector forms give the same bits on every backend, so
// a pixel's result never depends on the path it took.
#include <cmath>
#include <cstdint>

#include "base/PixelFlags.hpp"
#include "core/Atan.hpp"
#include "core/KernelMath.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

struct KelvoraInput;
struct KelvoraParameter;
struct KelvoraCalibration;
struct KelvoraCalibrationFrequency;
struct KelvoraIntermediate;
struct KelvoraOutput;

void calcPixel(const KelvoraInput* input, const KelvoraParameter* parameters,
               const KelvoraCalibration* calibration, KelvoraIntermediate* intermediate,
               KelvoraOutput* output, unsigned int frequencyIndex);

// 23849736 / f is metres per radian of phase (c / (4 pi f) with c in air).
constexpr float kMetresPerRadianTimesHz = 23849736.0f;
constexpr float kPi = 3.1415927f;
constexpr float kInvTwoPi = 0.15915494f;
constexpr float kTwoPi = 6.2831855f;
// 16383 / (2 pi): one phase period onto the 16384 entries of a wiggling table.
constexpr float kPhaseToWigglingIndex = 2607.4353f;
constexpr float kLastWigglingIndex = 16383.0f;
// Keeps sqrt and the later divisions finite for a dark pixel.
constexpr float kAmplitudeFloor = 1e-10f;
constexpr float kTinyQuadrature = 1e-30f;

struct CalcPixelConstants {
  float metresPerRadian;
  float exposure;           // of this frequency, sensor units
  float temperatureOffset;  // metres, subtracted from the distance
  float limitFactor;        // 2 x consistencyTolerance
  float amplitudeThreshold;
  float noise0;  // slope on the amplitude
  float noise1;  // constant variance
  float noise2TimesExposure;
  float noise3;  // knee: above it the slope doubles
  bool normaliseAmplitude;
};

struct CalcPixelBuffers {
  const float* imag;
  const float* real;
  const float* asymmetry;
  const float* intensity;          // grey per unit of grey exposure
  const float* fppn;               // metres
  const float* phaseWiggling;      // 16384 entries
  const float* amplitudeWiggling;  // 16384 entries
  float* amplitude;
  float* phase;
  float* rawNoise;
  float* phaseNoise;
  float* normAmplitude;
  float* distance;
  float* distanceNoise;
  uint32_t* flags;
};

CalcPixelConstants calcPixelConstants(const KelvoraInput& input, const KelvoraParameter& parameters,
                                      const KelvoraCalibrationFrequency& frequency,
                                      unsigned int frequencyIndex);

// floor(q) for |q| < 2^31 as truncation corrected by one, the way the vector
// layer computes it (so also -0 maps to +0 there and here).
inline float floorByTruncation(float q) {
  if (!(std::fabs(q) < 2147483648.0f)) return q;
  const float t = static_cast<float>(static_cast<int32_t>(q));
  return t > q ? t - 1.0f : t;
}

// Phase in [0, 2 pi) of atan((A3 - A1) / (A0 - A2)), quadrant by the signs.
inline float pixelPhase(float imag, float real) {
  const float y = -imag;
  const float x = real;
  float phase;
  if (std::fabs(x) < kTinyQuadrature) {
    phase = std::fabs(y) < kTinyQuadrature ? 0.0f : (std::signbit(y) ? -kAtanHalfPi : kAtanHalfPi);
  } else if (x > 0.0f) {
    phase = zyn_atanf(y / x);
  } else {
    phase = zyn_atanf(y / x) + (std::signbit(y) ? -kPi : kPi);
  }
  return phase - floorByTruncation(phase * kInvTwoPi) * kTwoPi;
}

// Table position clamped to [0, 16383]; NaN goes to 0 so that a look-up can
// never leave the table.
inline float clampIndexRange(float p) {
  p = 0.0f < p ? p : 0.0f;
  return kLastWigglingIndex < p ? kLastWigglingIndex : p;
}

// Amplitude per unit of exposure, corrected by the amplitude wiggling table
// (interpolated; the last entry is used alone).
inline float normalisedAmplitude(float amplitude, float exposure, float phase, const float* table) {
  const float p = clampIndexRange(phase * kPhaseToWigglingIndex);
  const uint32_t j = static_cast<uint32_t>(p);
  const float w = p - static_cast<float>(j);
  const float correction = j == 16383u ? table[j] : table[j] + (table[j + 1] - table[j]) * w;
  return (amplitude / exposure) * correction;
}

// Nearest entry of the phase wiggling table; not wrapped again afterwards.
inline float wiggledPhase(float phase, const float* table) {
  return phase +
         table[static_cast<uint32_t>(clampIndexRange(phase * kPhaseToWigglingIndex + 0.5f))];
}

// Phase from the quadrature differences and their ratio -imag / real
// (correctly rounded).
template <class D, class VF = decltype(Zero(D()))>
inline VF PhaseFromRatioKernel(D d, VF imag, VF real, VF ratio) {
  const VF y = Neg(imag);
  const VF x = real;
  const VF tiny = Set(d, kTinyQuadrature);
  const auto yNegative = SignBitSet(y);
  const VF axis = IfThenElse(Lt(Abs(y), tiny), Zero(d),
                             IfThenElse(yNegative, Set(d, -kAtanHalfPi), Set(d, kAtanHalfPi)));
  const VF at = AtanKernel(d, ratio);
  const VF left = Add(at, IfThenElse(yNegative, Set(d, -kPi), Set(d, kPi)));
  const VF phase = IfThenElse(Lt(Abs(x), tiny), axis, IfThenElse(Gt(x, Zero(d)), at, left));
  // |phase| <= 3 pi / 2 here, so floor(phase / 2 pi) is -1 or 0 and
  // phase - floor * 2 pi is phase + 2 pi or phase - 0 (keeping -0): the same
  // bits as the general floor, without the conversions on the critical path.
  const auto below = Lt(Mul(phase, Set(d, kInvTwoPi)), Zero(d));
  return Sub(phase, IfThenElseZero(below, Set(d, -kTwoPi)));
}

template <class D, class VF = decltype(Zero(D()))>
inline VF PhaseKernel(D d, VF imag, VF real) {
  return PhaseFromRatioKernel(d, imag, real, DivExact(Neg(imag), real));
}

template <class D, class VF = decltype(Zero(D()))>
inline VF ClampIndexRange(D d, VF p) {
  return Min(Max(Zero(d), p), Set(d, kLastWigglingIndex));
}

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
  return Mul(DivExact(amplitude, exposure), correction);
}

template <class D, class VF = decltype(Zero(D()))>
inline VF WiggledPhaseKernel(D d, VF phase, const float* table) {
  const VF p = ClampIndexRange(d, Add(Mul(phase, Set(d, kPhaseToWigglingIndex)), Set(d, 0.5f)));
  return Add(phase, GatherIndex(d, table, TruncateToInt(p)));
}

// The stage runs in two passes over blocks of pixels that stay in the
// first-level cache: amplitude and phase, then everything that follows from
// them. Each pass has a shorter dependency chain per group of four than one
// fused pass, so the core overlaps more groups.
constexpr uint32_t kCalcPixelBlock = 512;

template <class D>
void CalcPixelBlock(D d, const CalcPixelConstants& c, const CalcPixelBuffers& buffers,
                    uint32_t start, uint32_t end) {
  const CalcPixelBuffers b = buffers;  // a local copy: its pointers stay in registers

  constexpr uint32_t kStep = static_cast<uint32_t>(D::kLanes);
  const auto half = Set(d, 0.5f);
  const auto amplitudeFloor = Set(d, kAmplitudeFloor);
  for (uint32_t i = start; i < end; i += kStep) {
    const auto imag = LoadU(d, b.imag + i);
    const auto real = LoadU(d, b.real + i);
    StoreU(Mul(half, Sqrt(Add(Add(Mul(imag, imag), Mul(real, real)), amplitudeFloor))), d,
           b.amplitude + i);
    StoreU(PhaseKernel(d, imag, real), d, b.phase + i);
  }

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
  for (uint32_t i = start; i < end; i += kStep) {
    const auto amplitude = LoadU(d, b.amplitude + i);
    const auto phase = LoadU(d, b.phase + i);
    auto f = LoadU32(d, b.flags + i);
    f = Or(f, IfThenElseZero(Gt(Abs(LoadU(d, b.asymmetry + i)), Mul(limitFactor, amplitude)),
                             inconsistent));
    f = Or(f, IfThenElseZero(Gt(amplitudeThreshold, amplitude), lowSignal));
    StoreU32(f, d, b.flags + i);
    const auto s = Add(Mul(noise0, amplitude), Mul(noise2e, LoadU(d, b.intensity + i)));
    const auto variance =
        IfThenElse(Ge(s, noise3), Add(Sub(Mul(two, s), noise3), noise1), Add(s, noise1));
    const auto rawNoise = SqrtKeepZero(d, variance);
    StoreU(rawNoise, d, b.rawNoise + i);
    const auto phaseNoise = Div(rawNoise, amplitude);
    StoreU(phaseNoise, d, b.phaseNoise + i);
    if (c.normaliseAmplitude) {
      StoreU(NormalisedAmplitudeKernel(d, amplitude, exposure, phase, b.amplitudeWiggling), d,
             b.normAmplitude + i);
    }
    const auto corrected = WiggledPhaseKernel(d, phase, b.phaseWiggling);
    StoreU(corrected, d, b.phase + i);
    StoreU(Add(Sub(Mul(corrected, k), temperatureOffset), LoadU(d, b.fppn + i)), d, b.distance + i);
    StoreU(Mul(phaseNoise, k), d, b.distanceNoise + i);
  }
}

// count must be a multiple of the backend's lane count; every buffer holds at
// least count elements.
template <class D>
void CalcPixelKernel(D d, const CalcPixelConstants& c, const CalcPixelBuffers& b, uint32_t count) {
  for (uint32_t start = 0; start < count; start += kCalcPixelBlock) {
    const uint32_t end = count - start < kCalcPixelBlock ? count : start + kCalcPixelBlock;
    CalcPixelBlock(d, c, b, start, end);
  }
}

// The buffers from pixel `offset` on (the wiggling tables stay whole).
inline CalcPixelBuffers calcPixelBuffersFrom(const CalcPixelBuffers& b, uint32_t offset) {
  CalcPixelBuffers r = b;
  r.imag += offset;
  r.real += offset;
  r.asymmetry += offset;
  r.intensity += offset;
  r.fppn += offset;
  r.amplitude += offset;
  r.phase += offset;
  r.rawNoise += offset;
  r.phaseNoise += offset;
  r.normAmplitude += offset;
  r.distance += offset;
  r.distanceNoise += offset;
  r.flags += offset;
  return r;
}

// Runs the kernel over n pixels. Intermediate buffers are padded to whole
// groups of four; the calibration's fppn and the output flags (which may be a
// caller's array of exactly n) are not, so their last partial group is staged.
template <class D>
void CalcPixelRun(D d, const CalcPixelConstants& c, const CalcPixelBuffers& b, uint32_t n) {
  static_assert(D::kLanes == 4, "the staged tail is one group of four");
  const uint32_t whole = n & ~3u;
  CalcPixelKernel(d, c, b, whole);
  if (whole == n) return;
  float fppnTail[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  for (uint32_t i = whole; i < n; ++i) fppnTail[i - whole] = b.fppn[i];
  uint32_t flagsTail[4] = {0u, 0u, 0u, 0u};
  for (uint32_t i = whole; i < n; ++i) flagsTail[i - whole] = b.flags[i];
  CalcPixelBuffers tail = calcPixelBuffersFrom(b, whole);
  tail.fppn = fppnTail;
  tail.flags = flagsTail;
  CalcPixelKernel(d, c, tail, 4);
  for (uint32_t i = whole; i < n; ++i) b.flags[i] = flagsTail[i - whole];
}

#if defined(KELVORA_WIDE_X86)
// The whole groups of eight (sixteen) of n pixels on the AVX2 (AVX-512)
// backend, in core/WideStages.inl; return how many pixels
// they did.
uint32_t calcPixelWideGroupsAvx2(const CalcPixelConstants& c, const CalcPixelBuffers& b,
                                 uint32_t n);
uint32_t calcPixelWideGroupsAvx512(const CalcPixelConstants& c, const CalcPixelBuffers& b,
                                   uint32_t n);
#endif

}  // namespace kelvora
