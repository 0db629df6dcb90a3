#include "calibration/QvCopyFunctions.hpp"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/SaturatingConvert.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

uint32_t copyMask(const void* source, uint64_t sourceSize, void* destination, uint64_t capacity,
                  uint8_t* /*countByte*/) {
  const uint64_t values = sourceSize / 4u;
  if (values > capacity) return status::kCapacityExceeded;
  const auto* in = static_cast<const uint32_t*>(source);
  auto* mask = static_cast<uint8_t*>(destination);
  for (uint64_t i = 0; i < values; ++i) mask[i] = static_cast<uint8_t>(in[i]);
  // A short block leaves the remaining pixels unmasked rather than carrying
  // over whatever an earlier block left in the scratch room.
  if (values < capacity) std::memset(mask + values, 0, static_cast<size_t>(capacity - values));
  return status::kSuccess;
}

uint32_t copyString(const void* source, uint64_t sourceSize, void* destination, uint64_t capacity,
                    uint8_t* /*countByte*/) {
  if (sourceSize + 1u > capacity) return status::kCapacityExceeded;
  auto* text = static_cast<char*>(destination);
  if (sourceSize != 0) std::memcpy(text, source, static_cast<size_t>(sourceSize));
  text[sourceSize] = '\0';
  return status::kSuccess;
}

uint32_t convertAndCopyDate(const void* source, uint64_t sourceSize, void* destination,
                            uint64_t capacity, uint8_t* /*countByte*/) {
  if (sourceSize != 4u) return status::kInvalidValue;
  uint32_t seconds;
  std::memcpy(&seconds, source, sizeof seconds);
  const time_t when = static_cast<time_t>(seconds);
  // ctime_r (POSIX, also in Android's C library) writes the same text as
  // ctime, "Www Mmm dd hh:mm:ss yyyy\n", without ctime's shared buffer.
  char text[32];
  if (ctime_r(&when, text) == nullptr) return status::kInvalidValue;
  const size_t length = std::strlen(text);
  if (length + kQvDateSuffixRoom > capacity) return status::kCapacityExceeded;
  auto* out = static_cast<char*>(destination);
  std::memcpy(out, text, length);
  std::snprintf(out + length, static_cast<size_t>(capacity - length), " (%u)", seconds);
  return status::kSuccess;
}

uint32_t copyStraylight(const void* source, uint64_t sourceSize, void* destination,
                        uint64_t capacity, uint8_t* countByte) {
  if (sourceSize != kQvStrayLightFloats * 4u || capacity != kQvStrayLightCapacity) {
    return status::kInvalidValue;
  }
  const auto* in = static_cast<const float*>(source);
  auto* c = static_cast<KelvoraCalibration*>(destination);
  c->psfScale = in[0];
  for (uint32_t i = 0; i < kQvStrayLightPoints; ++i) {
    c->psfRadii[i] = in[1 + i];
    c->psfValues[i] = in[1 + kQvStrayLightPoints + i];
  }
  c->psfExponent = in[27];
  c->psfOffset = in[28];
  c->psfCentre = in[29];
  c->psfWidth = saturatingToUnsigned(in[30]);
  c->psfHeight = saturatingToUnsigned(in[31]);
  c->psfPointCount = kQvStrayLightPoints;
  if (countByte != nullptr) *countByte = kQvStrayLightPoints;
  return status::kSuccess;
}

uint32_t copyWiggling(const void* source, uint64_t sourceSize, void* destination,
                      uint64_t /*capacity*/, uint8_t* countByte) {
  const uint64_t floats = sourceSize / 4u;
  if (floats < 2u || (floats - 1u) % 3u != 0u) return status::kInvalidValue;
  auto* w = static_cast<KelvoraWiggling*>(destination);
  const uint64_t terms = (floats - 1u) / 3u;
  // The arrays hold kWigglingCapacity terms whatever `count` says.
  if (terms > w->count || terms > kWigglingCapacity) return status::kCapacityExceeded;
  const auto* in = static_cast<const float*>(source);
  w->offset = in[0];
  for (uint64_t k = 0; k < terms; ++k) {
    w->phase[k] = in[1 + k];
    w->amplitude[k] = in[1 + terms + k];
    w->harmonic[k] = saturatingToUnsigned(in[1 + 2 * terms + k]);
  }
  if (countByte != nullptr) *countByte = static_cast<uint8_t>(terms);
  return status::kSuccess;
}

}  // namespace kelvora
