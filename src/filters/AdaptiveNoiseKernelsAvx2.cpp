// The adaptive noise filter on AVX2, built with AVX2 enabled.
#define KELVORA_TARGET_AVX2
#include "filters/AdaptiveNoiseKernelEntry.inl"
