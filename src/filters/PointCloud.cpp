#include "filters/PointCloud.hpp"

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "filters/FilterKernels.hpp"

namespace kelvora {

void calcCartesianCoordinates_arm(uint32_t pixelCount, const KelvoraCalibration* calibration,
                                  const KelvoraParameter* parameters, KelvoraOutput* output) {
  const PointCloudImage im{pixelCount,        output->distance,        output->noise,
                           output->flags,     calibration->directions, parameters->noiseThreshold,
                           output->pointCloud};
  if (parameters->useSparsePointCloud) {
    output->pointCloudSize = filterKernels().pointCloudSparse(im);
  } else {
    filterKernels().pointCloudDense(im);
    // Whole groups of four pixels, although only the real pixels' points are
    // stored: the cloud may be a caller's array of exactly 4 x n floats.
    output->pointCloudSize = 4u * ((pixelCount + 3u) & ~3u);
  }
}

}  // namespace kelvora
