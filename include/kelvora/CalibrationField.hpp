#pragma once
/// \file
/// \brief Identifiers of the calibration fields a caller can copy out of an
/// engine (IKelvora::copyCalibrationField()).
#include <cstdint>

namespace kelvora {

/// \brief A calibration field a host can copy out of an engine.
///
/// A field that the calibration does not hold, or that is empty, is refused
/// with KelvoraStatus::CALIBRATION_ERROR.
enum CalibrationField : uint32_t {
  /// float x 9: the lens model fx, fy (focal lengths in pixels), cx, cy
  /// (principal point in pixels, column and row), k1, k2 (radial
  /// distortion), p1, p2 (tangential distortion), k3 (radial, sixth order).
  LENS_PARAMETERS = 0,
  /// char: the module's serial number, NUL-terminated, terminator included.
  SERIAL = 1,
  /// char: the sensor's serial number, NUL-terminated, terminator included.
  SENSOR_SERIAL = 2,
  /// unsigned int x 4: the region of interest; elements 2 and 3 are its
  /// width and height in pixels (the engine's image size); elements 0 and 1
  /// are passed on as the calibration file stores them.
  CALIBRATION_ROI = 3,
  /// unsigned char: opaque bytes some calibration formats carry; empty when
  /// all are zero.
  AUX_BYTES = 4,
  /// unsigned short x 2: two format-specific values; 0xFFFF marks an unset
  /// one, and the field is empty when both are unset.
  AUX_VALUES = 5,
  /// A format-specific extra block; its identifier travels separately (the
  /// customId argument) and the element type is the caller's choice.
  CUSTOM = 6,
};

namespace details {

/// \brief Element type of each fixed calibration field; CUSTOM has none,
/// its element type is the caller's choice.
/// \tparam CF a calibration field from LENS_PARAMETERS to AUX_VALUES.
template <CalibrationField CF>
struct field_types;
/// \brief LENS_PARAMETERS holds floats.
template <>
struct field_types<LENS_PARAMETERS> {
  /// The element type.
  using value_type = float;
};
/// \brief SERIAL holds characters.
template <>
struct field_types<SERIAL> {
  /// The element type.
  using value_type = char;
};
/// \brief SENSOR_SERIAL holds characters.
template <>
struct field_types<SENSOR_SERIAL> {
  /// The element type.
  using value_type = char;
};
/// \brief CALIBRATION_ROI holds unsigned 32-bit values.
template <>
struct field_types<CALIBRATION_ROI> {
  /// The element type.
  using value_type = unsigned int;
};
/// \brief AUX_BYTES holds bytes.
template <>
struct field_types<AUX_BYTES> {
  /// The element type.
  using value_type = unsigned char;
};
/// \brief AUX_VALUES holds unsigned 16-bit values.
template <>
struct field_types<AUX_VALUES> {
  /// The element type.
  using value_type = unsigned short;
};

}  // namespace details
}  // namespace kelvora
