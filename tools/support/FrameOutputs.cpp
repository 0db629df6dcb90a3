#include "support/FrameOutputs.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/ColourMap.hpp"
#include "support/NpyWriter.hpp"
#include "support/PlyWriter.hpp"
#include "support/PngWriter.hpp"

namespace kelvora::tools {

namespace {

std::vector<float> validValues(const std::vector<float>& values, const std::vector<uint32_t>& flags,
                               size_t n) {
  std::vector<float> out;
  for (size_t i = 0; i < n; ++i) {
    if (flags[i] == 0) out.push_back(values[i]);
  }
  return out;
}

}  // namespace

float distanceScaleTop(const FrameResults& r) {
  const size_t n = static_cast<size_t>(r.width) * r.height;
  const float far = percentile(validValues(r.distance, r.flags, n), 1.0f);
  return std::max(0.5f, std::ceil(far * 2.0f) / 2.0f);
}

RgbImage renderResultImage(const FrameResults& r, ResultImage which, uint32_t scale) {
  const size_t n = static_cast<size_t>(r.width) * r.height;
  const ImageLayout layout{r.width, r.height, scale};
  switch (which) {
    case ResultImage::kDistance:
      return renderMetres(r.distance.data(), r.flags.data(), layout, 0.0f, distanceScaleTop(r));
    case ResultImage::kNoise: {
      const float top = std::max(1e-3f, percentile(validValues(r.noise, r.flags, n), 0.99f));
      return renderMetres(r.noise.data(), r.flags.data(), layout, 0.0f, top);
    }
    case ResultImage::kAmplitude:
      return renderGrey(
          r.amplitude.data(), layout,
          percentile(std::vector<float>(r.amplitude.begin(), r.amplitude.begin() + n), 0.99f));
    case ResultImage::kIntensity:
      return renderGrey(
          r.intensity.data(), layout,
          percentile(std::vector<float>(r.intensity.begin(), r.intensity.begin() + n), 0.99f));
    case ResultImage::kFlags:
      break;
  }
  return renderFlags(r.flags.data(), layout);
}

void writeFrameOutputs(const StagingDir& out, const std::string& prefix, const FrameResults& r,
                       const OutputChoice& choice) {
  if (choice.images) {
    const std::pair<ResultImage, const char*> images[] = {
        {ResultImage::kDistance, "distance.png"},
        {ResultImage::kNoise, "noise.png"},
        {ResultImage::kAmplitude, "amplitude.png"},
        {ResultImage::kIntensity, "intensity.png"},
        {ResultImage::kFlags, "flags.png"}};
    for (const auto& [which, name] : images) {
      writePng(out.file(prefix + name), renderResultImage(r, which, choice.imageScale));
    }
  }
  if (choice.pointCloud) {
    // The valid points: a sparse cloud holds only those, a dense one holds
    // every pixel in pixel order.
    std::vector<PlyPoint> points;
    for (size_t i = 0; 4 * i + 3 < r.pointCloud.size(); ++i) {
      if (!r.sparsePointCloud && r.flags[i] != 0) continue;
      const float* p = &r.pointCloud[4 * i];
      points.push_back({p[0], p[1], p[2], p[3]});
    }
    writePly(out.file(prefix + "points.ply"), points);
  }
  if (choice.arrays) {
    const std::vector<uint32_t> shape = {r.height, r.width};
    writeNpy(out.file(prefix + "distance.npy"), r.distance.data(), shape);
    writeNpy(out.file(prefix + "amplitude.npy"), r.amplitude.data(), shape);
    writeNpy(out.file(prefix + "noise.npy"), r.noise.data(), shape);
    writeNpy(out.file(prefix + "intensity.npy"), r.intensity.data(), shape);
    writeNpy(out.file(prefix + "flags.npy"), r.flags.data(), shape);
    const std::vector<uint32_t> cloudShape =
        r.sparsePointCloud
            ? std::vector<uint32_t>{static_cast<uint32_t>(r.pointCloud.size() / 4), 4}
            : std::vector<uint32_t>{r.height, r.width, 4};
    writeNpy(out.file(prefix + "point_cloud.npy"), r.pointCloud.data(), cloudShape);
    writeNpy(out.file(prefix + "exposure_proposals.npy"), r.exposureProposals.data(),
             {static_cast<uint32_t>(r.exposureProposals.size())});
  }
}

}  // namespace kelvora::tools
