#pragma once
// The files written for one processed frame set.
#include <string>

#include "support/EngineSession.hpp"
#include "support/StagingDir.hpp"

namespace kelvora::tools {

struct OutputChoice {
  bool images = true;
  bool arrays = false;      // .npy of every result
  bool pointCloud = true;   // .ply of the valid points
  uint32_t imageScale = 2;  // each pixel as a scale x scale block
};

// Writes "<prefix>distance.png", "<prefix>amplitude.png", "<prefix>intensity.png",
// "<prefix>noise.png", "<prefix>flags.png", "<prefix>points.ply" and, with
// arrays, "<prefix><result>.npy" into the staging directory.
void writeFrameOutputs(const StagingDir& out, const std::string& prefix, const FrameResults& r,
                       const OutputChoice& choice);

}  // namespace kelvora::tools
