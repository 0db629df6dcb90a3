#pragma once
// Table that maps block identifiers to destinations in a calibration record,
// with what each block must look like and what has been seen of it.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"
#include "calibration/QvHeader.hpp"

namespace kelvora {

// Copies decoded values (source, sourceSize bytes) into a destination of
// `capacity` bytes; `countByte` (may be null) receives the number of values.
using QvCopyFunction = uint32_t (*)(const void* source, uint64_t sourceSize, void* destination,
                                    uint64_t capacity, uint8_t* countByte);

// Per-entry bookkeeping of the checks.
struct QvValidation {
  uint8_t required;  // nonzero: the file must carry this block
  uint8_t typeA;     // accepted data types
  uint8_t typeB;
  uint32_t seen;    // blocks of this id read so far
  uint32_t status;  // first failure of the per-block check, 0 if none
};

// Minimum counts: none, one value per pixel, or (code - 249) per pixel.
constexpr int32_t kQvNoMinimum = -1;
constexpr int32_t kQvMinimumPerPixel = 0;
constexpr int32_t kQvFirstPerPixelMinimum = 250;

struct QvTableEntry {
  uint8_t id;
  void* destination;
  uint64_t capacity;  // bytes
  uint8_t* countByte;
  int32_t minimumCount;
  QvCopyFunction copy;
  QvValidation* validation;  // points into the table's storage, or null
};

struct QvTable;
struct QvReadResult {
  uint32_t status;
  uint32_t identifier;  // block the status belongs to, kQvNoBlock otherwise
};
constexpr uint32_t kQvNoBlock = 0xFFFFFFFFu;

using QvValidateBlockFunction = uint32_t (*)(QvTableEntry* entry, const QvBlockHeader* header);
using QvIsFrequencyBlockFunction = bool (*)(uint8_t id);
using QvValidateWholeFunction = QvReadResult (*)(const QvTable* table,
                                                 const KelvoraCalibration* calibration);

struct QvTable {
  QvTableEntry* entries;
  uint32_t count;
  uint32_t capacity;
  QvValidation* validations;  // one record per entry slot, or null
  uint32_t validationSize;    // bytes per record, 0 when there is no storage
  uint8_t firstCustomId;
  QvValidateBlockFunction validateBlock;
  QvIsFrequencyBlockFunction isFrequencyBlock;
  QvValidateWholeFunction validateWholeCalibration;
  uint32_t pixelCount;
};

// A table with room for `capacity` entries; `validationSize` 0 leaves it
// without storage for validation records. Null when allocation fails.
QvTable* kelvora_createTable(uint32_t capacity, uint32_t validationSize);
// Appends `entry`; a non-null `validation` is copied into the table's
// storage. status::kCapacityExceeded when full, status::kInvalidRecord when
// a validation record is given but the table has no storage for it.
uint32_t kelvora_addQVTableEntry(QvTable* table, const QvTableEntry* entry,
                                 const QvValidation* validation);
// First entry with this id, or null.
QvTableEntry* kelvora_findQVTableEntry(QvTable* table, uint8_t id);
void kelvora_freeQVTable(QvTable* table);

}  // namespace kelvora
