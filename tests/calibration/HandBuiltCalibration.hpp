#pragma once
// Calibration records filled by hand for the reader tests, and helpers to run
// a reader on an exact-length heap copy of a blob (so that a read past the end
// is caught by the address sanitizer).
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "calibration/KelvoraCalibration.hpp"
#include "common/CoreFixtures.hpp"

namespace kelvora::testing {

inline void setText(char* buffer, const char* text) {
  std::strcpy(buffer, text);
}

// A record of width x height pixels with `frequencies` frequency records whose
// values vary per pixel and per frequency. Per-pixel floats lie in [lo, hi].
inline CalibrationPtr makeHandBuiltCalibration(uint32_t width, uint32_t height, uint8_t frequencies,
                                               float lo = -0.5f, float hi = 0.75f) {
  const uint32_t pixels = width * height;
  CalibrationPtr c(allocateCalibration(pixels));
  setText(c->date, "2023-11-05 14:03:59");
  setText(c->serial, "SN0042AB7");
  setText(c->sensorSerial, "IMX-556-000731-REV2");
  c->calibrationROI[0] = 0;
  c->calibrationROI[1] = 0;
  c->calibrationROI[2] = width;
  c->calibrationROI[3] = height;
  const float lens[9] = {210.5f, 211.25f, 111.75f,  85.5f,  -0.21f,
                         0.043f, 0.0012f, -0.0007f, 0.0009f};
  std::memcpy(c->lensParameters, lens, sizeof lens);
  for (uint32_t i = 0; i < pixels; ++i) {
    c->mask[i] = static_cast<uint8_t>((i * 7 + i / 5) % 3 == 0);
    const float t = static_cast<float>((i * 37) % 101) / 100.0f;
    c->fpn[i] = lo + (hi - lo) * t;
  }
  c->frequencyCount = frequencies;
  for (uint32_t f = 0; f < frequencies; ++f) {
    KelvoraCalibrationFrequency& fr = c->frequencies[f];
    fr.modulationFrequency = 80320000u - 20080000u * f;
    for (uint32_t i = 0; i < pixels; ++i) {
      const float t = static_cast<float>((i * 13 + 29 * f) % 97) / 96.0f;
      fr.fppn[i] = lo + (hi - lo) * t;
    }
    fr.tempCompensationCount = static_cast<uint8_t>(4 - f % 2);
    for (uint32_t k = 0; k < 4; ++k) {
      fr.tempCompensation[k] = 0.001f * static_cast<float>(k + 1) - 0.0005f * static_cast<float>(f);
      fr.noiseParameters[k] = 1.5f + static_cast<float>(k) * 0.25f + static_cast<float>(f);
    }
    fr.phaseWiggling.count = static_cast<uint8_t>(5 - f);
    fr.phaseWiggling.offset = 0.125f * static_cast<float>(f + 1);
    fr.amplitudeWiggling.count = static_cast<uint8_t>(2 + f);
    fr.amplitudeWiggling.offset = -0.0625f * static_cast<float>(f + 1);
    for (uint32_t k = 0; k < kWigglingCapacity; ++k) {
      fr.phaseWiggling.amplitude[k] = 0.01f * static_cast<float>(k + 1 + f);
      fr.phaseWiggling.harmonic[k] = k + 1;
      fr.phaseWiggling.phase[k] = 0.3f * static_cast<float>(k) - static_cast<float>(f);
      fr.amplitudeWiggling.amplitude[k] = 0.02f * static_cast<float>(k + 2);
      fr.amplitudeWiggling.harmonic[k] = 2 * k + 1;
      fr.amplitudeWiggling.phase[k] = -0.2f * static_cast<float>(k + f);
    }
  }
  return c;
}

// Runs reader(data, size, record) on an exact-length heap copy of the first
// `length` bytes of `blob`.
template <class Reader>
uint32_t readFromExactCopy(const std::vector<uint8_t>& blob, uint32_t length,
                           KelvoraCalibration* record, Reader reader) {
  std::unique_ptr<uint8_t[]> copy(new uint8_t[length == 0 ? 1 : length]);
  if (length != 0) std::memcpy(copy.get(), blob.data(), length);
  return reader(copy.get(), length, record);
}

inline bool sameBits(float a, float b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace kelvora::testing
