#include "view/ViewerSession.hpp"

#include <algorithm>

#include "support/CalibrationFile.hpp"
#include "support/InputFile.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

std::vector<uint8_t> readEngineCalibration(const std::string& path) {
  std::vector<uint8_t> blob = readFileBytes(path, "calibration", "calibration.bin");
  // The library gives block files to its legacy handler, which takes any
  // blob; what it would make of one is not this calibration.
  if (detectCalibrationFormat(blob) == CalibrationFormat::kBlock) {
    throw ToolError("calibration " + path +
                    " is in the block format, which the engine cannot process; kelvora calib " +
                    path + " shows what it holds");
  }
  return blob;
}

}  // namespace

ViewerSession::ViewerSession(const ViewerOptions& options)
    : options_(options),
      engine_(readEngineCalibration(options.calibration), options.calibration),
      reader_(options.recording),
      cache_(options.cachedFrameSets) {
  Configuration c = engine_.engine().configuration();
  applySettings(c, toolDefaultSettings());
  if (!options.parameterFile.empty()) applyParameterFile(c, options.parameterFile);
  applySettings(c, options.settings);
  engine_.apply(c);
  engine_.useRecording(reader_.header(), options.recording);
  if (reader_.frameSetCount() == 0) {
    throw ToolError("recording " + options.recording + " holds no frame sets");
  }
}

std::vector<uint32_t> ViewerSession::frequencies() {
  return modulationFrequencies(engine_.engine());
}

std::shared_ptr<const ProcessedFrameSet> ViewerSession::frameSet(uint32_t index) {
  if (auto cached = cache_.find(index)) return cached;
  reader_.readAt(index, raw_);
  auto processed = std::make_shared<ProcessedFrameSet>();
  processed->index = index;
  processed->results = engine_.process(raw_);
  const std::vector<uint32_t>& flags = processed->results.flags;
  processed->validPixels = static_cast<size_t>(std::count(flags.begin(), flags.end(), 0u));
  cache_.insert(processed);
  return processed;
}

std::vector<ParameterInfo> ViewerSession::parameters() {
  return listParameters(engine_.engine().configuration());
}

ParameterChange ViewerSession::change(const std::vector<ParameterSetting>& settings) {
  Configuration c = engine_.engine().configuration();
  const RefusedSetting refused = applyParameterSettings(c, settings);
  ParameterChange change;
  if (!refused.result.accepted()) {
    change.outcome = refused.result.refusal == ParameterRefusal::UNKNOWN_NAME
                         ? ParameterChange::Outcome::kUnknownName
                         : ParameterChange::Outcome::kRefused;
    change.name = refused.name;
    change.message = refused.result.message;
    return change;
  }
  // A new number of frequencies or a new frequency must still be in the
  // recording; the engine goes back to what it had when it is not.
  const Configuration previous = engine_.engine().configuration();
  try {
    engine_.apply(c);
    engine_.useRecording(reader_.header(), options_.recording);
  } catch (const ToolError& e) {
    engine_.apply(previous);
    engine_.useRecording(reader_.header(), options_.recording);
    change.outcome = ParameterChange::Outcome::kRefused;
    change.message = e.what();
    return change;
  }
  cache_.clear();
  return change;
}

std::string ViewerSession::parameterFile() {
  return parameterFileText(engine_.engine().configuration());
}

}  // namespace kelvora::tools
