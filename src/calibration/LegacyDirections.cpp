#include "calibration/LegacyDirections.hpp"

#include <cmath>

#include "calibration/UndistortedRay.hpp"

namespace kelvora {

void ovani_computeLegacyDirections(const float* lensParameters, float* out, uint32_t pixelCount) {
  const float fx = lensParameters[0];
  const float fy = lensParameters[1];
  const float cx = lensParameters[2];
  const float cy = lensParameters[3];
  const uint32_t pixels = pixelCount < kLegacyPixelCount ? pixelCount : kLegacyPixelCount;
  // Every pixel's iteration is independent of the others, so running all
  // passes per pixel gives the same rays as pass after pass over the grid.
  for (uint32_t i = 0; i < pixels; ++i) {
    const float column = static_cast<float>(i % kLegacyColumns);
    const float row = static_cast<float>(i / kLegacyColumns);
    const float x0 = (column - cx) / fx;
    const float y0 = (row - cy) / fy;
    undistortedRay(lensParameters, x0, y0, kLegacyUndistortionPasses, out + 3u * i);
  }
}

}  // namespace kelvora
