// The entry points of every stage's wide x86 form for one backend. Included
// only by WideStagesAvx2.cpp and WideStagesAvx512.cpp, each built with its
// instruction set, which define
//   KELVORA_WIDE_TAG      the backend tag (simd::avx2::Tag, simd::avx512::Tag)
//   KELVORA_WIDE_NAME(f)  f with the backend's suffix (fAvx2, fAvx512)
// Whole-group entry points return how far they got; the caller finishes on
// the four-lane path.
#include <cstddef>
#include <cstdint>

#include "core/CalcPixel.hpp"
#include "core/CombineStages.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleReIm.hpp"
#include "filters/AdaptiveNoiseFilterKernel.hpp"
#include "filters/Filter2FreqKernel.hpp"
#include "filters/MultipathFlagsKernel.hpp"
#include "filters/MultipathMedianKernel.hpp"

namespace kelvora {

namespace {
using WideTag = KELVORA_WIDE_TAG;
constexpr uint32_t kWideLanes = static_cast<uint32_t>(WideTag::kLanes);
}  // namespace

uint32_t KELVORA_WIDE_NAME(unscrambleReImRowGroups)(const UnscrambleRow& r, uint32_t x) {
  return UnscrambleReImRowGroups(WideTag(), r, x);
}

uint32_t KELVORA_WIDE_NAME(calcPixelWideGroups)(const CalcPixelConstants& c,
                                                const CalcPixelBuffers& b, uint32_t n) {
  const uint32_t whole = n / kWideLanes * kWideLanes;
  CalcPixelKernel(WideTag(), c, b, whole);
  return whole;
}

uint32_t KELVORA_WIDE_NAME(calc2FreqWideGroups)(const TwoFrequencyConstants& c, uint32_t n,
                                                const float* dA, const float* dB,
                                                const float* noiseA, const float* noiseB,
                                                float* distanceOut, float* differenceOut,
                                                float* noiseOut) {
  const uint32_t whole = n / kWideLanes * kWideLanes;
  Calc2FreqKernel(WideTag(), c, whole, dA, dB, noiseA, noiseB, distanceOut, differenceOut,
                  noiseOut);
  return whole;
}

int KELVORA_WIDE_NAME(filter2FreqRowGroups)(const Filter2FreqConstants& c, const float* row,
                                            int width, int x, float* out) {
  return Filter2FreqRowGroups(WideTag(), c, row, width, x, out);
}

std::ptrdiff_t KELVORA_WIDE_NAME(adaptiveNoiseRowGroups)(const AdaptiveNoiseImage& im, int radius,
                                                         std::ptrdiff_t y, std::ptrdiff_t x) {
  const WideTag d;
  return radius == 1 ? adaptive_noise_detail::filterRowGroups<1>(d, im, y, x)
                     : adaptive_noise_detail::filterRowGroups<2>(d, im, y, x);
}

std::size_t KELVORA_WIDE_NAME(multipathMeasureGroups)(std::size_t count,
                                                      const MultipathMeasureBuffers& b) {
  return MultipathMeasureGroups(WideTag(), count, b);
}

std::size_t KELVORA_WIDE_NAME(multipathMedianPairs)(const float* top, std::size_t width, float* out,
                                                    std::size_t first, std::size_t pairs) {
  return median_detail::vectorPairs(WideTag(), top, width, out, first, pairs);
}

uint32_t KELVORA_WIDE_NAME(flyingPixelRowGroups)(const KelvoraParameter& p, const float* above,
                                                 const float* row, const float* below,
                                                 uint32_t* rowFlags, uint32_t x) {
  const WideTag d;
  return FlyingPixelRowGroups(d, FlyingPixelVectors<WideTag>(d, p), above, row, below, p.width,
                              rowFlags, x);
}

}  // namespace kelvora
