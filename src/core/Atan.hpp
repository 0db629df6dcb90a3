#pragma once
// Arctangent by linear interpolation in a 32-entry table over [0, 1], folded
// to |x| > 1 through atan(x) = pi/2 - atan(1/x). Its largest error, about
// 8.5e-5 rad, is what the distance stage is built on. Its vector form
// (core/AtanKernel.hpp) gives the same bits in every lane.
#include <cstdint>

namespace kelvora {

// atan(m / 31) for m = 0..31, plus a copy of the last entry so that the
// interpolation can always read the entry after m (its weight is 0 there).
extern const float kAtanTable[33];

constexpr float kAtanHalfPi = 1.5707964f;
constexpr float kAtanStep = 0.032258064f;  // 1/31

float zyn_atanf(float x);

}  // namespace kelvora
