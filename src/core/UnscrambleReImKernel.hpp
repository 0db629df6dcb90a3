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
#include "simd/OpaquePointer.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// The first column of a row that is computed exactly. Before it, the 16-bit
// path runs in steps of eight pixels while the column is below width - 8; a
// row of eight pixels or fewer is exact throughout.
inline std::size_t UnscrambleExactFrom(std::size_t width) {
  return width > 8 ? (width - 1) / 8 * 8 : 0;
}

// Output pixels [begin, end) from the samples one row further on: the output
// index is the sample index less one row, so one span may cross rows. With
// kFlag false the span leaves the flags alone (they are ORed in already).
// Flattened: with the group runner and the body inlined, the captured
// pointers and bounds live in registers, where a body called through its
// address has them read again after every store.
template <bool kWrapped, bool kFlag, class D>
[[gnu::flatten]] void UnscrambleSpan(D d, const UnscrambleFrames& f, std::size_t begin,
                                     std::size_t end) {
  const auto lower = SetI(d, f.lower);
  const auto upper = SetI(d, f.upper);
  const auto saturated = SetU(d, flags::kSaturated);
  // Every stream starts at the span, each with a pointer of its own.
  const std::size_t at = f.width + begin;
  const uint16_t* const frame0 = OpaquePointer(f.frames[0] + at);
  const uint16_t* const frame1 = OpaquePointer(f.frames[1] + at);
  const uint16_t* const frame2 = OpaquePointer(f.frames[2] + at);
  const uint16_t* const frame3 = OpaquePointer(f.frames[3] + at);
  float* const imagOut = OpaquePointer(f.imag + begin);
  float* const realOut = OpaquePointer(f.real + begin);
  float* const asymmetryOut = OpaquePointer(f.asymmetry + begin);
  uint32_t* const flagsOut = OpaquePointer(f.flags + begin);
  simd::ForEachGroup(d, 0, end - begin, [=](auto g, std::size_t i) {
    const auto s0 = g.LoadSamples(d, frame0 + i);
    const auto s1 = g.LoadSamples(d, frame1 + i);
    const auto s2 = g.LoadSamples(d, frame2 + i);
    const auto s3 = g.LoadSamples(d, frame3 + i);
    const auto imag = Sub(s1, s3);
    const auto real = Sub(s0, s2);
    const auto asymmetry = Sub(Add(s0, s2), Add(s1, s3));
    if (kWrapped) {
      g.Store(d, ConvertSignExtended16ToFloat(imag), imagOut + i);
      g.Store(d, ConvertSignExtended16ToFloat(real), realOut + i);
      g.Store(d, ConvertSignExtended16ToFloat(asymmetry), asymmetryOut + i);
    } else {
      g.Store(d, ConvertToFloat(imag), imagOut + i);
      g.Store(d, ConvertToFloat(real), realOut + i);
      g.Store(d, ConvertToFloat(asymmetry), asymmetryOut + i);
    }
    if (kFlag) {
      // A sample is outside exactly when the largest or the smallest is.
      const auto largest = MaxSample(MaxSample(s0, s1), MaxSample(s2, s3));
      const auto smallest = MinSample(MinSample(s0, s1), MinSample(s2, s3));
      const auto bad = Or(Gt(largest, upper), Gt(lower, smallest));
      g.Store32(d, Or(g.Load32(d, flagsOut + i), IfThenElseZero(bad, saturated)), flagsOut + i);
    }
  });
}

// One span over the whole image, in the 16-bit form when any column has it;
// then the exact columns of every row once more, in their own form.
template <class D>
void UnscrambleReImKernel(D d, const UnscrambleFrames& f) {
  if (f.height <= 1) return;
  const std::size_t width = f.width;
  const std::size_t exactFrom = UnscrambleExactFrom(width);
  const std::size_t outputs = width * (f.height - 1);
  if (exactFrom == 0) {
    UnscrambleSpan<false, true>(d, f, 0, outputs);
    return;
  }
  UnscrambleSpan<true, true>(d, f, 0, outputs);
  for (std::size_t row = 0; row < outputs; row += width) {
    UnscrambleSpan<false, false>(d, f, row + exactFrom, row + width);
  }
}

}  // namespace kelvora::KELVORA_TARGET
