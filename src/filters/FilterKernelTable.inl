// The filters' kernel table for one target. Included only by the target's
// translation unit (FilterKernelsScalar.cpp, ...Sse2, ...Neon, ...Avx2,
// ...Avx512), which names the target first; see simd/Simd.hpp.
#include "filters/Filter2FreqKernel.hpp"
#include "filters/FilterKernels.hpp"
#include "filters/MultipathFlagsKernel.hpp"
#include "filters/MultipathMedianKernel.hpp"
#include "filters/PointCloudKernel.hpp"
#include "filters/StrayLightKernel.hpp"

namespace kelvora::KELVORA_TARGET {

// In a translation unit of its own (filters/AdaptiveNoiseKernelEntry.inl).
void adaptiveNoise(const AdaptiveNoiseImage& image, int radius);

namespace {

void filter2FreqInterior(const Filter2FreqConstants& c, uint32_t width, uint32_t height,
                         const float* scratch, float* distance) {
  Filter2FreqInteriorKernel(Tag(), c, width, height, scratch, distance);
}

void multipathMeasures(std::size_t n, const MultipathMeasureBuffers& b) {
  MultipathMeasuresKernel(Tag(), n, b);
}

void flagAboveNoiseFloor(std::size_t n, const NoiseFloorTest* tests, std::size_t count,
                         uint32_t* flags) {
  if (count == 2) {
    NoiseFloorKernel<2>(Tag(), n, tests, flags);
  } else {
    NoiseFloorKernel<1>(Tag(), n, tests, flags);
  }
}

void median(uint32_t width, uint32_t height, const float* scratch, float* data) {
  MedianKernel(Tag(), width, height, scratch, data);
}

void pointCloudDense(const PointCloudImage& image) {
  PointCloudDenseKernel(Tag(), image);
}

uint32_t pointCloudSparse(const PointCloudImage& image) {
  return PointCloudSparseKernel(Tag(), image);
}

void strayLightPadRow(const float* re, const float* im, uint32_t w, uint32_t ox, uint32_t width,
                      float* out) {
  PadRowKernel(Tag(), re, im, w, ox, width, out);
}

void strayLightMultiply(float* bins, const float* factor, std::size_t count) {
  MultiplySpectrumKernel(Tag(), bins, factor, count);
}

void strayLightWriteBackRow(const float* row, uint32_t w, float scale, float* re, float* im) {
  WriteBackRowKernel(Tag(), row, w, scale, re, im);
}

}  // namespace

extern const FilterKernels kFilterKernels;
const FilterKernels kFilterKernels = {KELVORA_TARGET_ENUM, filter2FreqInterior,   adaptiveNoise,
                                      multipathMeasures,   flagAboveNoiseFloor,   median,
                                      pointCloudDense,     pointCloudSparse,      strayLightPadRow,
                                      strayLightMultiply,  strayLightWriteBackRow};

}  // namespace kelvora::KELVORA_TARGET
