#include "synthetic/ContainerCalibrationWriter.hpp"

#include <cmath>

#include "synthetic/CalibrationByteWriter.hpp"

namespace kelvora::synth {

namespace {

constexpr uint16_t kString = 1;
constexpr uint16_t kPackedUint8 = 6;
constexpr uint16_t kUint32 = 8;
constexpr uint16_t kFloat = 10;

// Stored widths: the ROI in 16 bits, the mask in 1 bit (integral ranges
// 0..65535 and 0..1 at step 1).
constexpr uint32_t kRoiBits = 16;
constexpr uint32_t kMaskBits = 1;

void text(CalibrationByteWriter& w, const char* value, uint32_t capacity) {
  w.bigEndian16(kString);
  const uint32_t length = capacity - 1;
  bool ended = false;
  for (uint32_t i = 0; i < length; ++i) {
    ended = ended || value[i] == '\0';
    w.bytes().push_back(ended ? 0 : static_cast<uint8_t>(value[i]));
  }
}

void floats(CalibrationByteWriter& w, const float* values, uint32_t count) {
  w.bigEndian16(kFloat);
  for (uint32_t i = 0; i < count; ++i) w.littleEndianFloat(values[i]);
}

void uints(CalibrationByteWriter& w, const uint32_t* values, uint32_t count) {
  w.bigEndian16(kUint32);
  for (uint32_t i = 0; i < count; ++i) w.littleEndian32(values[i]);
}

void packed(CalibrationByteWriter& w, uint16_t format, const std::vector<uint32_t>& codes,
            uint32_t bits) {
  w.bigEndian16(format);
  for (uint32_t word : packBits(codes, bits)) w.littleEndian32(word);
}

void describedFloats(CalibrationByteWriter& w, const float* values, uint32_t count,
                     const ContainerFloatEncoding& encoding) {
  w.littleEndianFloat(encoding.minimum);
  w.littleEndianFloat(encoding.maximum);
  w.littleEndianFloat(encoding.step);
  const ContainerQuantiser q(encoding);
  if (!q.packed) {
    floats(w, values, count);
    return;
  }
  std::vector<uint32_t> codes(count);
  for (uint32_t i = 0; i < count; ++i) codes[i] = q.code(values[i]);
  packed(w, kFloat, codes, q.bits);
}

void wiggling(CalibrationByteWriter& w, const KelvoraWiggling& model) {
  floats(w, &model.offset, 1);
  w.bigEndian32(model.count);
  floats(w, model.amplitude, model.count);
  w.bigEndian32(model.count);
  uints(w, model.harmonic, model.count);
  w.bigEndian32(model.count);
  floats(w, model.phase, model.count);
  w.bigEndian16(0);
}

}  // namespace

ContainerQuantiser::ContainerQuantiser(const ContainerFloatEncoding& e) : minimum(e.minimum) {
  // Same single-precision width rule and rounded ln 2 as the files carry.
  const float levels = std::ceil((e.maximum - e.minimum) / e.step) + 1.0f;
  const float width = std::ceil(std::log(levels) / 0.6931472f);
  bits = width >= 24.0f || !(width > 0.0f) ? 24u : static_cast<uint32_t>(width);
  packed = e.step != 0.0f && bits < 24u;
  scale = static_cast<float>(static_cast<double>(e.maximum - e.minimum) /
                             (std::pow(2.0, static_cast<double>(bits)) - 1.0));
}

uint32_t ContainerQuantiser::code(float value) const {
  const double top = std::pow(2.0, static_cast<double>(bits)) - 1.0;
  double c = std::nearbyint((static_cast<double>(value) - minimum) / scale);
  if (!(c > 0.0)) c = 0.0;
  if (c > top) c = top;
  return static_cast<uint32_t>(c);
}

std::vector<uint8_t> writeContainerCalibration(const KelvoraCalibration& c,
                                               const ContainerWriterOptions& options) {
  CalibrationByteWriter w;
  const uint32_t pixels = c.calibrationROI[2] * c.calibrationROI[3];
  const uint16_t frequencyCount =
      options.frequencyCount != 0 ? options.frequencyCount : c.frequencyCount;

  w.raw("ZYNSCL", 6);
  w.bigEndian32(0);
  w.bigEndian16(frequencyCount);
  w.bigEndian16(0);
  w.bigEndian32(options.dimension0 != 0 ? options.dimension0 : c.calibrationROI[2]);
  w.bigEndian32(options.dimension1 != 0 ? options.dimension1 : c.calibrationROI[3]);

  text(w, c.date, 20);
  text(w, c.serial, 10);
  text(w, c.sensorSerial, 20);
  packed(w, kUint32, std::vector<uint32_t>(c.calibrationROI, c.calibrationROI + 4), kRoiBits);
  std::vector<uint32_t> mask(pixels);
  for (uint32_t i = 0; i < pixels; ++i) mask[i] = c.mask[i] & 1u;
  packed(w, kPackedUint8, mask, kMaskBits);
  describedFloats(w, c.fpn, pixels, options.fpn);
  floats(w, c.lensParameters, 9);
  w.bigEndian16(kFloat);  // an empty float item closes the common part

  const uint32_t records = frequencyCount < c.frequencyCount ? frequencyCount : c.frequencyCount;
  for (uint32_t f = 0; f < records && f < kCalibrationFrequencyCapacity; ++f) {
    const KelvoraCalibrationFrequency& freq = c.frequencies[f];
    uints(w, &freq.modulationFrequency, 1);
    describedFloats(w, freq.fppn, pixels, options.fppn);
    w.bigEndian32(freq.tempCompensationCount);
    floats(w, freq.tempCompensation, freq.tempCompensationCount);
    floats(w, freq.noiseParameters, 4);
    wiggling(w, freq.phaseWiggling);
    if (frequencyCount > 1) wiggling(w, freq.amplitudeWiggling);
    w.bigEndian16(0);
  }
  w.bigEndian16(0);
  w.bigEndian16(0);
  return std::move(w.bytes());
}

}  // namespace kelvora::synth
