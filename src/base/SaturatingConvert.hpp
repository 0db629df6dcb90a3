#pragma once
#include <cstdint>

namespace kelvora {

// float -> uint32 as the ARM conversion does it: negative and NaN give 0,
// values beyond the range give the largest value, the rest truncate.
inline uint32_t saturatingToUnsigned(float v) {
  if (!(v > 0.0f)) return 0u;
  if (v >= 4294967296.0f) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(v);
}

}  // namespace kelvora
