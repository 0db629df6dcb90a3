#include "calibration/LegacyDirections.hpp"

#include <cmath>

namespace kelvora {

void ovani_computeLegacyDirections(const float* lensParameters, float* out, uint32_t pixelCount) {
  const float fx = lensParameters[0];
  const float fy = lensParameters[1];
  const float cx = lensParameters[2];
  const float cy = lensParameters[3];
  const float k1 = lensParameters[4];
  const float k2 = lensParameters[5];
  const float p1 = lensParameters[6];
  const float p2 = lensParameters[7];
  const float k3 = lensParameters[8];
  const uint32_t pixels = pixelCount < kLegacyPixelCount ? pixelCount : kLegacyPixelCount;
  // Every pixel's iteration is independent of the others, so running all
  // passes per pixel gives the same rays as pass after pass over the grid.
  for (uint32_t i = 0; i < pixels; ++i) {
    const float column = static_cast<float>(i % kLegacyColumns);
    const float row = static_cast<float>(i / kLegacyColumns);
    const float x0 = (column - cx) / fx;
    const float y0 = (row - cy) / fy;
    float x = x0;
    float y = y0;
    for (uint32_t pass = 0; pass < kLegacyUndistortionPasses; ++pass) {
      const float r2 = x * x + y * y;
      const float icdist = 1.0f / (1.0f + ((k3 * r2 + k2) * r2 + k1) * r2);
      const float dx = 2.0f * p1 * x * y + p2 * (r2 + 2.0f * x * x);
      const float dy = p1 * (r2 + 2.0f * y * y) + 2.0f * p2 * x * y;
      x = (x0 - dx) * icdist;
      y = (y0 - dy) * icdist;
    }
    const float n = std::sqrt(1.0f + x * x + y * y);
    x = x / n;
    y = y / n;
    out[3 * i + 0] = x;
    out[3 * i + 1] = y;
    out[3 * i + 2] = std::sqrt(1.0f - (x * x + y * y));
  }
}

}  // namespace kelvora
