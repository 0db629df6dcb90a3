#include "view/FrameSetViews.hpp"

#include <cmath>
#include <utility>

#include "kelvora/HostSupport.hpp"
#include "support/ColourMap.hpp"
#include "support/FrameOutputs.hpp"

namespace kelvora::tools {

namespace {

template <class T>
void appendRaw(std::string& out, const T* values, size_t count) {
  out.append(reinterpret_cast<const char*>(values), sizeof(T) * count);
}

}  // namespace

nlohmann::json frameSetSummary(const ProcessedFrameSet& f) {
  const FrameResults& r = f.results;
  const size_t pixels = static_cast<size_t>(r.width) * r.height;
  return {
      {"index", f.index},
      {"width", r.width},
      {"height", r.height},
      {"validPixels", f.validPixels},
      {"validFraction", static_cast<double>(f.validPixels) / static_cast<double>(pixels)},
      {"milliseconds", r.milliseconds},
      {"exposureProposals", r.exposureProposals},
      {"pointCount", r.pointCloud.size() / 4},
      {"sparsePointCloud", r.sparsePointCloud},
      {"distanceScaleTop", distanceScaleTop(r)},
      {"imageScale", kViewImageScale},
  };
}

nlohmann::json pixelResults(const ProcessedFrameSet& f, uint32_t x, uint32_t y) {
  const FrameResults& r = f.results;
  const size_t i = static_cast<size_t>(y) * r.width + x;
  nlohmann::json pixel = {
      {"x", x},
      {"y", y},
      {"distance", static_cast<double>(r.distance[i])},
      {"noise", static_cast<double>(r.noise[i])},
      {"amplitude", static_cast<double>(r.amplitude[i])},
      {"intensity", static_cast<double>(r.intensity[i])},
      {"flags", r.flags[i]},
      {"flagsText", describeFlags(r.flags[i])},
  };
  if (!r.sparsePointCloud && 4 * i + 3 < r.pointCloud.size()) {
    const float* p = &r.pointCloud[4 * i];
    pixel["point"] = {p[0], p[1], p[2], p[3]};
  }
  return pixel;
}

std::string resultPng(const ProcessedFrameSet& f, const std::string& result) {
  const std::pair<const char*, ResultImage> kinds[] = {{"distance", ResultImage::kDistance},
                                                       {"amplitude", ResultImage::kAmplitude},
                                                       {"noise", ResultImage::kNoise},
                                                       {"intensity", ResultImage::kIntensity},
                                                       {"flags", ResultImage::kFlags}};
  for (const auto& [name, kind] : kinds) {
    if (result == name) {
      // Served images are made for each request; speed matters more than size.
      return encodePng(renderResultImage(f.results, kind, kViewImageScale), 1);
    }
  }
  return {};
}

std::string pointCloudBytes(const ProcessedFrameSet& f) {
  const FrameResults& r = f.results;
  const size_t points = r.pointCloud.size() / 4;
  const float top = distanceScaleTop(r);
  std::vector<float> positions;
  std::vector<uint8_t> byDistance, byFlags;
  for (size_t i = 0; i < points; ++i) {
    const float* p = &r.pointCloud[4 * i];
    if (!(std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]))) continue;
    if (p[0] == 0.0f && p[1] == 0.0f && p[2] == 0.0f) continue;
    // A sparse cloud holds only valid points, in no pixel's place.
    const uint32_t flags = r.sparsePointCloud ? 0 : r.flags[i];
    const float distance =
        r.sparsePointCloud ? std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]) : r.distance[i];
    uint8_t colour[3] = {40, 40, 40};  // invalid, as in the distance image
    if (flags == 0) colourMap(distance / top, colour);
    byDistance.insert(byDistance.end(), colour, colour + 3);
    flagColour(flags, colour);
    byFlags.insert(byFlags.end(), colour, colour + 3);
    positions.insert(positions.end(), p, p + 3);
  }
  const uint32_t count = static_cast<uint32_t>(positions.size() / 3);
  std::string out;
  out.reserve(4 + 18ull * count);
  appendRaw(out, &count, 1);
  appendRaw(out, positions.data(), positions.size());
  appendRaw(out, byDistance.data(), byDistance.size());
  appendRaw(out, byFlags.data(), byFlags.size());
  return out;
}

}  // namespace kelvora::tools
