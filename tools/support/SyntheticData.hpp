#pragma once
// A synthetic calibration blob in any format and a recording of a scene with
// known distances rendered for exactly the record a reader makes of that
// blob, so the recording matches what the engine will see.
#include <cstdint>
#include <string>
#include <vector>

#include "support/CalibrationFile.hpp"
#include "support/Recording.hpp"
#include "synthetic/SceneRenderer.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::tools {

struct SyntheticDataOptions {
  synth::SyntheticCalibrationOptions calibration;
  CalibrationFormat format = CalibrationFormat::kContainer;
  synth::SceneOptions scene;
  uint32_t frameSets = 5;
};

struct SyntheticData {
  std::vector<uint8_t> calibration;  // the blob
  RecordingHeader header;
  std::vector<RecordedFrameSet> frameSets;
  synth::SceneGeometry geometry;  // true distances and surface labels per image pixel
};

// Throws ToolError for options a format cannot hold (the legacy layout is
// 224 x 172 with two frequencies) or out of range.
SyntheticData makeSyntheticData(const SyntheticDataOptions& options);

}  // namespace kelvora::tools
