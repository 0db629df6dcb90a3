#pragma once
// Four phase frames A0..A3 of one modulation frequency -> quadrature
// differences, asymmetry and saturation flags.
//
// The first raw row of every phase frame is skipped: raw row r lands in output
// row r - 1, so the last output row is never written here. Rows go eight
// pixels at a time while more than eight pixels remain (on x86-64 first in
// groups of sixteen or eight 32-bit lanes), then one at a time. The vector
// paths widen the samples before any arithmetic, so every path gives the same
// exact values for every 16-bit input.
#include <cstddef>
#include <cstdint>

#include "base/PixelFlags.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

struct KelvoraInput;
struct KelvoraParameter;
struct KelvoraIntermediateProbeData;
struct KelvoraOutput;

// frames: A0..A3, each width x height samples. The input record is not read.
void unscrambleReIm_flagSaturation_arm(const KelvoraInput* input,
                                       const KelvoraParameter* parameters,
                                       KelvoraIntermediateProbeData* probe, KelvoraOutput* output,
                                       const uint16_t* const* frames);

// One pixel; lower and upper are inclusive bounds of a valid sample.
inline void unscrambleReImPixel(uint16_t a0, uint16_t a1, uint16_t a2, uint16_t a3, uint16_t lower,
                                uint16_t upper, float* imag, float* real, float* asymmetry,
                                uint32_t* flags) {
  const int32_t s0 = a0, s1 = a1, s2 = a2, s3 = a3;
  *imag = static_cast<float>(s1 - s3);
  *real = static_cast<float>(s0 - s2);
  *asymmetry = static_cast<float>(s0 + s2 - s1 - s3);
  const bool saturated = a0 > upper || a1 > upper || a2 > upper || a3 > upper || a0 < lower ||
                         a1 < lower || a2 < lower || a3 < lower;
  if (saturated) *flags |= flags::kSaturated;
}

// One output row and the raw row it comes from.
struct UnscrambleRow {
  const uint16_t* samples[4];  // A0..A3 at the raw row
  float* imag;
  float* real;
  float* asymmetry;
  uint32_t* flags;
  uint32_t width;
  uint16_t lower;
  uint16_t upper;
};

// Groups of the backend's width along one row from column x while they fit;
// returns the first column left. A sample is out of bounds exactly when its
// float value is, as every 16-bit value is exact in float.
template <class D>
uint32_t UnscrambleReImRowGroups(D d, const UnscrambleRow& r, uint32_t x) {
  constexpr uint32_t kStep = static_cast<uint32_t>(D::kLanes);
  const auto lowerV = Set(d, static_cast<float>(r.lower));
  const auto upperV = Set(d, static_cast<float>(r.upper));
  const auto saturatedV = SetU(d, flags::kSaturated);
  for (; x + kStep <= r.width; x += kStep) {
    const auto f0 = ConvertToFloat(LoadU16ToI32(d, r.samples[0] + x));
    const auto f1 = ConvertToFloat(LoadU16ToI32(d, r.samples[1] + x));
    const auto f2 = ConvertToFloat(LoadU16ToI32(d, r.samples[2] + x));
    const auto f3 = ConvertToFloat(LoadU16ToI32(d, r.samples[3] + x));
    auto bad = Or(Gt(f0, upperV), Lt(f0, lowerV));
    bad = Or(bad, Or(Gt(f1, upperV), Lt(f1, lowerV)));
    bad = Or(bad, Or(Gt(f2, upperV), Lt(f2, lowerV)));
    bad = Or(bad, Or(Gt(f3, upperV), Lt(f3, lowerV)));
    StoreU(Sub(f1, f3), d, r.imag + x);
    StoreU(Sub(f0, f2), d, r.real + x);
    StoreU(Sub(Sub(Add(f0, f2), f1), f3), d, r.asymmetry + x);
    StoreU32(Or(LoadU32(d, r.flags + x), IfThenElseZero(bad, saturatedV)), d, r.flags + x);
  }
  return x;
}

