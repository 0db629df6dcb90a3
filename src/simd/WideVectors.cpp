#include "simd/WideVectors.hpp"

#include <atomic>

namespace kelvora::simd {

namespace {

unsigned supportedLanes() {
#if defined(KELVORA_WIDE_X86)
  // Also checks that the operating system saves the wider registers.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f")) return 16;
  if (__builtin_cpu_supports("avx2")) return 8;
#endif
  return 4;
}

unsigned supported() {
  static const unsigned lanes = supportedLanes();
  return lanes;
}

std::atomic<unsigned>& setting() {
  static std::atomic<unsigned> lanes{supported()};
  return lanes;
}

}  // namespace

unsigned vectorLanes() {
  return setting().load(std::memory_order_relaxed);
}

unsigned setVectorLanes(unsigned lanes) {
  unsigned width = 4;
  while (width * 2 <= lanes && width * 2 <= supported()) width *= 2;
  return setting().exchange(width, std::memory_order_relaxed);
}

}  // namespace kelvora::simd
