#pragma once
// The phase-frame unscrambling over every output row, in groups of 32-bit
// lanes. Samples are widened first, so every sum and difference is exact; the
// columns of the sensor's 16-bit path then keep only the low 16 bits, read as
// signed, which is what 16-bit wrap-around arithmetic followed by sign
// extension gives.
#include <cstddef>
#include <cstdint>

#include "base/PixelFlags.hpp"
#include "core/UnscrambleReIm.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// The first column of a row that is computed exactly. Before it, the 16-bit
// path runs in steps of eight pixels while the column is below width - 8; a
// row of eight pixels or fewer is exact throughout.
inline std::size_t UnscrambleExactFrom(std::size_t width) {
  return width > 8 ? (width - 1) / 8 * 8 : 0;
}

template <class D>
void UnscrambleReImKernel(D d, const UnscrambleFrames& f) {
  if (f.height <= 1) return;
  const std::size_t width = f.width;
  const std::size_t exactFrom = UnscrambleExactFrom(width);
  const auto lower = Set(d, static_cast<float>(f.lower));
  const auto upper = Set(d, static_cast<float>(f.upper));
  const auto saturated = SetU(d, flags::kSaturated);
  // The buffers as values of their own: the group body captures copies, so
  // they stay in registers instead of being read again after every store.
  const uint16_t* const frame0 = f.frames[0];
  const uint16_t* const frame1 = f.frames[1];
  const uint16_t* const frame2 = f.frames[2];
  const uint16_t* const frame3 = f.frames[3];
  float* const imagOut = f.imag;
  float* const realOut = f.real;
  float* const asymmetryOut = f.asymmetry;
  uint32_t* const flagsOut = f.flags;
  for (std::size_t row = 1; row < f.height; ++row) {
    const std::size_t src = row * width;
    const std::size_t dst = src - width;
    simd::ForEachGroup(d, 0, width, [=](auto g, std::size_t x) {
      const auto s0 = g.LoadSamples(d, frame0 + src + x);
      const auto s1 = g.LoadSamples(d, frame1 + src + x);
      const auto s2 = g.LoadSamples(d, frame2 + src + x);
      const auto s3 = g.LoadSamples(d, frame3 + src + x);
      // Every 16-bit sample is exact in float, so the bounds test can be too.
      const auto outside = [=](auto s) {
        const auto v = ConvertToFloat(s);
        return Or(Gt(v, upper), Lt(v, lower));
      };
      const auto bad = Or(Or(outside(s0), outside(s1)), Or(outside(s2), outside(s3)));
      auto imag = Sub(s1, s3);
      auto real = Sub(s0, s2);
      auto asymmetry = Sub(Sub(Add(s0, s2), s1), s3);
      if (x < exactFrom) {
        const auto wrappedImag = ConvertToFloat(SignExtend16(imag));
        const auto wrappedReal = ConvertToFloat(SignExtend16(real));
        const auto wrappedAsymmetry = ConvertToFloat(SignExtend16(asymmetry));
        if (x + g.count() <= exactFrom) {
          g.Store(d, wrappedImag, imagOut + dst + x);
          g.Store(d, wrappedReal, realOut + dst + x);
          g.Store(d, wrappedAsymmetry, asymmetryOut + dst + x);
        } else {
          const auto wrapped = FirstN(d, exactFrom - x);
          g.Store(d, IfThenElse(wrapped, wrappedImag, ConvertToFloat(imag)), imagOut + dst + x);
          g.Store(d, IfThenElse(wrapped, wrappedReal, ConvertToFloat(real)), realOut + dst + x);
          g.Store(d, IfThenElse(wrapped, wrappedAsymmetry, ConvertToFloat(asymmetry)),
                  asymmetryOut + dst + x);
        }
      } else {
        g.Store(d, ConvertToFloat(imag), imagOut + dst + x);
        g.Store(d, ConvertToFloat(real), realOut + dst + x);
        g.Store(d, ConvertToFloat(asymmetry), asymmetryOut + dst + x);
      }
      g.Store32(d, Or(g.Load32(d, flagsOut + dst + x), IfThenElseZero(bad, saturated)),
                flagsOut + dst + x);
    });
  }
}

}  // namespace kelvora::KELVORA_TARGET
