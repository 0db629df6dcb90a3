// The wide stages on the AVX2 backend; this file alone is built with AVX2.
#define KELVORA_WIDE_TAG simd::avx2::Tag
#define KELVORA_WIDE_NAME(f) f##Avx2
#include "core/WideStages.inl"
