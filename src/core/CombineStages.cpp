#include "core/CombineStages.hpp"

#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/PixelFlags.hpp"
#include "core/CoreKernels.hpp"

namespace kelvora {

void wrapSingleFrequencyDistance(uint32_t n, const float* in, float range, float* out) {
  coreKernels().wrapDistance(n, in, range, out);
}

void flagNoise(uint32_t n, const float* noise, float threshold, uint32_t* flagsOut) {
  coreKernels().flagNoise(n, noise, threshold, flagsOut);
}

void flagFlyingPixels(const KelvoraParameter& p, const float* distance, uint32_t* flagsOut) {
  const FlyingPixelLimits limits{p.flyingPixelNearDist, p.flyingPixelFarDist, p.flyingPixelF0,
                                 p.flyingPixelF1};
  coreKernels().flagFlyingPixels(limits, p.width, p.height, distance, flagsOut);
}

uint32_t finishImage(const FinishImage& image) {
  return coreKernels().finishImage(image);
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
