#pragma once
// The calibration handlers' derivation step: per-pixel directions for every
// format, and the stray-light kernel where the format carries a model.
#include <cstdint>

namespace kelvora {

struct KelvoraCalibration;

// Container format: directions only.
uint32_t kelvora_calcTavelPsfAndDirections(KelvoraCalibration* calibration, uint32_t pixelCount);
// Block format: directions, then the kernel when psfScale is set.
uint32_t kelvora_calcQVPsfAndDirections(KelvoraCalibration* calibration, uint32_t pixelCount);

}  // namespace kelvora
