// The adaptive noise filter on SSE2, the x86-64 baseline.
#include "simd/Targets.hpp"
#if !defined(KELVORA_FORCE_SCALAR) && !(defined(__ARM_NEON) || defined(__ARM_NEON__)) && \
    (defined(__SSE2__) || defined(_M_X64))
#define KELVORA_TARGET_SSE2
#include "filters/AdaptiveNoiseKernelEntry.inl"
#endif
