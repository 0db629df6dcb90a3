#pragma once
// In-memory form of one camera module's calibration, whatever file format it
// came from. Readers fill a record made by allocateCalibration, the lens model
// adds directions and the point-spread function, the core only reads it.
//
// Unset markers: NaN for floats, 0xFFFF for uint16, 0xFFFFFFFF for uint32.
#include <cstdint>

namespace kelvora {

// One sine-harmonic model of phase or amplitude wiggling.
struct KelvoraWiggling {
  uint8_t count;       // capacity (5) at allocation, then number of valid terms
  float* amplitude;    // 5 values
  uint32_t* harmonic;  // 5 values: order of each term
  float* phase;        // 5 values, radians
  float offset;        // constant term (amplitude model only)
};

struct KelvoraCalibrationFrequency {
  uint32_t modulationFrequency;  // Hz
  float* fppn;                   // one per pixel: fixed-pattern phase noise
  uint8_t tempCompensationCount;
  float* tempCompensation;  // 4 polynomial coefficients
  uint8_t noiseParameterCount;
  float* noiseParameters;  // 4 noise model coefficients
  float frequencyScalar;   // NaN unless the block format delivers it
  KelvoraWiggling phaseWiggling;
  KelvoraWiggling amplitudeWiggling;
};

struct KelvoraCustomField {
  void* data;
  uint8_t size;
};

struct KelvoraCalibration {
  uint16_t version;  // field access refuses anything but 1
  uint16_t type;     // handler type number
  char* date;        // 65 bytes as allocated
  char* serial;
  char* sensorSerial;
  uint8_t* auxBytes;
  uint8_t auxBytesSize;
  uint32_t* calibrationROI;  // 4 values; [2] width, [3] height
  float* directions;         // 3 floats per pixel, null until the lens model ran
  uint8_t lensParameterCount;
  float* lensParameters;  // fx, fy, cx, cy, k1, k2, p1, p2, k3
  uint16_t* auxValues;    // 2 values
  float psfScale;         // NaN: no stray-light model
  float psfRadii[14];
  float psfValues[14];
  float psfExponent;
  float psfOffset;
  float psfCentre;
  uint32_t psfWidth;
  uint32_t psfHeight;
  uint8_t psfPointCount;
  float* psf;  // psfHeight x psfWidth reciprocal transfer function
  uint8_t formatFlag;
  uint8_t* mask;  // one byte per pixel; bit 0 set = masked
  float* fpn;     // one per pixel
  uint8_t frequencyCount;
  KelvoraCalibrationFrequency* frequencies;  // always kCalibrationFrequencyCapacity records
  uint8_t customFieldCount;
  KelvoraCustomField* customFields;  // always kCalibrationCustomFieldCapacity entries
  uint8_t firstCustomFieldId;
};

// Every record's frequency and custom-field arrays have room for this many
// entries; readers that use fewer leave the rest zeroed or at their defaults,
// so the record can always release all of them.
constexpr uint32_t kCalibrationFrequencyCapacity = 5;
constexpr uint32_t kCalibrationCustomFieldCapacity = 5;
constexpr uint32_t kCalibrationTextCapacity = 65;
constexpr uint32_t kWigglingCapacity = 5;

}  // namespace kelvora
