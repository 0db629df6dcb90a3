#pragma once
// What the page is sent about one processed frame set: a summary, one
// pixel's results, the result images and the point cloud.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "view/FrameSetCache.hpp"

namespace kelvora::tools {

// Image pixels per result pixel, as in the tool's PNG files.
constexpr uint32_t kViewImageScale = 2;

// Index, frame size, valid pixels and fraction, processing time, exposure
// proposals, point count and the top of the distance colour scale.
nlohmann::json frameSetSummary(const ProcessedFrameSet& f);

// Distance, noise, amplitude and intensity of pixel (x, y), its flag word
// as a number and in words, and its point when the cloud is dense. Floats
// are sent as the doubles they equal, so a reader gets the engine's bits.
nlohmann::json pixelResults(const ProcessedFrameSet& f, uint32_t x, uint32_t y);

// The PNG of a result ("distance", "amplitude", "noise", "intensity",
// "flags") with its legend; empty for another name.
std::string resultPng(const ProcessedFrameSet& f, const std::string& result);

// The points for the 3D view, little-endian: the point count N (uint32),
// N x (x, y, z) float32 in metres, then N RGB colours by distance (the
// distance image's map and scale) and N RGB colours by flag word (the flags
// image's colours). Points at the origin (no distance) are left out.
std::string pointCloudBytes(const ProcessedFrameSet& f);

}  // namespace kelvora::tools
