#pragma once
// One calibration and one recording under tuning: frame sets are read from
// the file and processed when they are asked for, with the engine's current
// configuration, and the last few are kept. Not thread-safe; the server
// serialises its calls.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kelvora/HostSupport.hpp"
#include "support/EngineSession.hpp"
#include "support/Recording.hpp"
#include "view/FrameSetCache.hpp"
#include "view/ParameterFile.hpp"

namespace kelvora::tools {

struct ViewerOptions {
  std::string calibration;            // path
  std::string recording;              // path
  std::string parameterFile;          // path; empty for none
  std::vector<std::string> settings;  // name=value, after the parameter file
  size_t cachedFrameSets = 8;
};

// What became of a change of parameters.
struct ParameterChange {
  enum class Outcome { kApplied, kUnknownName, kRefused };
  Outcome outcome = Outcome::kApplied;
  std::string name;     // the refused parameter; empty when the engine refused
  std::string message;  // why; empty when applied
};

class ViewerSession {
 public:
  // Starts with the tool's defaults, then the parameter file, then the
  // settings, as `kelvora process` does. Throws ToolError for anything the
  // tool would refuse there.
  explicit ViewerSession(const ViewerOptions& options);

  const ViewerOptions& options() const { return options_; }
  const RecordingHeader& recordingHeader() const { return reader_.header(); }
  uint32_t frameSetCount() const { return reader_.frameSetCount(); }
  // The modulation frequencies the engine processes, in Hz.
  std::vector<uint32_t> frequencies();

  // Frame set `index` processed with the current configuration. Throws
  // ToolError for an index past the last frame set.
  std::shared_ptr<const ProcessedFrameSet> frameSet(uint32_t index);

  // Every parameter the engine accepts, with its current value.
  std::vector<ParameterInfo> parameters();
  // Sets the parameters in order and reconfigures the engine: all of them
  // or, when one is refused (or the engine refuses the whole), none.
  ParameterChange change(const std::vector<ParameterSetting>& settings);
  // The current settings as a parameter file.
  std::string parameterFile();

 private:
  ViewerOptions options_;
  EngineSession engine_;
  RecordingReader reader_;
  FrameSetCache cache_;
  RecordedFrameSet raw_;  // reused: one frame set's samples at a time
};

}  // namespace kelvora::tools
