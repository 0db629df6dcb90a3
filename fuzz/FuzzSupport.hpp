#pragma once
// Small helpers shared by the fuzz targets and the seed generator.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

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

// A synthetic calibration of width x height pixels.
RecordPtr syntheticRecord(uint32_t width, uint32_t height, std::vector<uint32_t> frequencies,
                          bool strayLight, uint32_t seed = 1);

// A block-format blob of 8 x 5 pixels with five custom blocks of five data
// types: the custom-field target's reference and a seed.
std::vector<uint8_t> customBlocksBlob();

}  // namespace kelvora::fuzz
