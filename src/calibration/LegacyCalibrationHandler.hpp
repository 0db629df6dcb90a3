#pragma once
// Reader of the legacy calibration layout: a fixed-offset image of an older
// calibration record of the 224 x 172 sensor, without magic. Its handler
// accepts every blob, so everything that is not a container ends up here.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

// Always nonzero: the legacy handler is the catch-all.
int32_t ovani_getIsLegacyCalibration(const uint8_t* data, uint32_t size);
// Always 38528 (224 x 172).
int32_t ovani_getLegacyNumPixel(const uint8_t* data, uint32_t size);

// Converts the blob into `calibration` (allocated for 38528 pixels), computes
// its viewing rays and exports it (see calibrationSaveDir). Returns
// 0x80000004 for a blob too short for the layout it announces and 0x80000003
// for a region of interest larger than the sensor; in both cases the record
// is left as it was.
uint32_t ovani_readLegacyCalibration(const uint8_t* data, uint32_t size,
                                     KelvoraCalibration* calibration);

}  // namespace kelvora
