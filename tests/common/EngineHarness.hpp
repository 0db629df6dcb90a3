#pragma once
// Engines made from synthetic calibration blobs, and frame sets handed to
// them through the public input record.
#include <memory>
#include <vector>

#include "calibration/CalibrationRecord.hpp"
#include "kelvora/IKelvora.hpp"
#include "synthetic/SceneRenderer.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::testing {

struct EngineDeleter {
  void operator()(IKelvora* e) const { delete e; }
};
using EnginePtr = std::unique_ptr<IKelvora, EngineDeleter>;

// 40 x 30 pixels: small enough for many engines, with vector tails.
synth::SyntheticCalibrationOptions smallCalibration(std::vector<uint32_t> frequencies = {
                                                        80320000u, 60240000u});

std::vector<uint8_t> containerBlobFor(const synth::SyntheticCalibrationOptions& options);

// getKelvora on the blob; fails the test (and returns null) on a bad status.
EnginePtr makeEngine(const std::vector<uint8_t>& blob);

// A view of the frames as the engine's input; the frame set must outlive it.
Input<ArrayReference, 2> inputFor(synth::RenderedFrameSet& frames);

// Every result kind of the engine (exposure proposals included), byte for
// byte, for bit-exact comparisons.
std::vector<unsigned char> resultBytes(IKelvora& engine);

// Renders frame sets for the calibration an engine was made from: the
// synthetic calibration with directions computed as the engine computes them.
class SceneForEngine {
 public:
  SceneForEngine(const synth::SyntheticCalibrationOptions& calibration,
                 const synth::SceneOptions& scene = {});
  ~SceneForEngine();
  SceneForEngine(const SceneForEngine&) = delete;
  SceneForEngine& operator=(const SceneForEngine&) = delete;
  synth::RenderedFrameSet render(uint32_t frameIndex = 0) const;

 private:
  KelvoraCalibration* calibration_;
  synth::SceneOptions scene_;
  synth::SceneGeometry geometry_;
};

}  // namespace kelvora::testing
