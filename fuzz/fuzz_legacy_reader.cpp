// The legacy reader called directly on a record of the fixed sensor size.
// It accepts every blob, so this is where garbage that is no container ends.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kelvora;
  const uint32_t n32 = fuzz::size32(size);
  const int32_t pixels = ovani_getLegacyNumPixel(data, n32);
  fuzz::RecordPtr record(allocateCalibration(static_cast<uint32_t>(pixels)));
  if (!record) return 0;
  const uint32_t s = ovani_readLegacyCalibration(data, n32, record.get());
  if (s != status::kSuccess && !status::isError(s)) fuzz::contractBroken();
  return 0;
}
