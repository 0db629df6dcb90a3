#include "calibration/QvTable.hpp"

#include <cstdlib>

#include "base/StatusCodes.hpp"

namespace kelvora {

QvTable* kelvora_createTable(uint32_t capacity, uint32_t validationSize) {
  auto* table = static_cast<QvTable*>(std::calloc(1, sizeof(QvTable)));
  if (table == nullptr) return nullptr;
  table->capacity = capacity;
  table->entries = static_cast<QvTableEntry*>(std::calloc(capacity + 1u, sizeof(QvTableEntry)));
  if (validationSize != 0) {
    // Storage is always an array of QvValidation; the size only says whether
    // there is any.
    table->validations =
        static_cast<QvValidation*>(std::calloc(capacity + 1u, sizeof(QvValidation)));
    table->validationSize = sizeof(QvValidation);
  }
  if (table->entries == nullptr || (validationSize != 0 && table->validations == nullptr)) {
    kelvora_freeQVTable(table);
    return nullptr;
  }
  table->firstCustomId = 0xFF;
  return table;
}

uint32_t kelvora_addQVTableEntry(QvTable* table, const QvTableEntry* entry,
                                 const QvValidation* validation) {
  if (table->count >= table->capacity) return status::kCapacityExceeded;
  QvTableEntry& slot = table->entries[table->count];
  slot = *entry;
  slot.validation = nullptr;
  if (validation != nullptr) {
    if (table->validations == nullptr) return status::kInvalidRecord;
    QvValidation* record = &table->validations[table->count];
    *record = *validation;
    slot.validation = record;
  }
  table->count += 1;
  return status::kSuccess;
}

QvTableEntry* kelvora_findQVTableEntry(QvTable* table, uint8_t id) {
  for (uint32_t i = 0; i < table->count; ++i) {
    if (table->entries[i].id == id) return &table->entries[i];
  }
  return nullptr;
}

void kelvora_freeQVTable(QvTable* table) {
  if (table == nullptr) return;
  std::free(table->entries);
  std::free(table->validations);
  std::free(table);
}

}  // namespace kelvora
