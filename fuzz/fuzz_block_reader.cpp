// The block-format reader called directly through its handler operations:
// pixel count, record, read, then the point-spread function and directions.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "calibration/QvCalibrationReader.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kelvora;
  const uint32_t n32 = fuzz::size32(size);
  const int32_t pixels = kelvora_getQVNumPixels(data, n32);
  if (pixels < 1 || pixels > fuzz::kMaxFuzzPixels) return 0;
  fuzz::RecordPtr record(allocateCalibration(static_cast<uint32_t>(pixels)));
  if (!record) return 0;
  const uint32_t s = kelvora_readQVHandlerCalibration(data, n32, record.get());
  if (s == status::kSuccess || s == status::kWarning) {
    kelvora_calcQVPsfAndDirections(record.get(), static_cast<uint32_t>(pixels));
  } else if (!status::isError(s)) {
    fuzz::contractBroken();
  }
  return 0;
}
