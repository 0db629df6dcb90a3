#pragma once
// The files written for one processed frame set.
#include <string>

#include "support/EngineSession.hpp"
#include "support/PngWriter.hpp"
#include "support/StagingDir.hpp"

namespace kelvora::tools {

struct OutputChoice {
  bool images = true;
  bool arrays = false;      // .npy of every result
  bool pointCloud = true;   // .ply of the valid points
  uint32_t imageScale = 2;  // each pixel as a scale x scale block
};

enum class ResultImage { kDistance, kAmplitude, kNoise, kIntensity, kFlags };

// One result of a frame set as people see it, each pixel a scale x scale
// block: distance from 0 to distanceScaleTop and noise up to the 99th
// percentile of the valid pixels through the colour map with a legend in
// metres, amplitude and intensity in grey up to their 99th percentile, flags
// one colour per cause with the cause legend.
RgbImage renderResultImage(const FrameResults& r, ResultImage which, uint32_t scale);

// The farthest valid distance rounded up to half a metre (at least 0.5 m),
// so consecutive frame sets of one scene share a colour scale.
float distanceScaleTop(const FrameResults& r);

// Writes "<prefix>distance.png", "<prefix>amplitude.png", "<prefix>intensity.png",
// "<prefix>noise.png", "<prefix>flags.png", "<prefix>points.ply" and, with
// arrays, "<prefix><result>.npy" into the staging directory.
void writeFrameOutputs(const StagingDir& out, const std::string& prefix, const FrameResults& r,
                       const OutputChoice& choice);

}  // namespace kelvora::tools
