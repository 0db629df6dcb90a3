#pragma once
// The unit viewing ray of one pixel under the lens model: a fixed number of
// undistortion passes (no convergence test), then normalisation. Shared by
// the lens model and the legacy reader, which differ only in how they form
// the normalised pixel position and how many passes they run.
#include <cmath>
#include <cstdint>

namespace kelvora {

// lens: fx, fy, cx, cy, k1, k2, p1, p2, k3 (only the distortion terms are
// read here). (x0, y0) is the distorted normalised position.
inline void undistortedRay(const float* lens, float x0, float y0, uint32_t passes, float* ray) {
  const float k1 = lens[4], k2 = lens[5], p1 = lens[6], p2 = lens[7], k3 = lens[8];
  float x = x0;
  float y = y0;
  for (uint32_t pass = 0; pass < passes; ++pass) {
    const float r2 = x * x + y * y;
    const float icdist = 1.0f / (1.0f + ((k3 * r2 + k2) * r2 + k1) * r2);
    const float dx = 2.0f * p1 * x * y + p2 * (r2 + 2.0f * x * x);
    const float dy = p1 * (r2 + 2.0f * y * y) + 2.0f * p2 * x * y;
    x = (x0 - dx) * icdist;
    y = (y0 - dy) * icdist;
  }
  const float norm = std::sqrt(1.0f + x * x + y * y);
  x = x / norm;
  y = y / norm;
  ray[0] = x;
  ray[1] = y;
  ray[2] = std::sqrt(1.0f - (x * x + y * y));
}

}  // namespace kelvora
