#pragma once
// Status codes of the processing core and the calibration readers: 0 is
// success, everything else has the top bit set, so functions that return a
// size can return a status in the same word.
#include <cstdint>

namespace kelvora::status {

constexpr uint32_t kSuccess = 0u;
constexpr uint32_t kUnknownField = 0x80000000u;      // id above 5, not a custom id
constexpr uint32_t kNoData = 0x80000002u;            // custom field without data
constexpr uint32_t kUnsupported = 0x80000003u;       // wrong format, magic or code
constexpr uint32_t kStreamTooShort = 0x80000004u;    // ran out of bytes
constexpr uint32_t kInvalidRecord = 0x80000005u;     // null / wrong version / no model
constexpr uint32_t kUnsetValue = 0x80000006u;        // present but still unset
constexpr uint32_t kCapacityExceeded = 0x80000007u;  // more values than room
constexpr uint32_t kTooFewValues = 0x80000008u;      // below an entry's minimum
constexpr uint32_t kInvalidValue = 0x80000009u;      // bad descriptor, type, order
constexpr uint32_t kEmpty = 0x8000000Au;             // empty field / missing block
constexpr uint32_t kSizeMismatch = 0x8000000Bu;      // output size / already computed
constexpr uint32_t kWarning = 0x8000000Cu;           // record usable despite it

constexpr bool isError(uint32_t code) {
  return (code & 0x80000000u) != 0u;
}

// Return codes of kelvoraTavelInit.
constexpr int32_t kInitBadCalibrationVersion = 1;
constexpr int32_t kInitFrequencyNotCalibrated = 2;

}  // namespace kelvora::status
