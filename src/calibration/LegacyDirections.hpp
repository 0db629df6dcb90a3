#pragma once
// Viewing rays of the legacy 224 x 172 sensor, computed by the legacy reader
// itself (its handler has no separate lens-model step).
#include <cstdint>

namespace kelvora {

constexpr uint32_t kLegacyColumns = 224;
constexpr uint32_t kLegacyRows = 172;
constexpr uint32_t kLegacyPixelCount = kLegacyColumns * kLegacyRows;  // 38528

// The legacy conversion ran the undistortion fixed-point iteration 100 times
// instead of the lens model's 15; its stored rays depend on that count.
constexpr uint32_t kLegacyUndistortionPasses = 100;

// Unit rays (x, y, z per pixel) of the fixed grid of 172 rows by 224 columns in
// row-major order from lens parameters fx, fy, cx, cy, k1, k2, p1, p2, k3.
// Only the first `pixelCount` (at most 38528) rays are stored in `out`.
void ovani_computeLegacyDirections(const float* lensParameters, float* out, uint32_t pixelCount);

}  // namespace kelvora
