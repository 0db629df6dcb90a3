#include "calibration/QvCustomFields.hpp"

#include <cstdlib>

#include "base/StatusCodes.hpp"
#include "calibration/QvBlockDecoding.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvHeader.hpp"
#include "calibration/QvStream.hpp"

namespace kelvora {

namespace {

// Decodes one custom block into its field. A buffer is made only for a field
// that has bytes and none yet, and kept only once the block has decoded into
// it, so a field never hands out bytes that no block gave it.
uint32_t decodeCustomBlock(QvStream& stream, const QvBlockHeader& block, QvScratch& scratch,
                           KelvoraCustomField& field) {
  uint64_t decoded = 0;
  if (field.data != nullptr || field.size == 0) {
    uint8_t none = 0;  // room for nothing: a block with values fails its capacity check
    void* destination = field.data != nullptr ? field.data : &none;
    return kelvora_decodeQVBlock(&stream, &block, destination, field.size, &scratch, &decoded);
  }
  void* buffer = std::calloc(field.size, 1);
  if (buffer == nullptr) return status::kCapacityExceeded;
  const uint32_t s = kelvora_decodeQVBlock(&stream, &block, buffer, field.size, &scratch, &decoded);
  if (s != status::kSuccess) {
    std::free(buffer);
    return s;
  }
  field.data = buffer;
  return status::kSuccess;
}

uint32_t walkBlocks(QvStream& stream, QvScratch& scratch, uint32_t pixelCount,
                    KelvoraCalibration* c) {
  int32_t previousId = -1;
  uint32_t customIndex = 0;
  for (;;) {
    QvBlockHeader block{};
    if (uint32_t s = kelvora_readQVBlockHeader(&stream, pixelCount, &block)) return s;
    if (static_cast<int32_t>(block.id) <= previousId) return status::kInvalidValue;
    previousId = block.id;
    if (block.id == kQvEndMarker) return status::kSuccess;
    if (block.id < c->firstCustomFieldId) {
      if (uint32_t s = kelvora_skipQV(&stream, kelvora_getQVPackedBlockSize(&block))) return s;
      continue;
    }
    if (customIndex >= c->customFieldCount || customIndex >= kCalibrationCustomFieldCapacity) {
      return status::kCapacityExceeded;
    }
    if (uint32_t s = decodeCustomBlock(stream, block, scratch, c->customFields[customIndex++])) {
      return s;
    }
  }
}

}  // namespace

uint32_t kelvora_readQVCustomFields(const uint8_t* data, uint32_t size,
                                    KelvoraCalibration* calibration) {
  QvStream stream = kelvora_createStreamFromData(data, size);
  QvHeader header{};
  if (uint32_t s = kelvora_readQVHeader(&stream, &header)) return s;
  const uint32_t pixels = uint32_t{header.dimensionA} * header.dimensionB;
  if (pixels > kQvMaxPixelCount) return status::kCapacityExceeded;
  QvScratch scratch = kelvora_createQVScratch(pixels);
  const uint32_t s = walkBlocks(stream, scratch, pixels, calibration);
  kelvora_freeQVScratch(&scratch);
  return s;
}

}  // namespace kelvora
