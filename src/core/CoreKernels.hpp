#pragma once
// The core's per-pixel stages, one table of entry points per vector target.
// A stage calls coreKernels().entry(...): the selected target's form, chosen
// once (simd::setVectorLanes), never a chain of width tests. Each entry takes
// plain buffers of exactly the sizes it states and runs the whole stage,
// tails included, without touching anything past them.
#include <cstddef>
#include <cstdint>

#include "core/CalcPixel.hpp"
#include "core/CombineStages.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleReIm.hpp"
#include "simd/Targets.hpp"

namespace kelvora {

struct CoreKernels {
  simd::Target target;
  void (*unscrambleReIm)(const UnscrambleFrames& frames);
  // n pixels: grey = raw - fpn, normalised = max(grey, 0) x scale.
  void (*unscrambleIntensity)(std::size_t n, const uint16_t* raw, const float* fpn, float scale,
                              float* grey, float* normalised);
  void (*calcPixel)(const CalcPixelConstants& constants, const CalcPixelBuffers& buffers,
                    uint32_t n);
  void (*calc2Freq)(const TwoFrequencyConstants& constants, uint32_t n,
                    const TwoFrequencyBuffers& buffers);
  void (*wrapDistance)(uint32_t n, const float* in, float range, float* out);
  void (*flagNoise)(uint32_t n, const float* noise, float threshold, uint32_t* flags);
  void (*flagFlyingPixels)(const FlyingPixelLimits& limits, uint32_t width, uint32_t height,
                           const float* distance, uint32_t* flags);
  uint32_t (*finishImage)(const FinishImage& image);
};

// The selected target's table.
const CoreKernels& coreKernels();

// One target's table, or null when this build or this processor lacks it.
const CoreKernels* coreKernelsFor(simd::Target target);

}  // namespace kelvora
