// The adaptive noise filter on NEON (armv7-a).
#include "simd/Targets.hpp"
#if !defined(KELVORA_FORCE_SCALAR) && (defined(__ARM_NEON) || defined(__ARM_NEON__))
#define KELVORA_TARGET_NEON
#include "filters/AdaptiveNoiseKernelEntry.inl"
#endif
