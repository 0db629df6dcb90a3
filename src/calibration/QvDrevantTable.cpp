#include "calibration/QvDrevantTable.hpp"

#include <initializer_list>

#include "base/StatusCodes.hpp"
#include "calibration/QvCopyFunctions.hpp"

namespace kelvora {

namespace {

struct EntrySpec {
  uint8_t id;
  void* destination;
  uint64_t capacity;
  uint8_t* countByte;
  int32_t minimum;
  QvCopyFunction copy;
  bool required;
  uint8_t typeA;
  uint8_t typeB;
};

uint32_t add(QvTable* table, const EntrySpec& e) {
  const QvTableEntry entry{e.id,      e.destination, e.capacity, e.countByte,
                           e.minimum, e.copy,        nullptr};
  const QvValidation validation{e.required ? uint8_t{1} : uint8_t{0}, e.typeA, e.typeB, 0u, 0u};
  return kelvora_addQVTableEntry(table, &entry, &validation);
}

uint32_t addRecordEntries(QvTable* t, KelvoraCalibration* c, uint64_t pixels) {
  const EntrySpec specs[] = {
      {0, &c->formatFlag, 1, nullptr, kQvNoMinimum, nullptr, true, kQvUint8, kQvUint8},
      {1, c->lensParameters, uint64_t{c->lensParameterCount} * 4u, &c->lensParameterCount, 9,
       nullptr, true, kQvFloat, kQvFloat},
      {2, c->mask, pixels, nullptr, kQvMinimumPerPixel, copyMask, true, kQvPackedUint,
       kQvPackedUint},
      {3, c->fpn, pixels * 4u, nullptr, kQvMinimumPerPixel, nullptr, true, kQvFloat,
       kQvPackedFloat},
      {4, c->date, 64, nullptr, kQvNoMinimum, convertAndCopyDate, false, kQvUint32, kQvUint32},
      {5, c->serial, 64, nullptr, kQvNoMinimum, copyString, false, kQvUint8, kQvUint8},
      {6, c->sensorSerial, 64, nullptr, kQvNoMinimum, copyString, false, kQvUint8, kQvUint8},
      {7, c->auxBytes, c->auxBytesSize, &c->auxBytesSize, kQvNoMinimum, nullptr, false, kQvUint8,
       kQvUint8},
      {kQvAuxValuesId, c->auxValues, 4, nullptr, 2, nullptr, false, kQvUint16, kQvUint16},
      {kQvStrayLightId, c, kQvStrayLightCapacity, &c->psfPointCount, int32_t{kQvStrayLightFloats},
       copyStraylight, false, kQvFloat, kQvFloat},
  };
  for (const EntrySpec& e : specs) {
    if (uint32_t s = add(t, e)) return s;
  }
  return status::kSuccess;
}

uint32_t addFrequencyEntries(QvTable* t, KelvoraCalibrationFrequency* f, uint8_t index,
                             uint64_t pixels) {
  const auto id = [index](uint8_t slot) {
    return static_cast<uint8_t>(kQvFirstFrequencyId + kQvFrequencySlots * index + slot);
  };
  const bool required = index == 0;
  const EntrySpec specs[] = {
      {id(kQvSlotModulationFrequency), &f->modulationFrequency, 4, nullptr, kQvNoMinimum, nullptr,
       required, kQvUint32, kQvUint32},
      {id(kQvSlotFppn), f->fppn, pixels * 4u, nullptr, kQvMinimumPerPixel, nullptr, required,
       kQvFloat, kQvPackedFloat},
      {id(kQvSlotTempCompensation), f->tempCompensation, uint64_t{f->tempCompensationCount} * 4u,
       &f->tempCompensationCount, 4, nullptr, required, kQvFloat, kQvFloat},
      {id(kQvSlotNoiseParameters), f->noiseParameters, uint64_t{f->noiseParameterCount} * 4u,
       &f->noiseParameterCount, 4, nullptr, required, kQvFloat, kQvFloat},
      {id(kQvSlotFrequencyScalar), &f->frequencyScalar, 4, nullptr, kQvNoMinimum, nullptr, false,
       kQvFloat, kQvFloat},
      {id(kQvSlotPhaseWiggling), &f->phaseWiggling, 20, &f->phaseWiggling.count, 4, copyWiggling,
       required, kQvFloat, kQvFloat},
      {id(kQvSlotAmplitudeWiggling), &f->amplitudeWiggling, 20, &f->amplitudeWiggling.count, 4,
       copyWiggling, required, kQvFloat, kQvFloat},
  };
  for (const EntrySpec& e : specs) {
    if (uint32_t s = add(t, e)) return s;
  }
  return status::kSuccess;
}

}  // namespace

QvTable* kelvora_createDrevantTable(KelvoraCalibration* calibration, uint32_t pixelCount) {
  QvTable* table = kelvora_createTable(kQvTableCapacity, sizeof(QvValidation));
  if (table == nullptr) return nullptr;
  table->firstCustomId = kQvFirstCustomId;
  table->validateBlock = validateBlock;
  table->isFrequencyBlock = isFrequencyBlock;
  table->validateWholeCalibration = validateWholeCalibration;
  table->pixelCount = pixelCount;
  uint32_t s = addRecordEntries(table, calibration, pixelCount);
  for (uint8_t f = 0; s == status::kSuccess && f < kCalibrationFrequencyCapacity; ++f) {
    s = addFrequencyEntries(table, &calibration->frequencies[f], f, pixelCount);
  }
  if (s != status::kSuccess) {
    kelvora_freeQVTable(table);
    return nullptr;
  }
  return table;
}

uint32_t validateBlock(QvTableEntry* entry, const QvBlockHeader* header) {
  QvValidation* v = entry->validation;
  if (v == nullptr) return status::kSuccess;
  v->seen += 1;
  if (header->type != v->typeA && header->type != v->typeB) {
    if (v->status == status::kSuccess) v->status = status::kInvalidValue;
    return status::kInvalidValue;
  }
  return status::kSuccess;
}

bool isFrequencyBlock(uint8_t id) {
  return id >= kQvFirstFrequencyId && id <= kQvLastFrequencyId &&
         (id - kQvFirstFrequencyId) % kQvFrequencySlots == kQvSlotModulationFrequency;
}

QvReadResult validateWholeCalibration(const QvTable* table, const KelvoraCalibration* c) {
  constexpr uint32_t kIds = kQvLastFrequencyId + 1u;
  bool expected[kIds] = {};
  bool frequencySeen[kCalibrationFrequencyCapacity] = {};

  for (uint32_t i = 0; i < table->count; ++i) {
    const QvTableEntry& e = table->entries[i];
    const QvValidation* v = e.validation;
    if (v == nullptr) continue;
    const bool seen = v->seen != 0;
    if (v->required && !seen) return {status::kEmpty, e.id};
    if (seen && e.id == kQvAuxValuesId && !kelvora_validUnit16Field(c->auxValues[0])) {
      return {status::kUnsetValue, e.id};
    }
    if (seen && e.id == kQvStrayLightId && !kelvora_validFloatField(c->psfScale)) {
      return {status::kUnsetValue, e.id};
    }
    if (v->status != status::kSuccess) return {v->status, e.id};

    if (e.id < kQvFirstFrequencyId || e.id > kQvLastFrequencyId || !seen) continue;
    const uint32_t group = (e.id - kQvFirstFrequencyId) / kQvFrequencySlots;
    const uint32_t slot = (e.id - kQvFirstFrequencyId) % kQvFrequencySlots;
    if (slot == kQvSlotModulationFrequency) {
      frequencySeen[group] = true;
      for (uint32_t other : {kQvSlotFppn, kQvSlotTempCompensation, kQvSlotNoiseParameters,
                             kQvSlotPhaseWiggling, kQvSlotAmplitudeWiggling}) {
        expected[kQvFirstFrequencyId + group * kQvFrequencySlots + other] = true;
      }
    } else {
      if (!frequencySeen[group]) return {status::kEmpty, e.id};
      expected[e.id] = false;
    }
  }

  QvReadResult result{status::kSuccess, kQvNoBlock};
  for (uint32_t id = kQvFirstFrequencyId + 1u; id < kIds; ++id) {
    if (isFrequencyBlock(static_cast<uint8_t>(id))) continue;
    if (expected[id]) result = {status::kEmpty, id};
  }
  return result;
}

}  // namespace kelvora
