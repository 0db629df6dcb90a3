// The adaptive noise filter on the scalar path, built on every platform.
#define KELVORA_TARGET_SCALAR
#include "filters/AdaptiveNoiseKernelEntry.inl"
