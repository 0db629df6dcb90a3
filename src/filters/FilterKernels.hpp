#pragma once
// The filters' per-pixel parts, one table of entry points per vector target
// (see core/CoreKernels.hpp for the rule). Each entry runs its whole image or
// buffer, tails included, and touches nothing past the sizes it states.
#include <cstddef>
#include <cstdint>

#include "filters/AdaptiveNoiseFilter.hpp"
#include "filters/Filter2Freq.hpp"
#include "filters/MultipathFlags.hpp"
#include "filters/PointCloud.hpp"
#include "simd/Targets.hpp"

namespace kelvora {

struct FilterKernels {
  simd::Target target;
  // Columns 1 .. width - 2 of distance from the copy in scratch, every row of
  // an image of two rows or more.
  void (*filter2FreqInterior)(const Filter2FreqConstants& constants, uint32_t width,
                              uint32_t height, const float* scratch, float* distance);
  // Rows and columns radius .. size - radius - 1; radius 1 or 2.
  void (*adaptiveNoise)(const AdaptiveNoiseImage& image, int radius);
  void (*multipathMeasures)(std::size_t n, const MultipathMeasureBuffers& buffers);
  // ORs the flag of each test that a pixel fails; one or two tests, with the
  // flag words read and written once.
  void (*flagAboveNoiseFloor)(std::size_t n, const NoiseFloorTest* tests, std::size_t count,
                              uint32_t* flags);
  // The interior pairs of data from the copy in scratch.
  void (*median)(uint32_t width, uint32_t height, const float* scratch, float* data);
  void (*pointCloudDense)(const PointCloudImage& image);
  uint32_t (*pointCloudSparse)(const PointCloudImage& image);
  // Complex values as (re, im) float pairs.
  void (*strayLightPadRow)(const float* re, const float* im, uint32_t w, uint32_t ox,
                           uint32_t width, float* out);
  void (*strayLightMultiply)(float* bins, const float* factor, std::size_t count);
  void (*strayLightWriteBackRow)(const float* row, uint32_t w, float scale, float* re, float* im);
};

// The selected target's table.
const FilterKernels& filterKernels();

// One target's table, or null when this build or this processor lacks it.
const FilterKernels* filterKernelsFor(simd::Target target);

}  // namespace kelvora
