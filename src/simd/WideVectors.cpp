#include "simd/WideVectors.hpp"

#include <atomic>

namespace kelvora::simd {

namespace {

bool wideVectorsSupported() {
#if defined(KELVORA_WIDE_X86)
  // Also checks that the operating system saves the upper register halves.
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
#else
  return false;
#endif
}

std::atomic<bool>& wideVectorsSetting() {
  static std::atomic<bool> enabled{wideVectorsSupported()};
  return enabled;
}

}  // namespace

bool wideVectorsEnabled() {
  return wideVectorsSetting().load(std::memory_order_relaxed);
}

bool setWideVectorsEnabled(bool enabled) {
  static const bool supported = wideVectorsSupported();
  return wideVectorsSetting().exchange(enabled && supported, std::memory_order_relaxed);
}

}  // namespace kelvora::simd
