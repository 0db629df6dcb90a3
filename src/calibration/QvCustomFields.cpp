#include "calibration/QvCustomFields.hpp"

#include <cstdlib>

#include "calibration/QvBlockDecoding.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvHeader.hpp"
#include "calibration/QvStream.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {

namespace {

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
    KelvoraCustomField& field = c->customFields[customIndex++];
    if (field.data == nullptr) {
      field.data = std::calloc(field.size == 0 ? 1u : field.size, 1);
      if (field.data == nullptr) return status::kCapacityExceeded;
    }
    uint64_t decoded = 0;
    if (uint32_t s =
            kelvora_decodeQVBlock(&stream, &block, field.data, field.size, &scratch, &decoded)) {
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
