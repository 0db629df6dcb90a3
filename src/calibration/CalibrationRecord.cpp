#include "calibration/CalibrationRecord.hpp"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace kelvora {

namespace {

// Every buffer starts zeroed: a reader that stores fewer values than a buffer
// holds (two temperature coefficients of four, a block format without a
// date) leaves zeros behind, never heap garbage, and a zero coefficient or
// wiggling term adds exactly nothing downstream.
template <class T>
T* allocZeroed(uint32_t count) {
  return static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T)));
}

void allocateWiggling(KelvoraWiggling& w) {
  w.count = kWigglingCapacity;
  w.amplitude = allocZeroed<float>(kWigglingCapacity);
  w.harmonic = allocZeroed<uint32_t>(kWigglingCapacity);
  w.phase = allocZeroed<float>(kWigglingCapacity);
  w.offset = 0.0f;
}

void releaseWiggling(KelvoraWiggling& w) {
  std::free(w.amplitude);
  std::free(w.harmonic);
  std::free(w.phase);
  w.amplitude = nullptr;
  w.harmonic = nullptr;
  w.phase = nullptr;
}

}  // namespace

KelvoraCalibration* allocateCalibration(uint32_t pixelCount) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  auto* c = allocZeroed<KelvoraCalibration>(1);
  c->version = 1;
  c->type = 2;
  c->date = allocZeroed<char>(kCalibrationTextCapacity);
  c->serial = allocZeroed<char>(kCalibrationTextCapacity);
  c->sensorSerial = allocZeroed<char>(kCalibrationTextCapacity);
  c->auxBytesSize = 32;
  c->auxBytes = allocZeroed<uint8_t>(c->auxBytesSize);
  c->calibrationROI = allocZeroed<uint32_t>(4);
  c->directions = nullptr;
  c->lensParameterCount = 9;
  c->lensParameters = allocZeroed<float>(9);
  c->auxValues = allocZeroed<uint16_t>(2);
  c->auxValues[0] = 0xFFFF;
  c->auxValues[1] = 0xFFFF;
  c->psfScale = nan;
  for (int i = 0; i < 14; ++i) {
    c->psfRadii[i] = nan;
    c->psfValues[i] = nan;
  }
  c->psfExponent = nan;
  c->psfOffset = nan;
  c->psfCentre = nan;
  c->psfWidth = 0xFFFFFFFFu;
  c->psfHeight = 0xFFFFFFFFu;
  c->psfPointCount = 0;
  c->psf = nullptr;
  c->formatFlag = 1;
  c->mask = allocZeroed<uint8_t>(pixelCount);
  c->fpn = allocZeroed<float>(pixelCount);
  c->frequencyCount = kCalibrationFrequencyCapacity;
  c->frequencies = allocZeroed<KelvoraCalibrationFrequency>(kCalibrationFrequencyCapacity);
  for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
    KelvoraCalibrationFrequency& freq = c->frequencies[f];
    freq.fppn = allocZeroed<float>(pixelCount);
    freq.tempCompensationCount = 4;
    freq.tempCompensation = allocZeroed<float>(4);
    freq.noiseParameterCount = 4;
    freq.noiseParameters = allocZeroed<float>(4);
    freq.frequencyScalar = nan;
    allocateWiggling(freq.phaseWiggling);
    allocateWiggling(freq.amplitudeWiggling);
  }
  c->customFieldCount = kCalibrationCustomFieldCapacity;
  c->customFields = allocZeroed<KelvoraCustomField>(kCalibrationCustomFieldCapacity);
  c->firstCustomFieldId = 0xFF;
  return c;
}

void kelvora_releaseCalibrationFrequency(KelvoraCalibrationFrequency* frequency) {
  std::free(frequency->fppn);
  std::free(frequency->noiseParameters);
  std::free(frequency->tempCompensation);
  releaseWiggling(frequency->phaseWiggling);
  releaseWiggling(frequency->amplitudeWiggling);
  std::memset(frequency, 0, sizeof *frequency);
}

void kelvora_freeCalibration(KelvoraCalibration* calibration) {
  if (calibration == nullptr) return;
  KelvoraCalibration* c = calibration;
  std::free(c->date);
  std::free(c->serial);
  std::free(c->sensorSerial);
  std::free(c->auxBytes);
  std::free(c->fpn);
  std::free(c->mask);
  std::free(c->directions);
  std::free(c->calibrationROI);
  std::free(c->lensParameters);
  std::free(c->auxValues);
  std::free(c->psf);
  // The array always has room for every record a reader can use, so all of
  // them are released, whatever frequencyCount says.
  if (c->frequencies != nullptr) {
    for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
      kelvora_releaseCalibrationFrequency(&c->frequencies[f]);
    }
  }
  std::free(c->frequencies);
  if (c->customFields != nullptr) {
    for (uint32_t i = 0; i < kCalibrationCustomFieldCapacity; ++i) {
      std::free(c->customFields[i].data);
    }
  }
  std::free(c->customFields);
  std::free(c);
}

bool kelvora_validUnit16Field(uint16_t value) {
  return value != 0xFFFF;
}

bool kelvora_validFloatField(float value) {
  return !(value != value);
}

}  // namespace kelvora
