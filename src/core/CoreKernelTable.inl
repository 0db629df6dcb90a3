// The core's kernel table for one target. Included only by the target's
// translation unit (CoreKernelsScalar.cpp, ...Sse2, ...Neon, ...Avx2,
// ...Avx512), which names the target first; see simd/Simd.hpp.
#include "core/CalcPixelKernel.hpp"
#include "core/CoreKernels.hpp"
#include "core/FinishImageKernel.hpp"
#include "core/FlyingPixelKernel.hpp"
#include "core/NoiseFlagKernel.hpp"
#include "core/TwoFrequencyUnwrapKernel.hpp"
#include "core/UnscrambleIntensityKernel.hpp"
#include "core/UnscrambleReImKernel.hpp"
#include "core/WrapDistanceKernel.hpp"

namespace kelvora::KELVORA_TARGET {

namespace {

void unscrambleReIm(const UnscrambleFrames& frames) {
  UnscrambleReImKernel(Tag(), frames);
}

void unscrambleIntensity(std::size_t n, const uint16_t* raw, const float* fpn, float scale,
                         float* grey, float* normalised) {
  UnscrambleIntensityKernel(Tag(), n, raw, fpn, scale, grey, normalised);
}

void calcPixel(const CalcPixelConstants& c, const CalcPixelBuffers& b, uint32_t n) {
  CalcPixelKernel(Tag(), c, b, n);
}

void calc2Freq(const TwoFrequencyConstants& c, uint32_t n, const TwoFrequencyBuffers& b) {
  Calc2FreqKernel(Tag(), c, n, b);
}

void wrapDistance(uint32_t n, const float* in, float range, float* out) {
  WrapDistanceKernel(Tag(), n, in, range, out);
}

void flagNoise(uint32_t n, const float* noise, float threshold, uint32_t* flagsOut) {
  NoiseFlagKernel(Tag(), n, noise, threshold, flagsOut);
}

void flagFlyingPixels(const FlyingPixelLimits& limits, uint32_t width, uint32_t height,
                      const float* distance, uint32_t* flagsOut) {
  FlyingPixelKernel(Tag(), limits, width, height, distance, flagsOut);
}

uint32_t finishImage(const FinishImage& image) {
  return FinishImageKernel(Tag(), image);
}

}  // namespace

extern const CoreKernels kCoreKernels;
const CoreKernels kCoreKernels = {KELVORA_TARGET_ENUM, unscrambleReIm,   unscrambleIntensity,
                                  calcPixel,           calc2Freq,        wrapDistance,
                                  flagNoise,           flagFlyingPixels, finishImage};

}  // namespace kelvora::KELVORA_TARGET
