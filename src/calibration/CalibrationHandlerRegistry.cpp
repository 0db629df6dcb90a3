#include "calibration/CalibrationHandlerRegistry.hpp"

#include "base/StatusCodes.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvCustomFields.hpp"
#include "calibration/TavelCalibrationReader.hpp"

namespace kelvora {

KelvoraCalibrationHandler g_handlers[kMaxCalibrationHandlers];
int32_t g_registeredHandlers = 0;
int32_t g_autoRegisteredHandlers = 0;

namespace {

// Each handler's type function doubles as its identity in the registry.
uint32_t tavelCalibrationType() {
  return 2;
}
uint32_t legacyCalibrationType() {
  return 1;
}
uint32_t qvCalibrationType() {
  return 3;
}

void registerHandler(const KelvoraCalibrationHandler& handler) {
  if (g_registeredHandlers >= kMaxCalibrationHandlers) return;
  for (int32_t i = 0; i < g_registeredHandlers; ++i) {
    if (g_handlers[i].getCalibrationType == handler.getCalibrationType) return;
  }
  g_handlers[g_registeredHandlers++] = handler;
}

// The first registered handler that accepts the blob, or null. The choice
// is final even if that handler then fails.
const KelvoraCalibrationHandler* chooseHandler(const uint8_t* data, uint32_t size) {
  kelvora_autoRegisterHandlers();
  for (int32_t i = 0; i < g_registeredHandlers; ++i) {
    if (g_handlers[i].supports(data, size) != 0) return &g_handlers[i];
  }
  return nullptr;
}

}  // namespace

void kelvora_getTavelCalibrationHandler(KelvoraCalibrationHandler* h) {
  *h = {kelvora_supportsTavelCalibration,
        kelvora_readTavelHandlerCalibration,
        nullptr,
        kelvora_calcTavelPsfAndDirections,
        tavelCalibrationType,
        kelvora_getTavelNumPixels};
}

void kelvora_getLegacyCalibrationHandler(KelvoraCalibrationHandler* h) {
  // The legacy reader computes its directions itself.
  *h = {ovani_getIsLegacyCalibration, ovani_readLegacyCalibration, nullptr, nullptr,
        legacyCalibrationType,        ovani_getLegacyNumPixel};
}

void kelvora_getQVCalibrationHandler(KelvoraCalibrationHandler* h) {
  *h = {kelvora_supportsQVCalibration,
        kelvora_readQVHandlerCalibration,
        kelvora_readQVCustomFields,
        kelvora_calcQVPsfAndDirections,
        qvCalibrationType,
        kelvora_getQVNumPixels};
}

void kelvora_autoRegisterHandlers() {
  if (g_autoRegisteredHandlers != 0) return;
  KelvoraCalibrationHandler h{};
  kelvora_getTavelCalibrationHandler(&h);
  registerHandler(h);
  kelvora_getLegacyCalibrationHandler(&h);
  registerHandler(h);
  kelvora_getQVCalibrationHandler(&h);
  registerHandler(h);
  ++g_autoRegisteredHandlers;
}

int32_t kelvora_dispatchGetNumPixels(const uint8_t* data, uint32_t size) {
  const KelvoraCalibrationHandler* h = chooseHandler(data, size);
  if (h == nullptr) return static_cast<int32_t>(status::kUnsupported);
  return h->getNumPixels(data, size);
}

uint32_t kelvora_dispatchReadCalibration(const uint8_t* data, uint32_t size,
                                         KelvoraCalibration* calibration) {
  const KelvoraCalibrationHandler* h = chooseHandler(data, size);
  if (h == nullptr) return status::kUnsupported;
  return h->read(data, size, calibration);
}

uint32_t kelvora_dispatchCalcPsfAndDirections(const uint8_t* data, uint32_t size,
                                              KelvoraCalibration* calibration,
                                              uint32_t pixelCount) {
  const KelvoraCalibrationHandler* h = chooseHandler(data, size);
  // Nothing to derive is success.
  if (h == nullptr || h->calcPsfAndDirections == nullptr) return status::kSuccess;
  return h->calcPsfAndDirections(calibration, pixelCount);
}

uint32_t kelvora_readCalibration(const uint8_t* data, uint32_t size, KelvoraCalibration** out) {
  const int32_t pixels = kelvora_dispatchGetNumPixels(data, size);
  if (pixels < 1) {
    return pixels != 0 ? static_cast<uint32_t>(pixels) : status::kInvalidValue;
  }
  // Every format stores at least a mask bit per pixel, so a count the blob
  // cannot hold is refused before a record of that size is allocated.
  if (static_cast<uint64_t>(pixels) > static_cast<uint64_t>(size) * 8u) {
    return status::kStreamTooShort;
  }
  KelvoraCalibration* record = allocateCalibration(static_cast<uint32_t>(pixels));
  uint32_t result = kelvora_dispatchReadCalibration(data, size, record);
  if (result == status::kSuccess) {
    result =
        kelvora_dispatchCalcPsfAndDirections(data, size, record, static_cast<uint32_t>(pixels));
  }
  if (result != status::kSuccess && result != status::kWarning) {
    kelvora_freeCalibration(record);
    return result;
  }
  *out = record;
  return result;
}

}  // namespace kelvora
