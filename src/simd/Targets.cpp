#include "simd/Targets.hpp"

#include <atomic>

namespace kelvora::simd {

namespace {

// The four-lane target the library is built for.
constexpr Target kBaseline =
#if defined(KELVORA_FORCE_SCALAR)
    Target::kScalar;
#elif defined(__ARM_NEON) || defined(__ARM_NEON__)
    Target::kNeon;
#elif defined(__SSE2__) || defined(_M_X64)
    Target::kSse2;
#else
    Target::kScalar;
#endif

constexpr bool built(Target t) {
  switch (t) {
    case Target::kScalar:
      return true;
    case Target::kSse2:
    case Target::kNeon:
      return t == kBaseline;
    case Target::kAvx2:
    case Target::kAvx512:
#if defined(KELVORA_WIDE_X86)
      return kBaseline == Target::kSse2;
#else
      return false;
#endif
  }
  return false;
}

bool supported([[maybe_unused]] Target t) {
#if defined(KELVORA_WIDE_X86)
  // Also checks that the operating system saves the wider registers.
  if (t == Target::kAvx2 || t == Target::kAvx512) {
    __builtin_cpu_init();
    return t == Target::kAvx2 ? __builtin_cpu_supports("avx2") != 0
                              : __builtin_cpu_supports("avx512f") != 0;
  }
#endif
  return true;
}

Target widest(unsigned lanes) {
  if (lanes >= 16 && targetAvailable(Target::kAvx512)) return Target::kAvx512;
  if (lanes >= 8 && targetAvailable(Target::kAvx2)) return Target::kAvx2;
  return kBaseline;
}

std::atomic<Target>& selection() {
  static std::atomic<Target> target{widest(~0u)};
  return target;
}

}  // namespace

const char* targetName(Target t) {
  static const char* const kNames[kTargetCount] = {"scalar", "sse2", "neon", "avx2", "avx512"};
  return kNames[indexOf(t)];
}

unsigned targetLanes(Target t) {
  return t == Target::kAvx512 ? 16 : t == Target::kAvx2 ? 8 : 4;
}

bool targetAvailable(Target t) {
  static const bool available[kTargetCount] = {
      built(Target::kScalar) && supported(Target::kScalar),
      built(Target::kSse2) && supported(Target::kSse2),
      built(Target::kNeon) && supported(Target::kNeon),
      built(Target::kAvx2) && supported(Target::kAvx2),
      built(Target::kAvx512) && supported(Target::kAvx512)};
  return available[indexOf(t)];
}

Target selectedTarget() {
  return selection().load(std::memory_order_relaxed);
}

unsigned vectorLanes() {
  return targetLanes(selectedTarget());
}

Target selectTarget(Target t) {
  return selection().exchange(targetAvailable(t) ? t : kBaseline, std::memory_order_relaxed);
}

unsigned setVectorLanes(unsigned lanes) {
  return targetLanes(selection().exchange(widest(lanes), std::memory_order_relaxed));
}

}  // namespace kelvora::simd
