#include "calibration/LensDirections.hpp"

#include <cmath>

#include "base/StatusCodes.hpp"
#include "calibration/UndistortedRay.hpp"

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
  const float invFx = 1.0f / fx;
  const float invFy = 1.0f / fy;

  for (uint32_t r = 0; r < height; ++r) {
    const float y0 = (static_cast<float>(r) - cy) * invFy;
    for (uint32_t c = 0; c < width; ++c) {
      const float x0 = (static_cast<float>(c) - cx) * invFx;
      undistortedRay(lensParameters, x0, y0, kUndistortIterations,
                     out + (static_cast<std::size_t>(r) * width + c) * 3u);
    }
  }
  return status::kSuccess;
}

}  // namespace kelvora
