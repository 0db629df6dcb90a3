#pragma once
// Turns the final radial distance image into x, y, z points along the
// calibration's per-pixel rays, with a confidence from the distance noise.
#include <cstddef>
#include <cstdint>

namespace kelvora {

struct KelvoraCalibration;
struct KelvoraParameter;
struct KelvoraOutput;

// Dense (every pixel, flagged ones with confidence 0) or, with
// useSparsePointCloud, only unflagged pixels. Sets output->pointCloudSize to
// the number of floats written, in dense mode counted in whole groups of four
// pixels as the stage has always reported it. Reads and writes stay within
// pixelCount pixels.
void calcCartesianCoordinates_arm(uint32_t pixelCount, const KelvoraCalibration* calibration,
                                  const KelvoraParameter* parameters, KelvoraOutput* output);

// The point-cloud kernels' buffers: n pixels, 3 x n ray components, room for
// 4 x n floats in cloud.
struct PointCloudImage {
  std::size_t n;
  const float* distance;
  const float* noise;
  const uint32_t* flags;
  const float* directions;
  float noiseThreshold;
  float* cloud;
};

}  // namespace kelvora
