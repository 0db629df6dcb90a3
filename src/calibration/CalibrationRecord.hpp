#pragma once
// Allocation, release and field access of the calibration record.
#include <cstdint>

#include "base/KelvoraCalibration.hpp"

namespace kelvora {

KelvoraCalibration* allocateCalibration(uint32_t pixelCount);
void kelvora_freeCalibration(KelvoraCalibration* calibration);

// Releases every buffer of one frequency record and zeroes the record.
void kelvora_releaseCalibrationFrequency(KelvoraCalibrationFrequency* frequency);

// Field identifiers 0..5; custom fields answer to firstCustomFieldId + i.
enum : int32_t {
  kFieldLensParameters = 0,
  kFieldSerial = 1,
  kFieldSensorSerial = 2,
  kFieldCalibrationRoi = 3,
  kFieldAuxBytes = 4,
  kFieldAuxValues = 5,
};

// Size in bytes of one field, or a status code (top bit set).
uint32_t kelvora_getFieldSize(int32_t fieldId, const KelvoraCalibration* calibration);
// Copies the field into destination (at least kelvora_getFieldSize bytes).
uint32_t kelvora_getField(int32_t fieldId, const KelvoraCalibration* calibration,
                          void* destination);

bool kelvora_validUnit16Field(uint16_t value);
bool kelvora_validFloatField(float value);

}  // namespace kelvora
