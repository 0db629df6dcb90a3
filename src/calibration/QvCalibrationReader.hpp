#pragma once
// Reader of block-format calibrations ("ZYNQVF") and the handler operations
// built on it.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"
#include "calibration/QvTable.hpp"

namespace kelvora {

// Largest pixel count accepted (4096 x 4096), far beyond any time-of-flight
// sensor. A header above it is refused with status::kCapacityExceeded before
// anything is sized from it: a record for it would already take about 420 MB
// (25 bytes per pixel), and all per-pixel byte counts stay far inside 32 bits
// on 32-bit targets.
constexpr uint32_t kQvMaxPixelCount = 1u << 24;

// Reads the blob into `calibration` using `table`, normally
// kelvora_createDrevantTable's for the same record. The record must have been
// allocated for the header's pixel count (as the registry does with
// kelvora_getQVNumPixels); nothing in the record says how large its per-pixel
// buffers are. Always frees the table.
// On failure `identifier` names the block at fault (kQvNoBlock for the file
// header).
QvReadResult kelvora_readQVCalibration(const uint8_t* data, uint32_t size,
                                       KelvoraCalibration* calibration, QvTable* table);

// Handler operations of the block format.
int32_t kelvora_supportsQVCalibration(const uint8_t* data, uint32_t size);
uint32_t kelvora_readQVHandlerCalibration(const uint8_t* data, uint32_t size,
                                          KelvoraCalibration* calibration);
// Pixel count A x B, or a status code: the header's, or
// status::kCapacityExceeded above kQvMaxPixelCount.
int32_t kelvora_getQVNumPixels(const uint8_t* data, uint32_t size);
// Type number of the block-format handler.
constexpr uint32_t kQvCalibrationType = 3;

}  // namespace kelvora
