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
  };

  Code code = SUCCESS;
  uint32_t detail = 0;
};

}  // namespace kelvora
