// The wide stages on the AVX-512 backend; this file alone is built with AVX-512.
#define KELVORA_WIDE_TAG simd::avx512::Tag
#define KELVORA_WIDE_NAME(f) f##Avx512
#include "core/WideStages.inl"