#if defined(KELVORA_WIDE_X86)
// UnscrambleReImRowGroups on the AVX2 (AVX-512) backend, in
// core/WideStages.inl.
uint32_t unscrambleReImRowGroupsAvx2(const UnscrambleRow& r, uint32_t x);
uint32_t unscrambleReImRowGroupsAvx512(const UnscrambleRow& r, uint32_t x);
#endif

template <class D>
void UnscrambleReImKernel(D d, uint32_t width, uint32_t height, uint16_t lower, uint16_t upper,
                          const uint16_t* const* frames, float* imag, float* real, float* asymmetry,
                          uint32_t* flagWords, unsigned wideLanes = 4) {
  static_cast<void>(wideLanes);
  if (height <= 1) return;
  const auto lowerV = Set16(d, lower);
  const auto upperV = Set16(d, upper);
  const auto saturatedV = SetU(d, flags::kSaturated);
  for (uint32_t row = 1; row < height; ++row) {
    const std::size_t src = static_cast<std::size_t>(row) * width;
    const std::size_t dst = src - width;
    uint32_t x = 0;
#if defined(KELVORA_WIDE_X86)
    if (wideLanes >= 8) {
      const UnscrambleRow r{{frames[0] + src, frames[1] + src, frames[2] + src, frames[3] + src},
                            imag + dst,
                            real + dst,
                            asymmetry + dst,
                            flagWords + dst,
                            width,
                            lower,
                            upper};
      if (wideLanes >= 16) x = unscrambleReImRowGroupsAvx512(r, x);
      x = unscrambleReImRowGroupsAvx2(r, x);
    }
#endif
    // Samples are < 2^16, so every sum and difference below is exact in float.
    for (; x + 8 < width; x += 8) {
      const auto s0 = Load16(d, frames[0] + src + x);
      const auto s1 = Load16(d, frames[1] + src + x);
      const auto s2 = Load16(d, frames[2] + src + x);
      const auto s3 = Load16(d, frames[3] + src + x);
      auto bad = Or16(Gt16(s0, upperV), Gt16(lowerV, s0));
      bad = Or16(bad, Or16(Gt16(s1, upperV), Gt16(lowerV, s1)));
      bad = Or16(bad, Or16(Gt16(s2, upperV), Gt16(lowerV, s2)));
      bad = Or16(bad, Or16(Gt16(s3, upperV), Gt16(lowerV, s3)));
      for (uint32_t half = 0; half < 2; ++half) {
        const bool low = half == 0;
        const auto f0 = ConvertToFloat(low ? PromoteLowerUnsigned(s0) : PromoteUpperUnsigned(s0));
        const auto f1 = ConvertToFloat(low ? PromoteLowerUnsigned(s1) : PromoteUpperUnsigned(s1));
        const auto f2 = ConvertToFloat(low ? PromoteLowerUnsigned(s2) : PromoteUpperUnsigned(s2));
        const auto f3 = ConvertToFloat(low ? PromoteLowerUnsigned(s3) : PromoteUpperUnsigned(s3));
        const std::size_t o = dst + x + 4 * half;
        StoreU(Sub(f1, f3), d, imag + o);
        StoreU(Sub(f0, f2), d, real + o);
        StoreU(Sub(Sub(Add(f0, f2), f1), f3), d, asymmetry + o);
        const auto mask = low ? PromoteLowerMask(bad) : PromoteUpperMask(bad);
        StoreU32(Or(LoadU32(d, flagWords + o), IfThenElseZero(mask, saturatedV)), d, flagWords + o);
      }
    }
    for (; x < width; ++x) {
      unscrambleReImPixel(frames[0][src + x], frames[1][src + x], frames[2][src + x],
                          frames[3][src + x], lower, upper, imag + dst + x, real + dst + x,
                          asymmetry + dst + x, flagWords + dst + x);
    }
  }
}

}  // namespace kelvora
