#pragma once
// Point clouds as binary little-endian PLY with x, y, z (metres) and the
// engine's per-point confidence, readable by common point-cloud viewers.
#include <cstdint>
#include <string>
#include <vector>

namespace kelvora::tools {

struct PlyPoint {
  float x, y, z, confidence;
};

// Throws ToolError when the file cannot be written.
void writePly(const std::string& path, const std::vector<PlyPoint>& points);

}  // namespace kelvora::tools
