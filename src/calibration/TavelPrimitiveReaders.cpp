#include "calibration/TavelPrimitiveReaders.hpp"

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationByteReader.hpp"
#include "calibration/PackedArray.hpp"

namespace kelvora {

namespace {

// Copies `count` little-endian 4-byte values after checking that all of them
// are there, so a short stream leaves the destination untouched.
template <class T>
uint32_t readPlainArray(T* values, uint32_t count, const uint8_t* data, uint32_t* position,
                        uint32_t size) {
  if (!calibrationBytesLeft(*position, size, static_cast<uint64_t>(count) * 4u)) {
    return status::kStreamTooShort;
  }
  for (uint32_t i = 0; i < count; ++i) readLittleEndian(&values[i], data, position, size);
  return status::kSuccess;
}

// Format code, then the packed words of `count` values of `bits` bits unpacked
// into the scratch buffer. On success the position is past the words.
uint32_t readPackedWords(uint16_t format, uint32_t bits, uint32_t count, TavelScratch scratch,
                         const uint8_t* data, uint32_t* position, uint32_t size) {
  uint32_t s = kelvora_checkTavelDataFormat(format, data, position, size);
  if (s != status::kSuccess) return s;
  if (count > scratch.capacity) return status::kCapacityExceeded;
  PackedArray* packed = PackedArray_create(bits, count);
  if (packed == nullptr) return status::kInvalidValue;
  const uint32_t words = PackedArray_bufferSize(packed);
  if (!calibrationBytesLeft(*position, size, static_cast<uint64_t>(words) * 4u)) {
    PackedArray_destroy(packed);
    return status::kStreamTooShort;
  }
  for (uint32_t w = 0; w < words; ++w) readLittleEndian(&packed->buffer[w], data, position, size);
  PackedArray_unpack(packed, 0, scratch.values, count);
  PackedArray_destroy(packed);
  return status::kSuccess;
}

}  // namespace

uint32_t kelvora_readTavelHeaderUint16(uint16_t* value, const uint8_t* data, uint32_t* position,
                                       uint32_t size) {
  return readBigEndian(value, data, position, size);
}

uint32_t kelvora_readTavelHeaderUint32(uint32_t* value, const uint8_t* data, uint32_t* position,
                                       uint32_t size) {
  return readBigEndian(value, data, position, size);
}

uint32_t kelvora_readTavelHeaderString(char* text, uint32_t length, const uint8_t* data,
                                       uint32_t* position, uint32_t size) {
  for (uint32_t i = 0; i < length; ++i) {
    uint8_t c = 0;
    if (readLittleEndian(&c, data, position, size) != status::kSuccess) {
      text[i] = '\0';
      return status::kStreamTooShort;
    }
    text[i] = static_cast<char>(c);
  }
  text[length] = '\0';
  return status::kSuccess;
}

uint32_t kelvora_readTavelDataString(char* text, uint32_t capacity, const uint8_t* data,
                                     uint32_t* position, uint32_t size) {
  uint32_t s = kelvora_checkTavelDataFormat(kTavelFormatString, data, position, size);
  if (s != status::kSuccess) return s;
  if (capacity == 0) return status::kSuccess;
  const uint32_t length = capacity - 1;
  if (!calibrationBytesLeft(*position, size, length)) return status::kStreamTooShort;
  return kelvora_readTavelHeaderString(text, length, data, position, size);
}

uint32_t kelvora_readTavelDataUint32(uint32_t* values, uint32_t count, const uint8_t* data,
                                     uint32_t* position, uint32_t size) {
  uint32_t s = kelvora_checkTavelDataFormat(kTavelFormatUint32, data, position, size);
  if (s != status::kSuccess) return s;
  return readPlainArray(values, count, data, position, size);
}

uint32_t kelvora_readTavelDataFloat(float* values, uint32_t count, const uint8_t* data,
                                    uint32_t* position, uint32_t size) {
  uint32_t s = kelvora_checkTavelDataFormat(kTavelFormatFloat, data, position, size);
  if (s != status::kSuccess) return s;
  return readPlainArray(values, count, data, position, size);
}

uint32_t kelvora_readTavelDataDynNoValues(uint32_t* count, const uint8_t* data, uint32_t* position,
                                          uint32_t size) {
  return readBigEndian(count, data, position, size);
}

uint32_t kelvora_readTavelCompressedDataUint32(uint32_t* values, uint32_t count,
                                               const TavelIntegralDescriptor* descriptor,
                                               TavelScratch scratch, const uint8_t* data,
                                               uint32_t* position, uint32_t size) {
  uint32_t s = readPackedWords(kTavelFormatUint32, descriptor->bitsPerValue, count, scratch, data,
                               position, size);
  if (s != status::kSuccess) return s;
  for (uint32_t i = 0; i < count; ++i) {
    values[i] = descriptor->minimum + descriptor->step * scratch.values[i];
  }
  return status::kSuccess;
}

uint32_t kelvora_readTavelCompressedDataUint8(uint8_t* values, uint32_t count,
                                              const TavelIntegralDescriptor* descriptor,
                                              TavelScratch scratch, const uint8_t* data,
                                              uint32_t* position, uint32_t size) {
  uint32_t s = readPackedWords(kTavelFormatPackedUint8, descriptor->bitsPerValue, count, scratch,
                               data, position, size);
  if (s != status::kSuccess) return s;
  for (uint32_t i = 0; i < count; ++i) {
    values[i] = static_cast<uint8_t>(descriptor->minimum + descriptor->step * scratch.values[i]);
  }
  return status::kSuccess;
}

uint32_t kelvora_readTavelCompressedDataFloat(float* values, uint32_t count,
                                              const TavelFloatDescriptor* descriptor,
                                              TavelScratch scratch, const uint8_t* data,
                                              uint32_t* position, uint32_t size) {
  uint32_t s = readPackedWords(kTavelFormatFloat, descriptor->bitsPerValue, count, scratch, data,
                               position, size);
  if (s != status::kSuccess) return s;
  for (uint32_t i = 0; i < count; ++i) {
    values[i] = descriptor->minimum + static_cast<float>(scratch.values[i]) * descriptor->scale;
  }
  return status::kSuccess;
}

uint32_t kelvora_checkTavelDataFormat(uint16_t expected, const uint8_t* data, uint32_t* position,
                                      uint32_t size) {
  uint16_t format = 0;
  uint32_t s = readBigEndian(&format, data, position, size);
  if (s != status::kSuccess) return s;
  return format != expected ? status::kUnsupported : status::kSuccess;
}

uint32_t kelvora_readTavelContainerHeader(const uint8_t*, uint32_t*, uint32_t) {
  return status::kSuccess;
}

uint32_t kelvora_readTavelContainerFooter(const uint8_t* data, uint32_t* position, uint32_t size) {
  uint16_t footer = 0;
  uint32_t s = readBigEndian(&footer, data, position, size);
  if (s != status::kSuccess) return s;
  return footer != 0 ? status::kUnsupported : status::kSuccess;
}

uint32_t kelvora_readTavelWiggling(KelvoraWiggling* wiggling, const uint8_t* data,
                                   uint32_t* position, uint32_t size) {
  uint32_t s = kelvora_readTavelContainerHeader(data, position, size);
  if (s == status::kSuccess)
    s = kelvora_readTavelDataFloat(&wiggling->offset, 1, data, position, size);
  uint32_t terms = 0;
  if (s == status::kSuccess) s = kelvora_readTavelDataDynNoValues(&terms, data, position, size);
  if (s == status::kSuccess) s = kelvora_checkTavelNoValues(terms, kWigglingCapacity);
  if (s == status::kSuccess) s = kelvora_updateTavelWithActualNo(&wiggling->count, terms);
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataFloat(wiggling->amplitude, terms, data, position, size);
  }
  uint32_t again = 0;
  if (s == status::kSuccess) s = kelvora_readTavelDataDynNoValues(&again, data, position, size);
  if (s == status::kSuccess) s = kelvora_checkTavelConsistentNoValues(again, terms);
  if (s == status::kSuccess) {
    s = kelvora_readTavelDataUint32(wiggling->harmonic, terms, data, position, size);
  }
  if (s == status::kSuccess) s = kelvora_readTavelDataDynNoValues(&again, data, position, size);
  if (s == status::kSuccess) s = kelvora_checkTavelConsistentNoValues(again, terms);
  if (s == status::kSuccess)
    s = kelvora_readTavelDataFloat(wiggling->phase, terms, data, position, size);
  if (s == status::kSuccess) s = kelvora_readTavelContainerFooter(data, position, size);
  return s;
}

}  // namespace kelvora
