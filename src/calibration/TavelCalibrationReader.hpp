#pragma once
// Reader of the container ("ZYNSCL") calibration format: one pass, front to
// back, with a single read position, into a record allocated for the pixel
// count of the root header.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

struct TavelRootHeader {
  char magic[7];  // six characters and a terminator
  uint32_t unused0;
  uint16_t frequencyCount;  // 1..3 in a valid file
  uint16_t unused1;
  uint32_t dimension0;  // the product of the two is the pixel count
  uint32_t dimension1;
};

// 22 bytes at the start of the blob; 0x80000003 when the magic is not `magic`.
uint32_t kelvora_readTavelRootContainerHeader(TavelRootHeader* header, const char* magic,
                                              const uint8_t* data, uint32_t* position,
                                              uint32_t size);

// Nonzero when the blob is at least 7 bytes long and starts with "ZYNSCL".
int32_t kelvora_supportsTavelCalibration(const uint8_t* data, uint32_t size);
// Pixel count from the root header, or a status code (top bit set). A count
// that the blob could not possibly hold (its mask alone needs a bit per
// pixel) is refused with 0x80000004 rather than allocated for.
int32_t kelvora_getTavelNumPixels(const uint8_t* data, uint32_t size);
uint32_t kelvora_readTavelHandlerCalibration(const uint8_t* data, uint32_t size,
                                             KelvoraCalibration* calibration);
uint32_t kelvora_readTavelCalibration(KelvoraCalibration* calibration, const uint8_t* data,
                                      uint32_t* position, uint32_t size);
// The body after the root header. `pixelCount` is the count the record was
// allocated for; a region of interest that disagrees with it is refused with
// 0x80000003 before any per-pixel array is read.
uint32_t kelvora_readTavelCalibrationBody(KelvoraCalibration* calibration, uint32_t pixelCount,
                                          uint32_t* scratch, uint32_t scratchCapacity,
                                          const uint8_t* data, uint32_t* position, uint32_t size);

}  // namespace kelvora
