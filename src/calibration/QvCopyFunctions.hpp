#pragma once
// Copy functions of the table entries whose blocks are not stored as they
// are decoded. All share QvCopyFunction's signature; the source holds the
// decoded values (uint32 for integer blocks, float for float blocks).
#include <cstdint>

namespace kelvora {

// Mask: one uint32 per pixel, truncated to 8 bits. More values than the
// capacity (pixel count): status::kCapacityExceeded. Fewer values leave the
// remaining pixels 0 (unmasked).
uint32_t copyMask(const void* source, uint64_t sourceSize, void* destination, uint64_t capacity,
                  uint8_t* countByte);
// Text without terminator; status::kCapacityExceeded unless it fits with its
// NUL.
uint32_t copyString(const void* source, uint64_t sourceSize, void* destination, uint64_t capacity,
                    uint8_t* countByte);
// One uint32 of seconds since 1970 becomes ctime's text in local time
// followed by " (<seconds>)". status::kInvalidValue unless the source is 4
// bytes; status::kCapacityExceeded when the text leaves fewer than 14 bytes,
// the room " (4294967295)" and its NUL need.
uint32_t convertAndCopyDate(const void* source, uint64_t sourceSize, void* destination,
                            uint64_t capacity, uint8_t* countByte);
// 32 floats into the record's stray-light model; the destination is the
// KelvoraCalibration itself and the capacity must be kQvStrayLightCapacity.
uint32_t copyStraylight(const void* source, uint64_t sourceSize, void* destination,
                        uint64_t capacity, uint8_t* countByte);
// offset, n phases, n amplitudes, n harmonic orders (3n + 1 floats) into a
// KelvoraWiggling; status::kInvalidValue for a malformed size,
// status::kCapacityExceeded for more terms than the record holds.
uint32_t copyWiggling(const void* source, uint64_t sourceSize, void* destination, uint64_t capacity,
                      uint8_t* countByte);

// Byte extent of the stray-light fields psfScale .. psfPointCount in the
// record's layout, which is what the table announces as their capacity.
constexpr uint64_t kQvStrayLightCapacity = 140;
constexpr uint32_t kQvStrayLightFloats = 32;
constexpr uint32_t kQvStrayLightPoints = 13;
// " (4294967295)" plus its NUL.
constexpr uint64_t kQvDateSuffixRoom = 14;

}  // namespace kelvora
