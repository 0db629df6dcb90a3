#include "core/CombineStages.hpp"

#include <cmath>

namespace kelvora {

void wrapSingleFrequencyDistance(uint32_t n, const float* in, float range, float* out) {
  WrapDistanceKernel(simd::NativeTag(), n, in, range, out);
}

void flagNoise(uint32_t n, const float* noise, float threshold, uint32_t* flagsOut) {
  FlagNoiseKernel(simd::NativeTag(), n, noise, threshold, flagsOut);
}

namespace {

float flyingPixelLimit(const KelvoraParameter& p, float d) {
  if (!(d > p.flyingPixelNearDist)) return p.flyingPixelF0;
  if (d < p.flyingPixelFarDist) {
    return p.flyingPixelF0 + (d - p.flyingPixelNearDist) * (p.flyingPixelF1 - p.flyingPixelF0) /
                                 (p.flyingPixelFarDist - p.flyingPixelNearDist);
  }
  return p.flyingPixelF1;
}

}  // namespace

void flagFlyingPixels(const KelvoraParameter& p, const float* distance, uint32_t* flagsOut) {
  const uint32_t w = p.width, h = p.height;
  if (h < 3 || w < 3) return;
  for (uint32_t y = 1; y + 1 < h; ++y) {
    const float* row = distance + static_cast<size_t>(y) * w;
    const float* above = row - w;
    const float* below = row + w;
    for (uint32_t x = 1; x + 1 < w; ++x) {
      const float d = std::fabs(row[x]);
      const float limit = flyingPixelLimit(p, d);
      const bool horizontal =
          std::fabs(row[x - 1] - d) > limit && std::fabs(row[x + 1] - d) > limit;
      const bool vertical = std::fabs(above[x] - d) > limit && std::fabs(below[x] - d) > limit;
      if (horizontal || vertical) flagsOut[static_cast<size_t>(y) * w + x] |= flags::kFlyingPixel;
    }
  }
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
