#pragma once
// Reader of block-format calibrations ("ZYNQVF") and the handler operations
// built on it.
#include <cstdint>

#include "calibration/KelvoraCalibration.hpp"
#include "calibration/QvTable.hpp"

namespace kelvora {

// Largest pixel count the reader accepts: the scratch room of 12 bytes per
// pixel and every per-pixel buffer size then stay within 32 bits, also on
// 32-bit targets. The largest sensors are far below it (about 18900 x 18900).
constexpr uint32_t kQvMaxPixelCount = 0xFFFFFFFFu / 12u;

// Reads the blob into `calibration` (made for the header's pixel count) using
// `table`, normally kelvora_createDrevantTable's. Always frees the table.
// On failure `identifier` names the block at fault (kQvNoBlock for the file
// header).
QvReadResult kelvora_readQVCalibration(const void* data, uint32_t size,
                                       KelvoraCalibration* calibration, QvTable* table);

// Handler operations of the block format.
int32_t kelvora_supportsQVCalibration(const void* data, uint32_t size);
uint32_t kelvora_readQVHandlerCalibration(const void* data, uint32_t size,
                                          KelvoraCalibration* calibration);
// Pixel count A x B, or a status code: the header's, or
// status::kCapacityExceeded above kQvMaxPixelCount.
int32_t kelvora_getQVNumPixels(const void* data, uint32_t size);
// Type number of the block-format handler.
constexpr uint32_t kQvCalibrationType = 3;

}  // namespace kelvora
