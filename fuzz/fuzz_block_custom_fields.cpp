// The block format's second pass, over the custom blocks, on a record the
// first pass prepared from the same bytes; and, for the half of the inputs
// that start with an odd byte, on a record prepared from a reference blob
// but read against the fuzzed bytes (the sizes of one file, the blocks of
// another), which is what a host mixing up two files would do.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvCustomFields.hpp"

namespace {

using namespace kelvora;

fuzz::RecordPtr prepared(const uint8_t* data, uint32_t size) {
  const int32_t pixels = kelvora_getQVNumPixels(data, size);
  if (pixels < 1 || pixels > fuzz::kMaxFuzzPixels) return nullptr;
  fuzz::RecordPtr record(allocateCalibration(static_cast<uint32_t>(pixels)));
  const uint32_t s = kelvora_readQVHandlerCalibration(data, size, record.get());
  return s == status::kSuccess || s == status::kWarning ? std::move(record) : nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<uint8_t> reference = fuzz::customBlocksBlob();
  const uint32_t n32 = fuzz::size32(size);
  const fuzz::RecordPtr record =
      size > 0 && (data[0] & 1u) != 0
          ? prepared(reference.data(), static_cast<uint32_t>(reference.size()))
          : prepared(data, n32);
  if (!record) return 0;
  const uint32_t s = kelvora_readQVCustomFields(data, n32, record.get());
  if (s != status::kSuccess && !status::isError(s)) fuzz::contractBroken();
  return 0;
}
