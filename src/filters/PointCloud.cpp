#include "filters/PointCloud.hpp"

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "filters/PointCloudKernels.hpp"
#include "simd/Simd.hpp"

namespace kelvora {

void calcCartesianCoordinates_arm(uint32_t pixelCount, const KelvoraCalibration* calibration,
                                  const KelvoraParameter* parameters, KelvoraOutput* output) {
  const simd::NativeTag d;
  const auto kernel = parameters->useSparsePointCloud ? pointCloudSparse<simd::NativeTag>
                                                      : pointCloudDense<simd::NativeTag>;
  output->pointCloudSize =
      kernel(d, pixelCount, output->distance, output->noise, output->flags, calibration->directions,
             parameters->noiseThreshold, output->pointCloud);
}

}  // namespace kelvora
