#pragma once
// Accuracy of processed frame sets against the scene's true distances.
#include <cstdint>
#include <string>
#include <vector>

#include "support/EngineSession.hpp"
#include "synthetic/SceneRenderer.hpp"

namespace kelvora::tools {

struct SurfaceCount {
  uint64_t pixels = 0;
  uint64_t valid = 0;
  double fraction() const { return pixels ? static_cast<double>(valid) / pixels : 0.0; }
};

class AccuracyTally {
 public:
  explicit AccuracyTally(const synth::SceneGeometry& geometry) : geometry_(geometry) {}
  // Counts one frame set's valid pixels and their absolute distance errors.
  void add(const FrameResults& r);
  SurfaceCount overall() const { return overall_; }
  SurfaceCount surface(synth::SurfaceLabel label) const {
    return surfaces_[static_cast<size_t>(label)];
  }
  // Nearest-rank percentile of |distance - true distance| in metres over the
  // valid pixels that see a surface.
  float errorPercentile(float fraction) const;
  size_t errorCount() const { return errors_.size(); }

 private:
  const synth::SceneGeometry& geometry_;
  SurfaceCount overall_;
  SurfaceCount surfaces_[5];
  std::vector<float> errors_;
};

}  // namespace kelvora::tools
