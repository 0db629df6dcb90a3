#pragma once
// Per-pixel viewing rays from the lens model: fx, fy, cx, cy (pixels), k1, k2,
// p1, p2, k3 (Brown-Conrady with the rational numerator fixed at 0).
#include <cstdint>

namespace kelvora {

// Fixed number of undistortion steps; there is no convergence test, so the
// rays are the same on every platform whatever the lens.
constexpr int kUndistortIterations = 15;

// Writes the unit ray (x, y, z) of every pixel of the ROI (element 2 = width,
// element 3 = height), row-major, into out. Fails with kSizeMismatch, without
// touching out, when outCount is not width x height x 3 or when the extent is
// smaller than the ROI origin (elements 0 and 1).
uint32_t kelvora_updateDirections(float* out, uint32_t outCount, const float* lensParameters,
                                  const uint32_t* roi);

}  // namespace kelvora
