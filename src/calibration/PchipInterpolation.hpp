#pragma once
// Shape-preserving piecewise cubic Hermite interpolation of a short profile
// (the stray-light profile has at most 14 points): monotone between support
// points, flat at local extrema, no overshoot.
#include <cstdint>

namespace kelvora {

struct KelvoraPolyHandle {
  float* x;       // support points, increasing
  float* y;       // values at the support points
  float* slopes;  // derivative at each support point
  uint32_t count;
};

// Copies the n points and computes the slopes. n below 2 gives a handle that
// evaluates to the default everywhere; with exactly 2 points both slopes are
// the secant (the three-point end formula has nothing to look at).
KelvoraPolyHandle* kelvora_createPolyHandle(const float* x, const float* y, int32_t n);
void kelvora_freePoly(KelvoraPolyHandle* handle);

// Cubic value at t, or defaultValue when t lies outside [x[0], x[count-1]].
float kelvora_cinterpol_def(const KelvoraPolyHandle* handle, float t, float defaultValue);

}  // namespace kelvora
