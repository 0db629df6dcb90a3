#pragma once
// Runs the processing core on rendered frame sets: owns the calibration,
// the scratch and padded output buffers, and hands out the true distances.
#include <cstdint>
#include <vector>

#include "base/KelvoraInput.hpp"
#include "base/KelvoraOutput.hpp"
#include "common/CoreFixtures.hpp"
#include "synthetic/OutputArrays.hpp"
#include "synthetic/SceneRenderer.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::testing {

// The result arrays are exactly n elements long (synth::OutputArrays).
class PipelineHarness : public synth::OutputArrays {
 public:
  explicit PipelineHarness(const synth::SyntheticCalibrationOptions& calibrationOptions,
                           const synth::SceneOptions& sceneOptions = {});

  KelvoraCalibration& calibration() { return *calibration_; }
  KelvoraParameter& parameters() { return parameters_; }
  synth::SceneGeometry& geometry() { return geometry_; }
  KelvoraIntermediate& intermediate() { return *intermediate_; }
  uint32_t pixelCount() const { return parameters_.width * parameters_.height; }

  // (Re)builds the scratch for the current parameters; returns kelvoraTavelInit's result.
  int32_t initialise();
  synth::RenderedFrameSet render(uint32_t frameIndex = 0) const;
  // Runs intensity, every frequency and combine on one frame set.
  void process(const synth::RenderedFrameSet& frames);

 private:
  CalibrationPtr calibration_;
  KelvoraParameter parameters_{};
  synth::SceneOptions scene_;
  synth::SceneGeometry geometry_;
  IntermediatePtr intermediate_;
  KelvoraInput input_{};
};

}  // namespace kelvora::testing
