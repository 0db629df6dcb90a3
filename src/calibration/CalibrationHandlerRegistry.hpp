#pragma once
// The registry of calibration handlers: one per supported blob format, tried
// in registration order (container, legacy, block). The legacy handler
// accepts every blob, so dispatch never reaches the block handler; that order
// is deliberate.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

struct KelvoraCalibrationHandler {
  int32_t (*supports)(const uint8_t* data, uint32_t size);
  uint32_t (*read)(const uint8_t* data, uint32_t size, KelvoraCalibration* calibration);
  uint32_t (*readCustomFields)(const uint8_t* data, uint32_t size,
                               KelvoraCalibration* calibration);  // may be null
  uint32_t (*calcPsfAndDirections)(KelvoraCalibration* calibration,
                                   uint32_t pixelCount);  // may be null
  uint32_t (*getCalibrationType)();                       // also the handler's identity
  int32_t (*getNumPixels)(const uint8_t* data, uint32_t size);
};

constexpr int32_t kMaxCalibrationHandlers = 5;

// Process-wide registry state, filled lazily on the first dispatch. It is not
// guarded: the first calibration read must not run on two threads at once.
extern KelvoraCalibrationHandler g_handlers[kMaxCalibrationHandlers];
extern int32_t g_registeredHandlers;
extern int32_t g_autoRegisteredHandlers;

void kelvora_getTavelCalibrationHandler(KelvoraCalibrationHandler* handler);
void kelvora_getLegacyCalibrationHandler(KelvoraCalibrationHandler* handler);
void kelvora_getQVCalibrationHandler(KelvoraCalibrationHandler* handler);

void kelvora_autoRegisterHandlers();

int32_t kelvora_dispatchGetNumPixels(const uint8_t* data, uint32_t size);
uint32_t kelvora_dispatchReadCalibration(const uint8_t* data, uint32_t size,
                                         KelvoraCalibration* calibration);
uint32_t kelvora_dispatchCalcPsfAndDirections(const uint8_t* data, uint32_t size,
                                              KelvoraCalibration* calibration, uint32_t pixelCount);

// Turns any supported blob into a calibration record with directions (and
// point-spread function where the format has one). On success, or the
// warning 0x8000000C, *out receives a record the caller frees with
// kelvora_freeCalibration; on failure *out is left untouched.
uint32_t kelvora_readCalibration(const uint8_t* data, uint32_t size, KelvoraCalibration** out);

}  // namespace kelvora
