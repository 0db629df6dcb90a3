// The container reader called directly, as its handler would be: pixel count
// from the root header, a record of that size, the body, then the lens model.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "calibration/TavelCalibrationReader.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kelvora;
  const uint32_t n32 = fuzz::size32(size);
  // The reader itself does not check the magic: its handler does.
  const int32_t pixels = kelvora_getTavelNumPixels(data, n32);
  if (pixels < 1 || pixels > fuzz::kMaxFuzzPixels) return 0;
  fuzz::RecordPtr record(allocateCalibration(static_cast<uint32_t>(pixels)));
  if (!record) return 0;
  const uint32_t s = kelvora_readTavelHandlerCalibration(data, n32, record.get());
  if (s == status::kSuccess || s == status::kWarning) {
    kelvora_calcTavelPsfAndDirections(record.get(), static_cast<uint32_t>(pixels));
  } else if (!status::isError(s)) {
    fuzz::contractBroken();
  }
  return 0;
}
