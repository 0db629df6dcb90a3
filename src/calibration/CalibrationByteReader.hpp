#pragma once
// Bounds-checked reads from an untrusted calibration blob. Every read checks
// the bytes left before it touches the data and advances the position only on
// success; the host byte order never matters.
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/StatusCodes.hpp"

namespace kelvora {

// True when `count` bytes are left at `position` (no overflow for any input).
inline bool calibrationBytesLeft(uint32_t position, uint32_t size, uint64_t count) {
  return position <= size && static_cast<uint64_t>(size - position) >= count;
}

namespace detail {

template <class T>
using UnsignedOfSize =
    std::conditional_t<sizeof(T) == 1, uint8_t,
                       std::conditional_t<sizeof(T) == 2, uint16_t,
                                          std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>>;

template <class T>
T fromBits(detail::UnsignedOfSize<T> bits) {
  T value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace detail

// A value stored most significant byte first (the container's header integers).
template <class T>
uint32_t readBigEndian(T* out, const uint8_t* data, uint32_t* position, uint32_t size) {
  if (!calibrationBytesLeft(*position, size, sizeof(T))) return status::kStreamTooShort;
  using U = detail::UnsignedOfSize<T>;
  U bits = 0;
  const uint8_t* p = data + *position;
  for (size_t i = 0; i < sizeof(T); ++i) bits = static_cast<U>((bits << 8) | p[i]);
  *out = detail::fromBits<T>(bits);
  *position += sizeof(T);
  return status::kSuccess;
}

// A value stored least significant byte first (payloads, IEEE-754 floats).
template <class T>
uint32_t readLittleEndian(T* out, const uint8_t* data, uint32_t* position, uint32_t size) {
  if (!calibrationBytesLeft(*position, size, sizeof(T))) return status::kStreamTooShort;
  using U = detail::UnsignedOfSize<T>;
  U bits = 0;
  const uint8_t* p = data + *position;
  for (size_t i = sizeof(T); i-- > 0;) bits = static_cast<U>((bits << 8) | p[i]);
  *out = detail::fromBits<T>(bits);
  *position += sizeof(T);
  return status::kSuccess;
}

// A little-endian value at a fixed offset, for layouts read by offset.
template <class T>
uint32_t readLittleEndianAt(T* out, const uint8_t* data, uint32_t offset, uint32_t size) {
  return readLittleEndian(out, data, &offset, size);
}

}  // namespace kelvora
