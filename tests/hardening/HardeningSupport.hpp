#pragma once
// Calibrations, engines and captured output shared by the hardening tests.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "calibration/KelvoraCalibration.hpp"
#include "kelvora/IKelvora.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::hardening {

struct RecordDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using RecordPtr = std::unique_ptr<KelvoraCalibration, RecordDeleter>;

struct EngineDeleter {
  void operator()(IKelvora* e) const { delete e; }
};
using EnginePtr = std::unique_ptr<IKelvora, EngineDeleter>;

// 40 x 30 pixels, two frequencies.
synth::SyntheticCalibrationOptions smallOptions();
std::vector<uint8_t> containerBlob(const synth::SyntheticCalibrationOptions& options);
// The full 224 x 172 sensor in the legacy layout.
std::vector<uint8_t> legacyBlob();

// getKelvora's engine, or null (silently) when it refuses the blob.
EnginePtr engineFor(const std::vector<uint8_t>& blob);

struct Outcome {
  KelvoraStatus::Code code;
  uint32_t detail;
  std::string printed;  // stdout then stderr, trimmed lines joined by " / "
};

// Runs `call` with stdout and stderr captured.
Outcome captured(const std::function<KelvoraStatus()>& call);
// getKelvora on the bytes; checks the engine pointer matches the status and
// frees a made engine.
Outcome getKelvoraOutcome(const std::vector<uint8_t>& bytes);

}  // namespace kelvora::hardening
