#pragma once
// Small helpers shared by the fuzz targets.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::fuzz {

struct RecordDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using RecordPtr = std::unique_ptr<KelvoraCalibration, RecordDeleter>;

// libFuzzer hands out size_t; the readers take 32-bit sizes. Anything above
// 4 GiB is far beyond -max_len and is clipped.
inline uint32_t size32(size_t size) {
  return size > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(size);
}

// Largest record a target allocates: the readers size records from header
// fields, and a header may ask for more memory than the fuzzer's RSS limit.
// 2^20 pixels is still far above any sensor the seeds describe.
constexpr int32_t kMaxFuzzPixels = 1 << 20;

// Stops the run on a broken promise of the library (a contract the reader
// states, not a crash the sanitizers would see).
[[noreturn]] inline void contractBroken() {
  std::abort();
}

}  // namespace kelvora::fuzz
