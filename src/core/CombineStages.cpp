#include "core/CombineStages.hpp"

#include <cmath>

#include "simd/WideVectors.hpp"

namespace kelvora {

void wrapSingleFrequencyDistance(uint32_t n, const float* in, float range, float* out) {
  WrapDistanceKernel(simd::NativeTag(), n, in, range, out);
}

void flagNoise(uint32_t n, const float* noise, float threshold, uint32_t* flagsOut) {
  FlagNoiseKernel(simd::NativeTag(), n, noise, threshold, flagsOut);
}

void flagFlyingPixels(const KelvoraParameter& p, const float* distance, uint32_t* flagsOut) {
  FlagFlyingPixelsKernel(simd::NativeTag(), p, distance, flagsOut, simd::vectorLanes());
}

void validateImage(const KelvoraParameter& p, KelvoraOutput& out) {
  const uint32_t n = pixelCountOf(p);
  for (uint32_t i = 0; i < n; ++i) {
    if (out.flags[i] == 0) continue;
    // A sparse cloud holds no point for a flagged pixel, and slot i belongs
    // to another pixel's packed point.
    if (!p.useSparsePointCloud) {
      out.pointCloud[4 * i] = 0.0f;
      out.pointCloud[4 * i + 1] = 0.0f;
      out.pointCloud[4 * i + 2] = 0.0f;
    }
    out.distance[i] = 0.0f;
    out.noise[i] = 0.0f;
    out.flags[i] = flags::kInvalid;
  }
}

}  // namespace kelvora
