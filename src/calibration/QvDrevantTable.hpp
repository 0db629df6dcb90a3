#pragma once
// The block format's table: which block identifier goes where in a
// KelvoraCalibration, and the checks of single blocks and of a whole file.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"
#include "calibration/QvTable.hpp"

namespace kelvora {

// 10 record-wide entries plus 7 per frequency record.
constexpr uint32_t kQvTableCapacity = 45;
constexpr uint8_t kQvFirstCustomId = 128;
constexpr uint8_t kQvAuxValuesId = 8;
constexpr uint8_t kQvStrayLightId = 9;
// Frequency f uses identifiers kQvFirstFrequencyId + 7f + slot.
constexpr uint8_t kQvFirstFrequencyId = 16;
constexpr uint8_t kQvFrequencySlots = 7;
constexpr uint8_t kQvLastFrequencyId = kQvFirstFrequencyId + 5 * kQvFrequencySlots - 1;  // 50
enum QvFrequencySlot : uint8_t {
  kQvSlotModulationFrequency = 0,
  kQvSlotFppn = 1,
  kQvSlotTempCompensation = 2,
  kQvSlotNoiseParameters = 3,
  kQvSlotFrequencyScalar = 4,
  kQvSlotPhaseWiggling = 5,
  kQvSlotAmplitudeWiggling = 6,
};

// The table for `calibration`, whose per-pixel buffers hold `pixelCount`
// values. Null when allocation fails. Release with kelvora_freeQVTable.
QvTable* kelvora_createDrevantTable(KelvoraCalibration* calibration, uint32_t pixelCount);

// Counts the block and checks its data type against the entry's two; the
// failure (status::kInvalidValue) is also kept in the entry's record.
uint32_t validateBlock(QvTableEntry* entry, const QvBlockHeader* header);
// True for the modulation-frequency blocks 16, 23, 30, 37 and 44.
bool isFrequencyBlock(uint8_t id);
// Checks after the end marker, in table order: required blocks present,
// present aux values and stray-light model set, per-block type failures, and
// every frequency group complete. Reports the first failure with its block.
QvReadResult validateWholeCalibration(const QvTable* table, const KelvoraCalibration* calibration);

}  // namespace kelvora
