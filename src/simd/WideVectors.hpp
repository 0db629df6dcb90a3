#pragma once
// Run-time choice of the eight-lane AVX2 forms of the hottest stages on x86-64.
// They give the same bits as the four-lane forms, so the choice changes speed
// only. The library is built for the x86-64 baseline; the AVX2 forms live in
// their own translation units (files ending in Avx2.cpp) and run only when the
// processor and operating system support AVX2.
namespace kelvora::simd {

// True while the AVX2 forms are in use: by default exactly when supported.
bool wideVectorsEnabled();

// Lets tests and benchmarks compare both forms in one process; a request to
// enable them is ignored where they are not built or not supported. Returns
// the previous setting.
bool setWideVectorsEnabled(bool enabled);

}  // namespace kelvora::simd
