#pragma once
// Run-time choice of the wide x86-64 forms of the hottest stages: AVX2 (eight
// lanes) and AVX-512 (sixteen lanes). They give the same bits as the four-lane
// forms, so the choice changes speed only. The library is built for the
// x86-64 baseline; the wide forms live in their own translation units (files
// ending in Avx2.cpp and Avx512.cpp) and run only when the processor and the
// operating system support them.
namespace kelvora::simd {

// The widest vectors in use: 4 (baseline), 8 (AVX2) or 16 (AVX-512); by
// default the widest supported.
unsigned vectorLanes();

// Caps the width, so tests and benchmarks can compare the forms in one
// process; never above what is built and supported. Returns the previous
// width.
unsigned setVectorLanes(unsigned lanes);

}  // namespace kelvora::simd
