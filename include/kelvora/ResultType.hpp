#pragma once
/// \file
/// \brief The result kinds an engine produces, their element types and units.
#include <cstdint>

namespace kelvora {

/// \brief The result kinds an engine produces.
///
/// Per-pixel results are images of width x height elements (the
/// calibration's region of interest), row-major, row 0 at the top, column 0
/// on the left of the sensor image. Kinds 0 to 5 can be redirected into
/// caller memory (Configuration::setOutputRedirection()); the exposure
/// proposals are always read in place. A pixel is valid exactly when its
/// FLAGS word is 0; docs/CONVENTIONS.md gives the coordinate system and the
/// flag bits in full.
enum ResultType : uint32_t {
  /// float, 4 per pixel: x, y, z in metres and a confidence. The camera's
  /// frame, origin at the optical centre: x grows with the image column (to
  /// the right), y with the image row (down), z forward along the optical
  /// axis; x, y, z is the pixel's DISTANCE times its unit viewing ray from
  /// the calibration's lens model. The confidence is 0 for a flagged pixel and
  /// 1 - noise / noiseThreshold otherwise, so it lies in [0, 1] for a valid
  /// pixel (the noise test flags any pixel above the threshold). With
  /// useSparsePointCloud only the valid pixels' points are written, packed
  /// from the start in pixel order, one per pixel whose FLAGS word is 0; the
  /// rest of the array keeps old contents. With useValidateImage the x, y, z
  /// of a flagged pixel's point (dense cloud) are 0.
  POINT_CLOUD = 0,
  /// float, 1 per pixel: signal amplitude of the last modulation frequency,
  /// in raw sample units.
  AMPLITUDE = 1,
  /// unsigned int, 1 per pixel: 0 for a valid pixel; otherwise bit 0 and one
  /// or more cause bits (0x03 saturated, 0x05 inconsistent, 0x09 low signal
  /// or high noise, 0x11 flying pixel, 0x21 masked by the calibration, 0x41
  /// multipath by distance, 0x81 multipath by amplitude). useValidateImage
  /// (on by default) replaces every non-zero word by 1.
  FLAGS = 2,
  /// float, 1 per pixel: distance noise, one standard deviation, in metres;
  /// 0 for a flagged pixel when useValidateImage is on.
  NOISE = 3,
  /// float, 1 per pixel: grey value of the unmodulated frame minus the
  /// calibration's fixed-pattern noise, in raw sample units (may be
  /// negative).
  INTENSITY = 4,
  /// float, 1 per pixel: radial distance from the optical centre along the
  /// pixel's viewing ray, in metres (not the z coordinate); 0 for a flagged
  /// pixel when useValidateImage is on.
  DISTANCE = 5,
  /// unsigned int, number of modulation frequencies + 1: the grey frame's
  /// exposure time as given, then the proposed exposure time of each
  /// frequency for the next frame set, in the sensor's exposure unit (a
  /// changed proposal is clamped to exposureLimitLower..exposureLimitUpper;
  /// a frame set already close to the reference amplitude keeps its
  /// exposure). Written only while useAutoExposure is on.
  EXPOSURE_PROPOSALS = 6,
  /// Not a result: the number of result kinds.
  RESULT_TYPE_COUNT = 7,
};

/// \brief Types the public templates use internally.
namespace details {

/// \brief Element type of result kind RT: float, except unsigned int for
/// FLAGS and EXPOSURE_PROPOSALS.
/// \tparam RT a result kind below RESULT_TYPE_COUNT.
template <ResultType RT>
struct result_types {
  static_assert(RT < RESULT_TYPE_COUNT, "RESULT_TYPE_COUNT is not a result");
  /// The element type.
  using value_type = float;
};
/// \brief FLAGS holds one unsigned 32-bit word per pixel.
template <>
struct result_types<FLAGS> {
  /// The element type.
  using value_type = unsigned int;
};
/// \brief EXPOSURE_PROPOSALS holds unsigned exposure times.
template <>
struct result_types<EXPOSURE_PROPOSALS> {
  /// The element type.
  using value_type = unsigned int;
};

}  // namespace details
}  // namespace kelvora
