// Field access by identifier: what the engine hands to the application as
// calibration fields. Access never changes the record.
#include <cstring>

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

namespace {

struct FieldView {
  uint32_t status;  // 0, or the code to report instead of a size
  const void* data;
  uint32_t size;
};

bool allZero(const uint8_t* bytes, uint32_t size) {
  for (uint32_t i = 0; i < size; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

FieldView textField(const char* text) {
  if (text[0] == '\0') return {status::kEmpty, nullptr, 0};
  return {status::kSuccess, text, static_cast<uint32_t>(std::strlen(text) + 1)};
}

FieldView locateField(int32_t fieldId, const KelvoraCalibration* c) {
  if (c == nullptr || c->version != 1) return {status::kInvalidRecord, nullptr, 0};
  switch (fieldId) {
    case kFieldLensParameters:
      return {status::kSuccess, c->lensParameters, c->lensParameterCount * 4u};
    case kFieldSerial:
      return textField(c->serial);
    case kFieldSensorSerial:
      return textField(c->sensorSerial);
    case kFieldCalibrationRoi:
      return {status::kSuccess, c->calibrationROI, 16u};
    case kFieldAuxBytes:
      if (c->auxBytesSize == 0 || allZero(c->auxBytes, c->auxBytesSize)) {
        return {status::kEmpty, nullptr, 0};
      }
      return {status::kSuccess, c->auxBytes, c->auxBytesSize};
    case kFieldAuxValues:
      if (!kelvora_validUnit16Field(c->auxValues[0]) &&
          !kelvora_validUnit16Field(c->auxValues[1])) {
        return {status::kEmpty, nullptr, 0};
      }
      return {status::kSuccess, c->auxValues, 4u};
    default:
      break;
  }
  // Identifiers live in 8 bits and so does the end of the custom range: with
  // firstCustomFieldId left at 0xFF the range is empty whatever the count.
  const int32_t first = c->firstCustomFieldId;
  const int32_t end = static_cast<uint8_t>(c->firstCustomFieldId + c->customFieldCount);
  if (fieldId < first || fieldId >= end ||
      static_cast<uint32_t>(fieldId - first) >= kCalibrationCustomFieldCapacity) {
    return {status::kUnknownField, nullptr, 0};
  }
  const KelvoraCustomField& entry = c->customFields[fieldId - first];
  if (entry.size == 0) return {status::kSuccess, nullptr, 0};
  if (entry.data == nullptr) return {status::kNoData, nullptr, entry.size};
  return {status::kSuccess, entry.data, entry.size};
}

}  // namespace

uint32_t kelvora_getFieldSize(int32_t fieldId, const KelvoraCalibration* calibration) {
  const FieldView f = locateField(fieldId, calibration);
  // A custom field without data still has a size; only the copy fails.
  if (f.status == status::kNoData) return f.size;
  return f.status != status::kSuccess ? f.status : f.size;
}

uint32_t kelvora_getField(int32_t fieldId, const KelvoraCalibration* calibration,
                          void* destination) {
  const FieldView f = locateField(fieldId, calibration);
  if (f.status != status::kSuccess) return f.status;
  if (f.size != 0) std::memcpy(destination, f.data, f.size);
  return status::kSuccess;
}

}  // namespace kelvora
