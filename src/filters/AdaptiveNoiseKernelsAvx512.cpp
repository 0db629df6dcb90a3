// The adaptive noise filter on AVX-512, built with AVX-512 enabled.
#define KELVORA_TARGET_AVX512
#include "filters/AdaptiveNoiseKernelEntry.inl"
