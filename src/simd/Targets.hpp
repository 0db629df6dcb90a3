#pragma once
// The vector targets of this build and the one processing runs on. Every
// per-pixel stage exists once per target (scalar, SSE2 or NEON, and on x86-64
// AVX2 and AVX-512), each target's forms gathered in one table per layer
// (core/CoreKernels.hpp, filters/FilterKernels.hpp). All targets give the same
// bits, so the choice changes speed only; the scalar one is the reference the
// tests compare the others with.
namespace kelvora::simd {

enum class Target : unsigned { kScalar, kSse2, kNeon, kAvx2, kAvx512 };
constexpr unsigned kTargetCount = 5;

constexpr unsigned indexOf(Target t) {
  return static_cast<unsigned>(t);
}
const char* targetName(Target t);
unsigned targetLanes(Target t);

// Built into this library and supported by this processor (and its
// operating system, for the wider registers).
bool targetAvailable(Target t);

// The target processing runs on: by default the widest available one.
Target selectedTarget();

// Its width: 4 (scalar, SSE2, NEON), 8 (AVX2) or 16 (AVX-512).
unsigned vectorLanes();

// Selects the widest available target of at most `lanes` lanes (never below
// four), so tests and benchmarks can compare the forms in one process;
// returns the previous width. Not for use while any engine processes a frame:
// the stages read the selection at each call.
unsigned setVectorLanes(unsigned lanes);

// Selects one available target, the scalar path included; returns the
// previous one. The same rule as setVectorLanes.
Target selectTarget(Target t);

}  // namespace kelvora::simd
