#include "calibration/TavelDescriptors.hpp"

#include <cmath>

#include "base/SaturatingConvert.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/CalibrationByteReader.hpp"

namespace kelvora {

namespace {

// The stored files were written with this rounded ln 2; widths computed with
// the exact constant would differ at powers of two.
constexpr float kLn2 = 0.6931472f;

// Widths from 24 bits on cannot be reconstructed exactly through a float scale,
// so such arrays are stored as plain floats.
constexpr uint32_t kPlainFloatBits = 24;

}  // namespace

uint32_t kelvora_checkTavelNoValues(uint32_t count, uint32_t capacity) {
  return count > capacity ? status::kCapacityExceeded : status::kSuccess;
}

uint32_t kelvora_updateTavelWithActualNo(uint8_t* countField, uint32_t count) {
  if (count > 255u) return status::kUnsupported;
  *countField = static_cast<uint8_t>(count);
  return status::kSuccess;
}

uint32_t kelvora_checkTavelConsistentNoValues(uint32_t count, uint32_t expected) {
  return count != expected ? status::kUnsupported : status::kSuccess;
}

uint32_t kelvora_fillTavelIntegralDescriptor(uint32_t minimum, uint32_t maximum, uint32_t step,
                                             TavelIntegralDescriptor* descriptor) {
  if (step == 0 || minimum >= maximum) return status::kInvalidValue;
  const double levels = (static_cast<double>(maximum) + 1.0 - static_cast<double>(minimum)) /
                        static_cast<double>(step);
  descriptor->scale = step;
  descriptor->step = step;
  descriptor->bitsPerValue = static_cast<uint32_t>(std::ceil(std::log2(levels)));
  descriptor->minimum = minimum;
  descriptor->maximum = maximum;
  return status::kSuccess;
}

uint32_t kelvora_fillTavelFloatDescriptorFromStream(TavelFloatDescriptor* descriptor,
                                                    const uint8_t* data, uint32_t* position,
                                                    uint32_t size) {
  // Strictly less: a descriptor is always followed by its array's format code.
  if (!calibrationBytesLeft(*position, size, 13)) return status::kStreamTooShort;
  float minimum = 0.0f;
  float maximum = 0.0f;
  float step = 0.0f;
  readLittleEndian(&minimum, data, position, size);
  readLittleEndian(&maximum, data, position, size);
  readLittleEndian(&step, data, position, size);
  if (minimum >= maximum) return status::kInvalidValue;
  const float levels = std::ceil((maximum - minimum) / step) + 1.0f;
  const uint32_t bits = saturatingToUnsigned(std::ceil(std::log(levels) / kLn2));
  const double range = static_cast<double>(maximum - minimum);
  descriptor->bitsPerValue = bits;
  descriptor->scale = static_cast<float>(range / (std::pow(2.0, static_cast<double>(bits)) - 1.0));
  descriptor->step = bits >= kPlainFloatBits ? 0.0f : step;
  descriptor->minimum = minimum;
  descriptor->maximum = maximum;
  // A packed array needs at least one bit per value; only a negative or NaN
  // step gets here with none, and there is no array such a file could mean.
  if (descriptor->step != 0.0f && bits == 0) return status::kInvalidValue;
  return status::kSuccess;
}

}  // namespace kelvora
