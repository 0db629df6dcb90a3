// The filters' kernels on AVX2; this file and its twin in the other layer are the
// only ones built with AVX2 enabled.
#define KELVORA_TARGET_AVX2
#include "filters/FilterKernelTable.inl"
