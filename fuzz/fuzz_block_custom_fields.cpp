// The block format's second pass, over the custom blocks, on a record the
// first pass prepared from the same bytes; and, for the half of the inputs
// that start with an odd byte, on a record prepared from the seed-like blob
// but read against the fuzzed bytes (the sizes of one file, the blocks of
// another), which is what a host mixing up two files would do.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvCustomFields.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace {

using namespace kelvora;

// A blob with one custom block of every type, read once: the entry sizes
// the second pass has to respect.
const std::vector<uint8_t>& referenceBlob() {
  static const std::vector<uint8_t> blob = [] {
    synth::SyntheticCalibrationOptions o;
    o.width = 8;
    o.height = 5;
    o.strayLight = true;
    fuzz::RecordPtr source(synth::makeSyntheticCalibration(o));
    synth::BlockWriterOptions w;
    auto block = [](uint8_t id, uint8_t type, std::vector<uint32_t> v, std::vector<float> f) {
      synth::BlockSpec b;
      b.id = id;
      b.type = type;
      b.integers = std::move(v);
      b.floats = std::move(f);
      return b;
    };
    w.extraBlocks = {block(128, 0, {1, 2, 3}, {}), block(131, 1, {0xBEEF, 7}, {}),
                     block(140, 2, {0xDEADBEEFu}, {}), block(200, 3, {5u, 6u}, {}),
                     block(254, 4, {}, {-2.5f, 1e-3f})};
    return synth::writeBlockCalibration(*source, w);
  }();
  return blob;
}

fuzz::RecordPtr prepared(const uint8_t* data, uint32_t size) {
  const int32_t pixels = kelvora_getQVNumPixels(data, size);
  if (pixels < 1 || pixels > fuzz::kMaxFuzzPixels) return nullptr;
  fuzz::RecordPtr record(allocateCalibration(static_cast<uint32_t>(pixels)));
  if (!record) return nullptr;
  const uint32_t s = kelvora_readQVHandlerCalibration(data, size, record.get());
  if (s != status::kSuccess && s != status::kWarning) return nullptr;
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const uint32_t n32 = fuzz::size32(size);
  fuzz::RecordPtr record;
  if (size > 0 && (data[0] & 1u) != 0) {
    const std::vector<uint8_t>& ref = referenceBlob();
    record = prepared(ref.data(), static_cast<uint32_t>(ref.size()));
  } else {
    record = prepared(data, n32);
  }
  if (!record) return 0;
  const uint32_t s = kelvora_readQVCustomFields(data, n32, record.get());
  if (s != status::kSuccess && !status::isError(s)) fuzz::contractBroken();
  return 0;
}
