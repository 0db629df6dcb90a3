#pragma once
// The building blocks of the container ("ZYNSCL") calibration reader. Each
// reader takes the destination, the blob, a pointer to the single read
// position and the blob size, returns a status code and advances the position
// only on success. Header integers (format codes, value counts, footers) are
// big-endian; payloads (floats, uint32 arrays, packed words) are little-endian.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"
#include "calibration/TavelDescriptors.hpp"

namespace kelvora {

// Format codes that open every data item.
enum : uint16_t {
  kTavelFormatString = 1,
  kTavelFormatPackedUint8 = 6,
  kTavelFormatUint32 = 8,
  kTavelFormatFloat = 10,
};

// Unpacking goes through one buffer of uint32 values per read, sized by the
// root header's pixel count (at least the four values of the region of interest).
struct TavelScratch {
  uint32_t* values;
  uint32_t capacity;
};

uint32_t kelvora_readTavelHeaderUint16(uint16_t* value, const uint8_t* data, uint32_t* position,
                                       uint32_t size);
uint32_t kelvora_readTavelHeaderUint32(uint32_t* value, const uint8_t* data, uint32_t* position,
                                       uint32_t size);
// `length` raw characters into text[0..length-1] plus a terminator; a string cut
// short by the end of the blob is terminated where it stopped.
uint32_t kelvora_readTavelHeaderString(char* text, uint32_t length, const uint8_t* data,
                                       uint32_t* position, uint32_t size);
// Format code 1 and capacity - 1 characters; text gets a terminator.
uint32_t kelvora_readTavelDataString(char* text, uint32_t capacity, const uint8_t* data,
                                     uint32_t* position, uint32_t size);
uint32_t kelvora_readTavelDataUint32(uint32_t* values, uint32_t count, const uint8_t* data,
                                     uint32_t* position, uint32_t size);
uint32_t kelvora_readTavelDataFloat(float* values, uint32_t count, const uint8_t* data,
                                    uint32_t* position, uint32_t size);
// A bare big-endian uint32 without format code: the length of the next array.
uint32_t kelvora_readTavelDataDynNoValues(uint32_t* count, const uint8_t* data, uint32_t* position,
                                          uint32_t size);
uint32_t kelvora_readTavelCompressedDataUint32(uint32_t* values, uint32_t count,
                                               const TavelIntegralDescriptor* descriptor,
                                               TavelScratch scratch, const uint8_t* data,
                                               uint32_t* position, uint32_t size);
uint32_t kelvora_readTavelCompressedDataUint8(uint8_t* values, uint32_t count,
                                              const TavelIntegralDescriptor* descriptor,
                                              TavelScratch scratch, const uint8_t* data,
                                              uint32_t* position, uint32_t size);
uint32_t kelvora_readTavelCompressedDataFloat(float* values, uint32_t count,
                                              const TavelFloatDescriptor* descriptor,
                                              TavelScratch scratch, const uint8_t* data,
                                              uint32_t* position, uint32_t size);
uint32_t kelvora_checkTavelDataFormat(uint16_t expected, const uint8_t* data, uint32_t* position,
                                      uint32_t size);
// Containers have no header bytes, only a footer (a big-endian 0).
uint32_t kelvora_readTavelContainerHeader(const uint8_t* data, uint32_t* position, uint32_t size);
uint32_t kelvora_readTavelContainerFooter(const uint8_t* data, uint32_t* position, uint32_t size);
uint32_t kelvora_readTavelWiggling(KelvoraWiggling* wiggling, const uint8_t* data,
                                   uint32_t* position, uint32_t size);

}  // namespace kelvora
