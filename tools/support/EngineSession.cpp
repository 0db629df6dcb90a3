#include "support/EngineSession.hpp"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "support/ParameterSettings.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

template <class T>
std::vector<T> copyOut(const ArrayReference<T>& r) {
  return std::vector<T>(r.data(), r.data() + r.size());
}

std::string statusText(const KelvoraStatus& s) {
  static const char* const kCodes[] = {"success", "output target too small", "calibration error",
                                       "unknown parameter", "initialization failed"};
  char detail[16];
  std::snprintf(detail, sizeof(detail), "0x%08x", s.detail);
  return std::string(s.code < 5 ? kCodes[s.code] : "unknown status") + ", detail " + detail;
}

uint32_t unsignedParameter(const Configuration& c, const char* name) {
  const ParameterValue v = c.getParameterByName(name).getValue();
  const unsigned int* u = v.getIf<1>();
  return u != nullptr ? *u : 0;
}

}  // namespace

std::vector<uint8_t> readFileBytes(const std::string& path, const char* what) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError(std::string("cannot open ") + what + " " + path);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
  if (bytes.empty()) throw ToolError(std::string(what) + " " + path + " is empty");
  return bytes;
}

std::vector<std::string> toolDefaultSettings() {
  return {"useValidateImage=false", "exposureLimitLower=100", "exposureLimitUpper=4000"};
}

EngineSession::EngineSession(const std::vector<uint8_t>& calibration, const std::string& source) {
  const ArrayReference<unsigned char> bytes(const_cast<unsigned char*>(calibration.data()),
                                            static_cast<uint32_t>(calibration.size()));
  const KelvoraStatus s = getKelvora(bytes, &engine_);
  if (s.code != KelvoraStatus::SUCCESS || engine_ == nullptr) {
    delete engine_;
    engine_ = nullptr;
    throw ToolError("calibration " + source + " cannot be used: " + statusText(s));
  }
}

EngineSession::~EngineSession() {
  delete engine_;
}

void EngineSession::configure(const std::vector<std::string>& settings) {
  Configuration c = engine_->configuration();
  applySettings(c, toolDefaultSettings());
  applySettings(c, settings);
  const KelvoraStatus s = engine_->reconfigure(c);
  if (s.code != KelvoraStatus::SUCCESS) {
    throw ToolError("the engine refused the parameters: " + statusText(s));
  }
}

uint32_t EngineSession::width() const {
  return engine_->getWidth();
}
uint32_t EngineSession::height() const {
  return engine_->getHeight();
}
uint32_t EngineSession::frequencyCount() const {
  return unsignedParameter(engine_->configuration(), "numFreqs");
}

void EngineSession::checkRecording(const RecordingHeader& header, const std::string& source) const {
  if (header.width != width() || header.height != height()) {
    throw ToolError("recording " + source + " has " + std::to_string(header.width) + " x " +
                    std::to_string(header.height) + " frames, the calibration " +
                    std::to_string(width()) + " x " + std::to_string(height()));
  }
  if (header.frequencyCount < frequencyCount()) {
    throw ToolError("recording " + source + " has " + std::to_string(header.frequencyCount) +
                    " modulation frequencies, the calibration uses " +
                    std::to_string(frequencyCount()));
  }
}

FrameResults EngineSession::process(RecordedFrameSet& frameSet) {
  const Input<ArrayReference, 2> input = frameSet.input(frequencyCount());
  const auto start = std::chrono::steady_clock::now();
  const KelvoraStatus s = engine_->processWhole(input);
  const auto stop = std::chrono::steady_clock::now();
  if (s.code != KelvoraStatus::SUCCESS) throw ToolError("processing failed: " + statusText(s));
  FrameResults r;
  r.width = width();
  r.height = height();
  r.milliseconds = std::chrono::duration<double, std::milli>(stop - start).count();
  r.distance = copyOut(engine_->results<DISTANCE>());
  r.amplitude = copyOut(engine_->results<AMPLITUDE>());
  r.noise = copyOut(engine_->results<NOISE>());
  r.intensity = copyOut(engine_->results<INTENSITY>());
  r.flags = copyOut(engine_->results<FLAGS>());
  r.pointCloud = copyOut(engine_->results<POINT_CLOUD>());
  r.exposureProposals = copyOut(engine_->results<EXPOSURE_PROPOSALS>());
  return r;
}

}  // namespace kelvora::tools
