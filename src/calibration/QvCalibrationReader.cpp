#include "calibration/QvCalibrationReader.hpp"

#include <cstdlib>

#include "base/StatusCodes.hpp"
#include "calibration/QvBlockDecoding.hpp"
#include "calibration/QvDrevantTable.hpp"
#include "calibration/QvHeader.hpp"
#include "calibration/QvStream.hpp"

namespace kelvora {

namespace {

constexpr uint32_t kMaxCustomBlocks = kCalibrationCustomFieldCapacity;

uint64_t minimumCount(int32_t minimum, uint32_t pixelCount) {
  if (minimum == kQvMinimumPerPixel) return pixelCount;
  if (minimum >= kQvFirstPerPixelMinimum) {
    return static_cast<uint64_t>(minimum - (kQvFirstPerPixelMinimum - 1)) * pixelCount;
  }
  return static_cast<uint64_t>(minimum);
}

struct ReadState {
  QvStream stream;
  QvScratch scratch;
  uint32_t pixelCount;
  uint32_t frequencyBlocks;
  uint32_t customBlocks;
  uint64_t customSizes[kMaxCustomBlocks];
};

uint32_t readEntryBlock(ReadState& st, QvTable* table, QvTableEntry* entry,
                        const QvBlockHeader& header) {
  if (uint32_t s = table->validateBlock(entry, &header)) return s;
  if (table->isFrequencyBlock(header.id)) st.frequencyBlocks += 1;

  uint64_t decoded = 0;
  if (entry->copy == nullptr) {
    if (entry->minimumCount != kQvNoMinimum &&
        header.count < minimumCount(entry->minimumCount, st.pixelCount)) {
      return status::kTooFewValues;
    }
    if (uint32_t s = kelvora_decodeQVBlock(&st.stream, &header, entry->destination, entry->capacity,
                                           &st.scratch, &decoded)) {
      return s;
    }
    if (entry->countByte != nullptr) *entry->countByte = static_cast<uint8_t>(header.count);
    return status::kSuccess;
  }

  // Copy-function blocks land in the scratch room first. Its capacity is
  // checked before anything is allocated, so only payloads that are really in
  // the stream take memory.
  if (uint32_t s =
          kelvora_checkQVBlock(&st.stream, &header, st.scratch.valueCapacity, &st.scratch)) {
    return s;
  }
  void* values =
      kelvora_reserveQVScratchValues(&st.scratch, kelvora_getQVUnpackedBlockSize(&header));
  if (values == nullptr) return status::kCapacityExceeded;
  if (uint32_t s = kelvora_decodeQVBlock(&st.stream, &header, values, st.scratch.valueCapacity,
                                         &st.scratch, &decoded)) {
    return s;
  }
  return entry->copy(values, decoded, entry->destination, entry->capacity, entry->countByte);
}

QvReadResult readBlocks(ReadState& st, QvTable* table, KelvoraCalibration* c) {
  QvHeader header{};
  if (uint32_t s = kelvora_readQVHeader(&st.stream, &header)) return {s, kQvNoBlock};
  st.pixelCount = uint32_t{header.dimensionA} * header.dimensionB;
  if (st.pixelCount > kQvMaxPixelCount) return {status::kCapacityExceeded, kQvNoBlock};
  st.scratch = kelvora_createQVScratch(st.pixelCount);
  c->calibrationROI[0] = 0;
  c->calibrationROI[1] = 0;
  c->calibrationROI[2] = header.dimensionA;
  c->calibrationROI[3] = header.dimensionB;
  c->version = 1;
  c->type = kQvCalibrationType;

  int32_t previousId = -1;
  for (;;) {
    QvBlockHeader block{};
    if (uint32_t s = kelvora_canRead(&st.stream, 1)) return {s, kQvNoBlock};
    if (uint32_t s = kelvora_readQVBlockHeader(&st.stream, st.pixelCount, &block)) {
      return {s, block.id};
    }
    if (static_cast<int32_t>(block.id) <= previousId) return {status::kInvalidValue, block.id};
    previousId = block.id;
    if (block.id == kQvEndMarker) break;

    QvTableEntry* entry = kelvora_findQVTableEntry(table, block.id);
    if (entry == nullptr) {
      // Unknown identifiers below the custom range carry no payload as far
      // as this format is concerned: the next header follows directly.
      if (block.id < table->firstCustomId) continue;
      if (st.customBlocks >= kMaxCustomBlocks) return {status::kCapacityExceeded, block.id};
      const uint64_t size = kelvora_getQVPackedBlockSize(&block);
      if (uint32_t s = kelvora_skipQV(&st.stream, size)) return {s, block.id};
      st.customSizes[st.customBlocks++] = size;
      continue;
    }
    if (uint32_t s = readEntryBlock(st, table, entry, block)) return {s, block.id};
  }

  const QvReadResult whole = table->validateWholeCalibration(table, c);
  if (whole.status != status::kSuccess) return whole;

  c->frequencyCount = static_cast<uint8_t>(st.frequencyBlocks);
  c->customFieldCount = static_cast<uint8_t>(st.customBlocks);
  c->firstCustomFieldId = kQvFirstCustomId;
  for (uint32_t k = 0; k < kCalibrationCustomFieldCapacity; ++k) {
    KelvoraCustomField& field = c->customFields[k];
    std::free(field.data);
    field.data = nullptr;
    field.size = 0;
    if (k >= st.customBlocks) continue;
    // The entry's size is one byte wide; a larger block keeps its low byte.
    // The data stays null until the custom-field pass decodes the block, so
    // reading the field before that reports it has no data.
    field.size = static_cast<uint8_t>(st.customSizes[k]);
  }
  return {status::kSuccess, kQvNoBlock};
}

}  // namespace

QvReadResult kelvora_readQVCalibration(const uint8_t* data, uint32_t size,
                                       KelvoraCalibration* calibration, QvTable* table) {
  if (table == nullptr) return {status::kInvalidRecord, kQvNoBlock};
  ReadState st{};
  st.stream = kelvora_createStreamFromData(data, size);
  const QvReadResult result = readBlocks(st, table, calibration);
  kelvora_freeQVScratch(&st.scratch);
  kelvora_freeQVTable(table);
  return result;
}

namespace {

// Header of a blob the handler accepts: parses and has version 1.
uint32_t readSupportedHeader(const uint8_t* data, uint32_t size, QvHeader* header) {
  QvStream stream = kelvora_createStreamFromData(data, size);
  if (uint32_t s = kelvora_readQVHeader(&stream, header)) return s;
  return header->version == kQvSupportedVersion ? status::kSuccess : status::kUnsupported;
}

}  // namespace

int32_t kelvora_supportsQVCalibration(const uint8_t* data, uint32_t size) {
  QvHeader header{};
  return readSupportedHeader(data, size, &header) == status::kSuccess ? 1 : 0;
}

uint32_t kelvora_readQVHandlerCalibration(const uint8_t* data, uint32_t size,
                                          KelvoraCalibration* calibration) {
  QvHeader header{};
  if (readSupportedHeader(data, size, &header) != status::kSuccess) return status::kUnsupported;
  const uint32_t pixels = uint32_t{header.dimensionA} * header.dimensionB;
  if (pixels > kQvMaxPixelCount) return status::kCapacityExceeded;
  QvTable* table = kelvora_createDrevantTable(calibration, pixels);
  return kelvora_readQVCalibration(data, size, calibration, table).status;
}

int32_t kelvora_getQVNumPixels(const uint8_t* data, uint32_t size) {
  QvStream stream = kelvora_createStreamFromData(data, size);
  QvHeader header{};
  uint32_t code = kelvora_readQVHeader(&stream, &header);
  if (code == status::kSuccess) {
    const uint32_t pixels = uint32_t{header.dimensionA} * header.dimensionB;
    code = pixels > kQvMaxPixelCount ? status::kCapacityExceeded : pixels;
  }
  // Status codes keep their bit pattern; pixel counts are below 2^31.
  return static_cast<int32_t>(code);
}

}  // namespace kelvora
