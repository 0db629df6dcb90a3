#include "calibration/LensDirections.hpp"

#include <cmath>

#include "core/StatusCodes.hpp"

namespace kelvora {

uint32_t kelvora_updateDirections(float* out, uint32_t outCount, const float* lensParameters,
                                  const uint32_t* roi) {
  const uint32_t width = roi[2];
  const uint32_t height = roi[3];
  // 64-bit product: a garbage ROI must not wrap around to a matching count.
  const uint64_t wanted = static_cast<uint64_t>(width) * height * 3u;
  if (wanted != outCount || width < roi[0] || height < roi[1]) return status::kSizeMismatch;

  const float fx = lensParameters[0];
  const float fy = lensParameters[1];
  const float cx = lensParameters[2];
  const float cy = lensParameters[3];
  const float k1 = lensParameters[4];
  const float k2 = lensParameters[5];
  const float p1 = lensParameters[6];
  const float p2 = lensParameters[7];
  const float k3 = lensParameters[8];
  const float invFx = 1.0f / fx;
  const float invFy = 1.0f / fy;

  for (uint32_t r = 0; r < height; ++r) {
    const float y0 = (static_cast<float>(r) - cy) * invFy;
    for (uint32_t c = 0; c < width; ++c) {
      const float x0 = (static_cast<float>(c) - cx) * invFx;
      float x = x0;
      float y = y0;
      for (int it = 0; it < kUndistortIterations; ++it) {
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
      const float z = std::sqrt(1.0f - (x * x + y * y));
      float* ray = out + (static_cast<std::size_t>(r) * width + c) * 3u;
      ray[0] = x;
      ray[1] = y;
      ray[2] = z;
    }
  }
  return status::kSuccess;
}

}  // namespace kelvora
