#pragma once
// The result kinds an engine produces. Kinds 0 to 5 can be redirected into
// caller memory; the exposure proposals are always read in place.
#include <cstdint>

namespace kelvora {

enum ResultType : uint32_t {
  POINT_CLOUD = 0,         // float, 4 per pixel
  AMPLITUDE = 1,           // float, 1 per pixel
  FLAGS = 2,               // unsigned int, 1 per pixel
  NOISE = 3,               // float, 1 per pixel, metres
  INTENSITY = 4,           // float, 1 per pixel
  DISTANCE = 5,            // float, 1 per pixel, metres
  EXPOSURE_PROPOSALS = 6,  // unsigned int, number of frequencies + 1
  RESULT_TYPE_COUNT = 7,
};

namespace details {

template <ResultType RT>
struct result_types {
  static_assert(RT < RESULT_TYPE_COUNT, "RESULT_TYPE_COUNT is not a result");
  using value_type = float;
};
template <>
struct result_types<FLAGS> {
  using value_type = unsigned int;
};
template <>
struct result_types<EXPOSURE_PROPOSALS> {
  using value_type = unsigned int;
};

}  // namespace details
}  // namespace kelvora
