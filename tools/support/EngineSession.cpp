#include "support/EngineSession.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "kelvora/HostSupport.hpp"
#include "support/QuietStdout.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

template <class T>
std::vector<T> copyOut(const ArrayReference<T>& r, size_t count) {
  return std::vector<T>(r.data(), r.data() + std::min<size_t>(count, r.size()));
}

std::string megahertz(uint32_t hz) {
  char text[32];
  std::snprintf(text, sizeof(text), "%g MHz", hz / 1e6);
  return text;
}

std::string frequencyList(const std::vector<uint32_t>& hz) {
  std::string text;
  for (size_t i = 0; i < hz.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == hz.size() ? " and " : ", ") + megahertz(hz[i]);
  }
  return text.empty() ? "none" : text;
}

}  // namespace

std::vector<std::string> toolDefaultSettings() {
  return {"useValidateImage=false", "exposureLimitLower=100", "exposureLimitUpper=4000"};
}

void applySettings(Configuration& configuration, const std::vector<std::string>& settings) {
  for (const std::string& setting : settings) {
    const size_t eq = setting.find('=');
    if (eq == std::string::npos || eq == 0) {
      throw ToolError("--set " + setting + ": expected name=value");
    }
    const ParameterSetResult r =
        setParameterText(configuration, setting.substr(0, eq), setting.substr(eq + 1));
    if (r.refusal == ParameterRefusal::UNKNOWN_NAME) {
      throw ToolError("--set " + setting + ": " + r.message +
                      " (kelvora process --list-parameters CALIBRATION lists those it accepts)");
    }
    if (!r.accepted()) throw ToolError("--set " + setting + ": " + r.message);
  }
}

EngineSession::EngineSession(const std::vector<uint8_t>& calibration, const std::string& source)
    : source_(source) {
  const ArrayReference<unsigned char> bytes(const_cast<unsigned char*>(calibration.data()),
                                            static_cast<uint32_t>(calibration.size()));
  KelvoraStatus s;
  {
    // The calibration readers report their progress on standard output.
    const QuietStdout quiet;
    s = getKelvora(bytes, &engine_);
  }
  if (s.code != KelvoraStatus::SUCCESS || engine_ == nullptr) {
    delete engine_;
    engine_ = nullptr;
    throw ToolError("calibration " + source + " cannot be used: " + describeStatus(s));
  }
}

EngineSession::~EngineSession() {
  delete engine_;
}

void EngineSession::configure(const std::vector<std::string>& settings) {
  Configuration c = engine_->configuration();
  applySettings(c, toolDefaultSettings());
  applySettings(c, settings);
  apply(c);
}

void EngineSession::apply(const Configuration& c) {
  const KelvoraStatus s = engine_->reconfigure(c);
  if (s.code != KelvoraStatus::SUCCESS) {
    throw ToolError("the engine refused the parameters for calibration " + source_ + ": " +
                    describeStatus(s));
  }
}

void EngineSession::useRecording(const RecordingHeader& header, const std::string& source) {
  if (header.width != engine_->getWidth() || header.height != engine_->getHeight()) {
    throw ToolError("recording " + source + " has " + std::to_string(header.width) + " x " +
                    std::to_string(header.height) + " frames, the calibration " +
                    std::to_string(engine_->getWidth()) + " x " +
                    std::to_string(engine_->getHeight()));
  }
  const std::vector<uint32_t> wanted = modulationFrequencies(*engine_);
  const std::vector<uint32_t> held(header.frequencies, header.frequencies + header.frequencyCount);
  recorded_.clear();
  for (uint32_t hz : wanted) {
    const auto at = std::find(held.begin(), held.end(), hz);
    if (at == held.end()) {
      throw ToolError("recording " + source + " holds frames at " + frequencyList(held) +
                      ", but the engine processes " + frequencyList(wanted) +
                      " with this calibration");
    }
    recorded_.push_back(static_cast<uint32_t>(at - held.begin()));
  }
}

FrameResults EngineSession::process(RecordedFrameSet& frameSet) {
  const Input<ArrayReference, 2> input = frameSet.input(recorded_);
  const auto start = std::chrono::steady_clock::now();
  const KelvoraStatus s = engine_->processWhole(input);
  const auto stop = std::chrono::steady_clock::now();
  if (s.code != KelvoraStatus::SUCCESS) throw ToolError("processing failed: " + describeStatus(s));
  FrameResults r;
  r.width = engine_->getWidth();
  r.height = engine_->getHeight();
  const size_t n = static_cast<size_t>(r.width) * r.height;
  r.milliseconds = std::chrono::duration<double, std::milli>(stop - start).count();
  r.distance = copyOut(engine_->results<DISTANCE>(), n);
  r.amplitude = copyOut(engine_->results<AMPLITUDE>(), n);
  r.noise = copyOut(engine_->results<NOISE>(), n);
  r.intensity = copyOut(engine_->results<INTENSITY>(), n);
  r.flags = copyOut(engine_->results<FLAGS>(), n);
  r.sparsePointCloud = isPointCloudSparse(*engine_);
  r.pointCloud = copyOut(engine_->results<POINT_CLOUD>(), 4u * pointCloudPointCount(*engine_));
  const ArrayReference<unsigned int> proposals = engine_->results<EXPOSURE_PROPOSALS>();
  r.exposureProposals = copyOut(proposals, proposals.size());
  return r;
}

}  // namespace kelvora::tools
