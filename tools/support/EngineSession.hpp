#pragma once
// One engine made through the public factory, configured by name, fed with
// recorded frame sets; results are copied out after each frame set.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kelvora/IKelvora.hpp"
#include "support/Recording.hpp"

namespace kelvora::tools {

struct FrameResults {
  uint32_t width = 0, height = 0;
  std::vector<float> distance, amplitude, noise, intensity;
  std::vector<uint32_t> flags;
  bool sparsePointCloud = false;
  // x, y, z, confidence for each of the engine's points: one per pixel when
  // dense, one per valid pixel when sparse.
  std::vector<float> pointCloud;
  std::vector<uint32_t> exposureProposals;  // grey, then one per frequency
  double milliseconds = 0.0;                // processWhole only
};

// Tool defaults applied before the user's settings. Image validation would
// collapse every flag word to 1; it is off so that the flags image shows the
// causes (the valid pixels are the same either way). The exposure limits
// bracket the exposure times of the synthetic recordings so that proposals
// mean something; the library's own defaults are 1 and 2.
std::vector<std::string> toolDefaultSettings();

// Applies each "name=value" to the configuration through the library's
// setter by name. Throws ToolError naming the setting and why it was refused;
// the configuration is then left partly changed and must not be used.
void applySettings(Configuration& configuration, const std::vector<std::string>& settings);

class EngineSession {
 public:
  // getKelvora on the blob; `source` names it in messages.
  EngineSession(const std::vector<uint8_t>& calibration, const std::string& source);
  ~EngineSession();
  EngineSession(const EngineSession&) = delete;
  EngineSession& operator=(const EngineSession&) = delete;

  // toolDefaultSettings, then `settings`, then reconfigure.
  void configure(const std::vector<std::string>& settings);
  // Reconfigures the engine; throws ToolError with the engine's reason when
  // it refuses, and the engine then keeps its previous configuration.
  void apply(const Configuration& configuration);
  // Refuses a recording whose frame size differs from the engine's or that
  // lacks a modulation frequency the engine processes; the recording's
  // frequencies are matched to the engine's by value, in any order.
  void useRecording(const RecordingHeader& header, const std::string& source);
  IKelvora& engine() { return *engine_; }

  FrameResults process(RecordedFrameSet& frameSet);

 private:
  IKelvora* engine_ = nullptr;
  std::string source_;
  std::vector<uint32_t> recorded_;  // per engine frequency, the recording's frequency index
};

}  // namespace kelvora::tools
