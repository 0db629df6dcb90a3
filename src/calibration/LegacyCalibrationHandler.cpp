#include "calibration/LegacyCalibrationHandler.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationByteReader.hpp"
#include "calibration/CalibrationExport.hpp"
#include "calibration/LegacyDirections.hpp"
#include "calibration/LegacyLayout.hpp"

namespace kelvora {

namespace {

using namespace legacy;

struct FrequencyLayout {
  float minimum;
  float maximum;
  float selector;
  bool nineBit;    // selector not above (maximum - minimum) / 255
  uint32_t codes;  // first byte of the phase-noise codes
  uint32_t group;  // first byte of the field group
};

struct LegacyLayout {
  uint32_t roi[4];
  uint32_t pixels;
  FrequencyLayout frequency[2];
};

uint32_t readFrequencyLayout(const uint8_t* data, uint32_t size, uint32_t minimumAt,
                             uint32_t maximumAt, uint32_t selectorAt, uint32_t codesAt,
                             uint32_t pixels, FrequencyLayout* f) {
  uint32_t s = readLittleEndianAt(&f->minimum, data, minimumAt, size);
  if (s == status::kSuccess) s = readLittleEndianAt(&f->maximum, data, maximumAt, size);
  if (s == status::kSuccess) s = readLittleEndianAt(&f->selector, data, selectorAt, size);
  if (s != status::kSuccess) return s;
  const float step8 = (f->maximum - f->minimum) * kInverse255;
  f->nineBit = !(f->selector > step8);
  f->codes = codesAt;
  f->group = codesAt + fppnCodeBytes(pixels, f->nineBit) + kGroupGap;
  return status::kSuccess;
}

// Where everything lies depends on the region of interest and on the two code
// widths; all of it is settled, and the blob's length checked against it,
// before the record is touched.
uint32_t planLayout(const uint8_t* data, uint32_t size, LegacyLayout* layout) {
  int16_t roi0 = 0;
  int16_t roi1 = 0;
  uint16_t width = 0;
  int16_t heightMinusOne = 0;
  if (!calibrationBytesLeft(kHeaderCopy, size, kHeaderCopySize)) return status::kStreamTooShort;
  uint32_t s = readLittleEndianAt(&roi0, data, kRoi0, size);
  if (s == status::kSuccess) s = readLittleEndianAt(&roi1, data, kRoi1, size);
  if (s == status::kSuccess) s = readLittleEndianAt(&width, data, kRoiWidth, size);
  if (s == status::kSuccess)
    s = readLittleEndianAt(&heightMinusOne, data, kRoiHeightMinusOne, size);
  if (s != status::kSuccess) return s;
  layout->roi[0] = static_cast<uint32_t>(static_cast<int32_t>(roi0));
  layout->roi[1] = static_cast<uint32_t>(static_cast<int32_t>(roi1));
  layout->roi[2] = width;
  layout->roi[3] = static_cast<uint32_t>(static_cast<int32_t>(heightMinusOne) + 1);
  // The record holds one sensor's pixels and the layout has room for no more.
  const uint64_t pixels = static_cast<uint64_t>(layout->roi[2]) * layout->roi[3];
  // An empty region of interest is refused like one larger than the sensor:
  // an engine of zero pixels has no frame to process.
  if (pixels == 0 || pixels > kLegacyPixelCount) return status::kUnsupported;
  layout->pixels = static_cast<uint32_t>(pixels);

  FrequencyLayout& f0 = layout->frequency[0];
  FrequencyLayout& f1 = layout->frequency[1];
  s = readFrequencyLayout(data, size, kFppnMinimum0, kFppnMaximum0, kFppnSelector0, kFppnCodes0,
                          layout->pixels, &f0);
  if (s != status::kSuccess) return s;
  s = readFrequencyLayout(data, size, f0.group + kFppnMinimum1FromGroup,
                          f0.group + kFppnMaximum1FromGroup, f0.group + kFppnSelector1FromGroup,
                          f0.group + kFppnCodes1FromGroup, layout->pixels, &f1);
  if (s != status::kSuccess) return s;
  // Frequency 1's field group is the last thing in the layout.
  if (!calibrationBytesLeft(0, size, static_cast<uint64_t>(f1.group) + kGroupSize)) {
    return status::kStreamTooShort;
  }
  return status::kSuccess;
}

uint16_t littleEndian16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t littleEndian32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

template <class T>
T* allocBytes(uint32_t bytes) {
  return static_cast<T*>(std::malloc(bytes == 0 ? 1u : bytes));
}

// The text fields become buffers of exactly the stored length; one extra
// terminator keeps string functions on them inside the buffer.
uint32_t replaceText(char** field, const uint8_t* data, uint32_t offset, uint32_t length,
                     uint32_t size) {
  if (!calibrationBytesLeft(offset, size, length)) return status::kStreamTooShort;
  char* text = allocBytes<char>(length + 1);
  std::memcpy(text, data + offset, length);
  text[length] = '\0';
  std::free(*field);
  *field = text;
  return status::kSuccess;
}

uint32_t readMask(uint8_t* mask, uint32_t pixels, const uint8_t* data, uint32_t size) {
  if (!calibrationBytesLeft(kMask, size, static_cast<uint64_t>((pixels + 15u) / 16u) * 2u)) {
    return status::kStreamTooShort;
  }
  for (uint32_t i = 0; i < pixels; ++i) {
    mask[i] =
        static_cast<uint8_t>((littleEndian16(data + kMask + 2u * (i / 16u)) >> (i % 16u)) & 1u);
  }
  return status::kSuccess;
}

uint32_t readFpn(float* fpn, uint32_t pixels, const uint8_t* data, uint32_t size) {
  float offset = 0.0f;
  float step = 0.0f;
  uint32_t s = readLittleEndianAt(&offset, data, kFpnOffset, size);
  if (s == status::kSuccess) s = readLittleEndianAt(&step, data, kFpnStep, size);
  if (s != status::kSuccess) return s;
  // Eight 3-bit codes per 3 bytes, each group read as a 32-bit word.
  if (pixels != 0 && !calibrationBytesLeft(kFpnCodes + 3u * ((pixels - 1u) / 8u), size, 4)) {
    return status::kStreamTooShort;
  }
  for (uint32_t i = 0; i < pixels; ++i) {
    const uint32_t word = littleEndian32(data + kFpnCodes + 3u * (i / 8u));
    const uint32_t code = (word >> (3u * (i % 8u))) & 7u;
    fpn[i] = static_cast<float>(code) * step + offset;
  }
  return status::kSuccess;
}

uint32_t readLensParameters(KelvoraCalibration* c, const uint8_t* data, uint32_t size) {
  if (!calibrationBytesLeft(kLensParameters, size, kLensParameterCount * 4u)) {
    return status::kStreamTooShort;
  }
  float* lens = allocBytes<float>(kLensParameterCount * 4u);
  for (uint32_t i = 0; i < kLensParameterCount; ++i) {
    readLittleEndianAt(&lens[i], data, kLensParameters + 4u * i, size);
  }
  std::free(c->lensParameters);
  c->lensParameters = lens;
  c->lensParameterCount = kLensParameterCount;
  return status::kSuccess;
}

uint32_t readFppn(const FrequencyLayout& f, uint32_t pixels, float** destination,
                  const uint8_t* data, uint32_t size) {
  if (!calibrationBytesLeft(f.codes, size, fppnCodeBytes(pixels, f.nineBit))) {
    return status::kStreamTooShort;
  }
  float* fppn = allocBytes<float>(pixels * 4u);
  const float range = f.maximum - f.minimum;
  const uint8_t* codes = data + f.codes;
  if (!f.nineBit) {
    const float step8 = range * kInverse255;
    for (uint32_t i = 0; i < pixels; ++i)
      fppn[i] = static_cast<float>(codes[i]) * step8 + f.minimum;
  } else {
    for (uint32_t i = 0; i < pixels; ++i) {
      const uint32_t bit = 9u * i;
      const uint32_t code = (littleEndian16(codes + bit / 8u) >> (bit % 8u)) & 0x1FFu;
      fppn[i] = static_cast<float>(code) * range * kInverse511 + f.minimum;
    }
  }
  std::free(*destination);
  *destination = fppn;
  return status::kSuccess;
}

template <class T>
T* copyGroupField(const uint8_t* group, GroupField field) {
  T* buffer = allocBytes<T>(field.size);
  std::memcpy(buffer, group + field.offset, field.size);
  return buffer;
}

uint32_t readGroup(uint32_t groupStart, KelvoraCalibrationFrequency* f, const uint8_t* data,
                   uint32_t size) {
  if (!calibrationBytesLeft(groupStart, size, kGroupSize)) return status::kStreamTooShort;
  const uint8_t* group = data + groupStart;
  // The record was emptied before, so these buffers replace nothing.
  f->tempCompensation = copyGroupField<float>(group, kTempCompensation);
  f->tempCompensationCount = kTempCompensationCount;
  f->noiseParameters = copyGroupField<float>(group, kNoiseParameters);
  f->noiseParameterCount = kNoiseParameterCount;
  f->phaseWiggling.amplitude = copyGroupField<float>(group, kPhaseWigglingAmplitude);
  f->phaseWiggling.harmonic = copyGroupField<uint32_t>(group, kPhaseWigglingHarmonic);
  f->phaseWiggling.phase = copyGroupField<float>(group, kPhaseWigglingPhase);
  f->phaseWiggling.count = kPhaseWigglingTerms;
  f->amplitudeWiggling.amplitude = copyGroupField<float>(group, kAmplitudeWigglingAmplitude);
  f->amplitudeWiggling.harmonic = copyGroupField<uint32_t>(group, kAmplitudeWigglingHarmonic);
  f->amplitudeWiggling.phase = copyGroupField<float>(group, kAmplitudeWigglingPhase);
  f->amplitudeWiggling.count = kAmplitudeWigglingTerms;
  return status::kSuccess;
}

uint32_t convert(const LegacyLayout& layout, const uint8_t* data, uint32_t size,
                 KelvoraCalibration* c) {
  // Two frequency records in use. The record keeps its array of all records;
  // every earlier per-frequency buffer is released and the records zeroed, as
  // a new array would be.
  for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
    kelvora_releaseCalibrationFrequency(&c->frequencies[f]);
  }
  c->frequencyCount = 2;
  c->frequencies[0].modulationFrequency = kModulationFrequency0;
  c->frequencies[1].modulationFrequency = kModulationFrequency1;

