#include "calibration/HandlerPsfAndDirections.hpp"

#include <cstdint>
#include <cstdlib>

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/LensDirections.hpp"
#include "calibration/PointSpreadFunction.hpp"

namespace kelvora {

uint32_t kelvora_calcTavelPsfAndDirections(KelvoraCalibration* calibration, uint32_t pixelCount) {
  const uint64_t count = static_cast<uint64_t>(pixelCount) * 3u;
  const uint32_t* roi = calibration->calibrationROI;
  const uint64_t roiCount = static_cast<uint64_t>(roi[2]) * roi[3] * 3u;
  // A handler run twice replaces the old rays instead of leaking them.
  std::free(calibration->directions);
  calibration->directions = nullptr;
  // Allocate only what the ROI can fill: a pixel count that disagrees with the
  // ROI is the same size failure kelvora_updateDirections reports, and must
  // not become a huge allocation first.
  if (count != roiCount || count > UINT32_MAX) return status::kSizeMismatch;
  calibration->directions =
      static_cast<float*>(std::malloc(sizeof(float) * (count == 0 ? 1 : count)));
  if (calibration->directions == nullptr) return status::kSizeMismatch;
  return kelvora_updateDirections(calibration->directions, static_cast<uint32_t>(count),
                                  calibration->lensParameters, roi);
}

uint32_t kelvora_calcQVPsfAndDirections(KelvoraCalibration* calibration, uint32_t pixelCount) {
  const uint32_t result = kelvora_calcTavelPsfAndDirections(calibration, pixelCount);
  if (result != status::kSuccess) return result;
  if (!kelvora_validFloatField(calibration->psfScale)) return status::kSuccess;
  return kelvora_allocateAndCalculatePsf(calibration);
}

}  // namespace kelvora
