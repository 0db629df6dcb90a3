#include "core/CombineStages.hpp"

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraIntermediate.hpp"
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

void finishOutput(const KelvoraParameter& p, const KelvoraCalibration& calibration,
                  const KelvoraIntermediate& intermediate, KelvoraOutput& output) {
  const bool copyAmplitude = p.numFreqs >= 1 && p.numFreqs <= intermediate.numFreqs;
  const FinishImage finish{
      p.width,
      p.height,
      p.noiseThreshold,
      p.useRemoveFlyingPixel,
      {p.flyingPixelNearDist, p.flyingPixelFarDist, p.flyingPixelF0, p.flyingPixelF1},
      p.useSparsePointCloud,
      p.useValidateImage,
      calibration.directions,
      copyAmplitude ? intermediate.probeData[p.numFreqs - 1].amplitude : nullptr,
      output.amplitude,
      output.distance,
      output.noise,
      output.flags,
      output.pointCloud};
  const uint32_t sparseCount = finishImage(finish);
  // A dense cloud is counted in whole groups of four pixels, as the stage
  // has always reported it, although only the real pixels' points are stored.
  const uint32_t n = pixelCountOf(p);
  output.pointCloudSize = p.useSparsePointCloud ? sparseCount : 4u * ((n + 3u) & ~3u);
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
