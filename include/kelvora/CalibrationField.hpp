#pragma once
// Identifiers of the calibration fields a caller can copy out of an engine.
#include <cstdint>

namespace kelvora {

enum CalibrationField : uint32_t {
  LENS_PARAMETERS = 0,
  SERIAL = 1,         // NUL-terminated, terminator included
  SENSOR_SERIAL = 2,  // NUL-terminated, terminator included
  CALIBRATION_ROI = 3,
  AUX_BYTES = 4,
  AUX_VALUES = 5,
  CUSTOM = 6,  // the identifier travels separately
};

namespace details {

// Element type of each fixed field; CUSTOM has none, its element type is the
// caller's choice.
template <CalibrationField CF>
struct field_types;
template <>
struct field_types<LENS_PARAMETERS> {
  using value_type = float;
};
template <>
struct field_types<SERIAL> {
  using value_type = char;
};
template <>
struct field_types<SENSOR_SERIAL> {
  using value_type = char;
};
template <>
struct field_types<CALIBRATION_ROI> {
  using value_type = unsigned int;
};
template <>
struct field_types<AUX_BYTES> {
  using value_type = unsigned char;
};
template <>
struct field_types<AUX_VALUES> {
  using value_type = unsigned short;
};

}  // namespace details
}  // namespace kelvora
