#pragma once
// Result of every fallible front-end call, returned by value.
#include <cstdint>

namespace kelvora {

struct KelvoraStatus {
  enum Code : uint32_t {
    SUCCESS = 0,
    OUTPUT_TARGET_TOO_SMALL = 1,  // a redirected output holds fewer elements than needed
    CALIBRATION_ERROR = 2,        // detail: the core's calibration code or the field size
    UNKNOWN_PARAMETER = 3,        // detail: the ParameterKey that was not found
    INITIALIZATION_FAILED = 4,    // detail: the core's initialisation code
    // A frame the call would read is missing or holds fewer than width x
    // height samples; nothing was read or processed and the previous frame
    // set's results stand. detail: the frame, 0 for the grey frame and
    // 1 + 4 x frequency + k for phase frame k of frequency 0 or 1.
    INVALID_INPUT = 5,
  };

  Code code = SUCCESS;
  uint32_t detail = 0;
};

}  // namespace kelvora
