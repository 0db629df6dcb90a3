#pragma once
// Calibrations and captured output shared by the hardening tests.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kelvora/IKelvora.hpp"

namespace kelvora::hardening {

// The full 224 x 172 sensor in the legacy layout.
std::vector<uint8_t> legacyBlob();

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
