#pragma once
// Writes a calibration record in the legacy fixed layout (224 x 172 sensor),
// for tests and fuzz seeds. Values are quantised to the layout's codes: 3-bit
// fixed-pattern noise and 8-bit or 9-bit phase noise per frequency.
#include <cstdint>
#include <vector>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::synth {

struct LegacyFrequencyEncoding {
  float minimum = 0.0f;
  float maximum = 1.0f;
  bool nineBit = false;  // selects the 9-bit codes (written selector 0)
};

struct LegacyWriterOptions {
  float fpnOffset = 0.0f;  // fpn = code * fpnStep + fpnOffset, code 0..7
  float fpnStep = 1.0f;
  LegacyFrequencyEncoding frequency[2];
  uint8_t filler = 0xA5;  // bytes the layout does not define
};

// Frequency records 0 and 1 are written (their modulation frequencies are not
// stored: the layout implies them). The pixel count is ROI width x height.
std::vector<uint8_t> writeLegacyCalibration(const KelvoraCalibration& calibration,
                                            const LegacyWriterOptions& options);

// The codes the writer stores for a value, as the reader turns them back.
uint32_t legacyFpnCode(float value, const LegacyWriterOptions& options);
uint32_t legacyFppnCode(float value, const LegacyFrequencyEncoding& encoding);

}  // namespace kelvora::synth
