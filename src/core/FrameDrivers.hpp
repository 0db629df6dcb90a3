#pragma once
// The three per-frame entry points of the processing core. Per frame set the
// caller runs kelvora_processIntensity, then kelvora_processModFrames for
// frequency 0 (and 1 with two frequencies), then kelvora_combineResults.
// None of them allocates; all state lives in the intermediate record.
#include <cstdint>

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"

namespace kelvora {

// Resets the output flags from the calibration mask and computes the grey
// values.
int32_t kelvora_processIntensity(const KelvoraInput* input, const KelvoraCalibration* calibration,
                                 const KelvoraParameter* parameters,
                                 KelvoraIntermediate* intermediate, KelvoraOutput* output);

// Phase frames of one frequency (index 0 or 1, below numFreqs) to wrapped
// distance, amplitude and noise in the frequency's probe record.
void kelvora_processModFrames(const KelvoraInput* input, const KelvoraCalibration* calibration,
                              const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                              KelvoraOutput* output, uint32_t frequencyIndex);

// Merges the frequencies and runs the filters, validity tests, point cloud
// and auto exposure in their fixed order.
void kelvora_combineResults(const KelvoraInput* input, const KelvoraCalibration* calibration,
                            const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                            KelvoraOutput* output);

}  // namespace kelvora
