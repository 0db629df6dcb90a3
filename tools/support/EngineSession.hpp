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

// The whole file; throws ToolError when it cannot be read or is empty.
std::vector<uint8_t> readFileBytes(const std::string& path, const char* what);

struct FrameResults {
  uint32_t width = 0, height = 0;
  std::vector<float> distance, amplitude, noise, intensity;
  std::vector<uint32_t> flags;
  std::vector<float> pointCloud;  // x, y, z, confidence per pixel (or per valid point when sparse)
  std::vector<uint32_t> exposureProposals;  // grey, then one per frequency
  double milliseconds = 0.0;                // processWhole only
};

// Tool defaults applied before the user's settings. Image validation would
// collapse every flag word to 1; it is off so that the flags image shows the
// causes (the valid pixels are the same either way). The exposure limits
// bracket the exposure times of the synthetic recordings so that proposals
// mean something; the library's own defaults are 1 and 2.
std::vector<std::string> toolDefaultSettings();

class EngineSession {
 public:
  // getKelvora on the blob; `source` names it in messages.
  EngineSession(const std::vector<uint8_t>& calibration, const std::string& source);
  ~EngineSession();
  EngineSession(const EngineSession&) = delete;
  EngineSession& operator=(const EngineSession&) = delete;

  // toolDefaultSettings, then `settings`, then reconfigure.
  void configure(const std::vector<std::string>& settings);
  // Refuses a recording whose frame size or frequencies the engine cannot take.
  void checkRecording(const RecordingHeader& header, const std::string& source) const;
  uint32_t width() const;
  uint32_t height() const;
  uint32_t frequencyCount() const;
  IKelvora& engine() { return *engine_; }

  FrameResults process(RecordedFrameSet& frameSet);

 private:
  IKelvora* engine_ = nullptr;
};

}  // namespace kelvora::tools
