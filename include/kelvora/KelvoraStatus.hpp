#pragma once
/// \file
/// \brief KelvoraStatus, the result of every fallible front-end call.
#include <cstdint>

namespace kelvora {

/// \brief Result of every fallible front-end call, returned by value.
///
/// `code` says what went wrong; `detail` narrows it down as listed for each
/// code, and docs/CONVENTIONS.md lists the core's codes that arrive in it.
/// A refused reconfiguration or frame set leaves the engine's configuration
/// and results as they were.
struct KelvoraStatus {
  /// \brief What a call reports.
  enum Code : uint32_t {
    /// The call did what it was asked; `detail` is 0.
    SUCCESS = 0,
    /// reconfigure(): a redirected output holds fewer elements than the
    /// result needs (4 x width x height floats for POINT_CLOUD, width x
    /// height elements for the others). The previous configuration is in
    /// force again. `detail` is 0.
    OUTPUT_TARGET_TOO_SMALL = 1,
    /// getKelvora(): the calibration blob cannot be read; `detail` is the
    /// reader's status code (0x80000003 not a readable format, 0x80000004
    /// blob shorter than what it announces, ...). copyCalibrationField():
    /// the field is absent or empty; `detail` is the core's field code
    /// (0x8000000A empty, 0x80000000 no such field) or the non-positive
    /// field size.
    CALIBRATION_ERROR = 2,
    /// Configuration::setParameters(): no parameter with that key, either
    /// because the key is invalid or because the engine hides it (the
    /// calibration fixed its value). `detail` is the ParameterKey.
    UNKNOWN_PARAMETER = 3,
    /// reconfigure() or getKelvora(): building the processing buffers for
    /// the requested modulation setup failed. The previous configuration
    /// is in force again. `detail` is the core's code: 1 the calibration
    /// record has an unknown version, 2 a requested modulation frequency
    /// has no calibration.
    INITIALIZATION_FAILED = 4,
    /// processWhole(), processIntensity(), processModFrames(): a frame the
    /// call would read is missing (null data) or holds fewer than width x
    /// height samples. Nothing was read or processed and the previous frame
    /// set's results stand. `detail` names the frame: 0 for the grey frame,
    /// 1 + 4 x f + k for phase frame k (0 to 3) of frequency f (0 or 1).
    INVALID_INPUT = 5,
  };

  /// What happened.
  Code code = SUCCESS;
  /// More about it; see each Code. 0 unless stated there.
  uint32_t detail = 0;
};

}  // namespace kelvora
