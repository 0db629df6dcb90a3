#include "synthetic/LegacyCalibrationWriter.hpp"

#include <cmath>
#include <cstring>

#include "calibration/LegacyLayout.hpp"

namespace kelvora::synth {

namespace {

using namespace legacy;

uint32_t nearestCode(double value, double top) {
  double c = std::nearbyint(value);
  if (!(c > 0.0)) c = 0.0;
  if (c > top) c = top;
  return static_cast<uint32_t>(c);
}

void put16(std::vector<uint8_t>& b, uint32_t at, uint16_t v) {
  b[at] = static_cast<uint8_t>(v);
  b[at + 1] = static_cast<uint8_t>(v >> 8);
}

void put32(std::vector<uint8_t>& b, uint32_t at, uint32_t v) {
  for (uint32_t i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

void putFloat(std::vector<uint8_t>& b, uint32_t at, float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, 4);
  put32(b, at, bits);
}

void putText(std::vector<uint8_t>& b, uint32_t at, const char* text, uint32_t length) {
  std::memcpy(b.data() + at, text, length);
}

template <class T>
void putValues(std::vector<uint8_t>& b, uint32_t at, const T* values, uint32_t count) {
  std::memcpy(b.data() + at, values, sizeof(T) * count);
}

// The layout's fixed number of slots from a record that may hold fewer
// values: only the record's own are copied (its buffers have room for more,
// but nothing in them), the other slots are zero. A zero model term adds
// exactly nothing, so the blob describes the record's model.
template <class T>
void putSlots(std::vector<uint8_t>& b, uint32_t at, const T* values, uint32_t have,
              uint32_t slots) {
  const uint32_t copied = have < slots ? have : slots;
  putValues(b, at, values, copied);
  std::memset(b.data() + at + sizeof(T) * copied, 0, sizeof(T) * (slots - copied));
}

// Phase-noise codes of one frequency; returns the first byte after them.
uint32_t putFppn(std::vector<uint8_t>& b, uint32_t at, const float* fppn, uint32_t pixels,
                 const LegacyFrequencyEncoding& e) {
  if (!e.nineBit) {
    for (uint32_t i = 0; i < pixels; ++i)
      b[at + i] = static_cast<uint8_t>(legacyFppnCode(fppn[i], e));
  } else {
    std::memset(b.data() + at, 0, fppnCodeBytes(pixels, true));
    for (uint32_t i = 0; i < pixels; ++i) {
      const uint32_t code = legacyFppnCode(fppn[i], e);
      for (uint32_t bit = 0; bit < 9; ++bit) {
        const uint32_t k = 9 * i + bit;
        if ((code >> bit) & 1u)
          b[at + k / 8] = static_cast<uint8_t>(b[at + k / 8] | (1u << (k % 8)));
      }
    }
  }
  return at + fppnCodeBytes(pixels, e.nineBit);
}

void putGroup(std::vector<uint8_t>& b, uint32_t group, const KelvoraCalibrationFrequency& f) {
  putSlots(b, group + kTempCompensation.offset, f.tempCompensation, f.tempCompensationCount,
           kTempCompensationCount);
  putSlots(b, group + kNoiseParameters.offset, f.noiseParameters, f.noiseParameterCount,
           kNoiseParameterCount);
  const KelvoraWiggling& p = f.phaseWiggling;
  putSlots(b, group + kPhaseWigglingAmplitude.offset, p.amplitude, p.count, kPhaseWigglingTerms);
  putSlots(b, group + kPhaseWigglingHarmonic.offset, p.harmonic, p.count, kPhaseWigglingTerms);
  putSlots(b, group + kPhaseWigglingPhase.offset, p.phase, p.count, kPhaseWigglingTerms);
  const KelvoraWiggling& a = f.amplitudeWiggling;
  putSlots(b, group + kAmplitudeWigglingAmplitude.offset, a.amplitude, a.count,
           kAmplitudeWigglingTerms);
  putSlots(b, group + kAmplitudeWigglingHarmonic.offset, a.harmonic, a.count,
           kAmplitudeWigglingTerms);
  putSlots(b, group + kAmplitudeWigglingPhase.offset, a.phase, a.count, kAmplitudeWigglingTerms);
}

}  // namespace

uint32_t legacyFpnCode(float value, const LegacyWriterOptions& o) {
  return nearestCode((static_cast<double>(value) - o.fpnOffset) / o.fpnStep, 7.0);
}

uint32_t legacyFppnCode(float value, const LegacyFrequencyEncoding& e) {
  const double range = static_cast<double>(e.maximum) - e.minimum;
  const double top = e.nineBit ? 511.0 : 255.0;
  return nearestCode((static_cast<double>(value) - e.minimum) / range * top, top);
}

std::vector<uint8_t> writeLegacyCalibration(const KelvoraCalibration& c,
                                            const LegacyWriterOptions& o) {
  const uint32_t pixels = c.calibrationROI[2] * c.calibrationROI[3];
  const uint32_t group0 = kFppnCodes0 + fppnCodeBytes(pixels, o.frequency[0].nineBit) + kGroupGap;
  const uint32_t codes1 = group0 + kFppnCodes1FromGroup;
  const uint32_t group1 = codes1 + fppnCodeBytes(pixels, o.frequency[1].nineBit) + kGroupGap;
  std::vector<uint8_t> b(group1 + kGroupSize, o.filler);

  putText(b, kDate, c.date, kDateSize);
  putText(b, kSerial, c.serial, kSerialSize);
  putText(b, kSensorSerial, c.sensorSerial, kSensorSerialSize);
  put16(b, kRoi0, static_cast<uint16_t>(c.calibrationROI[0]));
  put16(b, kRoi1, static_cast<uint16_t>(c.calibrationROI[1]));
  put16(b, kRoiWidth, static_cast<uint16_t>(c.calibrationROI[2]));
  put16(b, kRoiHeightMinusOne, static_cast<uint16_t>(c.calibrationROI[3] - 1u));

  for (uint32_t word = 0; word < (pixels + 15) / 16; ++word) {
    uint16_t bits = 0;
    for (uint32_t j = 0; j < 16 && word * 16 + j < pixels; ++j) {
      bits = static_cast<uint16_t>(bits | ((c.mask[word * 16 + j] & 1u) << j));
    }
    put16(b, kMask + 2 * word, bits);
  }
  putFloat(b, kFpnOffset, o.fpnOffset);
  putFloat(b, kFpnStep, o.fpnStep);
  for (uint32_t group = 0; group < (pixels + 7) / 8; ++group) {
    uint32_t bits = 0;
    for (uint32_t j = 0; j < 8 && group * 8 + j < pixels; ++j) {
      bits |= legacyFpnCode(c.fpn[group * 8 + j], o) << (3 * j);
    }
    b[kFpnCodes + 3 * group] = static_cast<uint8_t>(bits);
    b[kFpnCodes + 3 * group + 1] = static_cast<uint8_t>(bits >> 8);
    b[kFpnCodes + 3 * group + 2] = static_cast<uint8_t>(bits >> 16);
  }
  putValues(b, kLensParameters, c.lensParameters, kLensParameterCount);

  const uint32_t minimumAt[2] = {kFppnMinimum0, group0 + kFppnMinimum1FromGroup};
  const uint32_t codesAt[2] = {kFppnCodes0, codes1};
  const uint32_t groupAt[2] = {group0, group1};
  for (uint32_t f = 0; f < 2; ++f) {
    const LegacyFrequencyEncoding& e = o.frequency[f];
    // Any selector above (max - min) / 255 selects 8-bit codes, 0 the 9-bit ones.
    const float selector = e.nineBit ? 0.0f : e.maximum - e.minimum;
    putGroup(b, groupAt[f], c.frequencies[f]);
    putFloat(b, minimumAt[f], e.minimum);
    putFloat(b, minimumAt[f] + 4, e.maximum);
    putFloat(b, minimumAt[f] + 8, selector);
    putFppn(b, codesAt[f], c.frequencies[f].fppn, pixels, e);
  }
  return b;
}

}  // namespace kelvora::synth