  const uint32_t pixels = layout.pixels;
  uint32_t s = replaceText(&c->date, data, kDate, kDateSize, size);
  if (s == status::kSuccess) s = replaceText(&c->serial, data, kSerial, kSerialSize, size);
  if (s == status::kSuccess) {
    s = replaceText(&c->sensorSerial, data, kSensorSerial, kSensorSerialSize, size);
  }
  if (s != status::kSuccess) return s;
  auto* roi = allocBytes<uint32_t>(4u * 4u);
  std::memcpy(roi, layout.roi, sizeof layout.roi);
  std::free(c->calibrationROI);
  c->calibrationROI = roi;
  s = readMask(c->mask, pixels, data, size);
  if (s == status::kSuccess) s = readFpn(c->fpn, pixels, data, size);
  if (s == status::kSuccess) s = readLensParameters(c, data, size);
  if (s != status::kSuccess) return s;
  c->version = 1;
  c->type = 1;

  auto* directions = allocBytes<float>(pixels * 3u * 4u);
  ovani_computeLegacyDirections(c->lensParameters, directions, pixels);
  std::free(c->directions);
  c->directions = directions;

  for (uint32_t f = 0; f < 2; ++f) {
    const FrequencyLayout& fl = layout.frequency[f];
    s = readFppn(fl, pixels, &c->frequencies[f].fppn, data, size);
    if (s == status::kSuccess) s = readGroup(fl.group, &c->frequencies[f], data, size);
    if (s != status::kSuccess) return s;
  }
  return status::kSuccess;
}

}  // namespace

int32_t ovani_getIsLegacyCalibration(const uint8_t*, uint32_t) {
  return 1;
}

int32_t ovani_getLegacyNumPixel(const uint8_t*, uint32_t) {
  return static_cast<int32_t>(kLegacyPixelCount);
}

uint32_t ovani_readLegacyCalibration(const uint8_t* data, uint32_t size,
                                     KelvoraCalibration* calibration) {
  std::printf("\nStart converting!\n");
  LegacyLayout layout{};
  uint32_t s = planLayout(data, size, &layout);
  if (s != status::kSuccess) return s;
  s = convert(layout, data, size, calibration);
  if (s != status::kSuccess) return s;
  // A failed export is reported by the missing files, not by the reader.
  ovaniCustomCalibrationSave(calibration);
  std::printf("\nConverting finished!\n");
  return status::kSuccess;
}

}  // namespace kelvora
