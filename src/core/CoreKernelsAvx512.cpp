// The core's kernels on AVX-512; this file and its twin in the other layer are
// the only ones built with AVX-512 enabled.
#define KELVORA_TARGET_AVX512
#include "core/CoreKernelTable.inl"
