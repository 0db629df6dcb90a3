#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "LegacyTestSupport.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"
#include "core/StatusCodes.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

constexpr uint32_t kPixels = 224 * 172;

uint32_t readLegacy(const std::vector<uint8_t>& blob, KelvoraCalibration* record,
                    std::string* out = nullptr) {
  ::testing::internal::CaptureStdout();
  const uint32_t s = testing::readFromExactCopy(blob, static_cast<uint32_t>(blob.size()), record,
                                                ovani_readLegacyCalibration);
  const std::string printed = ::testing::internal::GetCapturedStdout();
  if (out != nullptr) *out = printed;
  return s;
}

// The undistortion fixed point run in double precision.
void referenceRay(const float* lens, uint32_t column, uint32_t row, double ray[3]) {
  const double fx = lens[0], fy = lens[1], cx = lens[2], cy = lens[3];
  const double k1 = lens[4], k2 = lens[5], p1 = lens[6], p2 = lens[7], k3 = lens[8];
  const double x0 = (column - cx) / fx;
  const double y0 = (row - cy) / fy;
  double x = x0, y = y0;
  for (int i = 0; i < 100; ++i) {
    const double r2 = x * x + y * y;
    const double icdist = 1.0 / (1.0 + ((k3 * r2 + k2) * r2 + k1) * r2);
    const double dx = 2.0 * p1 * x * y + p2 * (r2 + 2.0 * x * x);
    const double dy = p1 * (r2 + 2.0 * y * y) + 2.0 * p2 * x * y;
    x = (x0 - dx) * icdist;
    y = (y0 - dy) * icdist;
  }
  const double n = std::sqrt(1.0 + x * x + y * y);
  ray[0] = x / n;
  ray[1] = y / n;
  ray[2] = 1.0 / n;
}

struct CodeWidths {
  bool nineBit0;
  bool nineBit1;
  uint32_t blobSize;
};

class LegacyRoundTrip : public testing::ExportDirectoryTest,
                        public ::testing::WithParamInterface<CodeWidths> {};

TEST_P(LegacyRoundTrip, ReadsTheWrittenRecordAndItsRays) {
  const CodeWidths widths = GetParam();
  CalibrationPtr original = testing::makeSensorCalibration();
  synth::LegacyWriterOptions options;
  options.fpnOffset = testing::kLegacyFpnOffset;
  options.fpnStep = testing::kLegacyFpnStep;
  options.frequency[0] = {-0.02f, 0.02f, widths.nineBit0};
  options.frequency[1] = {-0.025f, 0.025f, widths.nineBit1};
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, options);
  ASSERT_EQ(blob.size(), widths.blobSize);

  CalibrationPtr c(allocateCalibration(kPixels));
  std::string printed;
  ASSERT_EQ(readLegacy(blob, c.get(), &printed), status::kSuccess);
  EXPECT_EQ(printed,
            "\nStart converting!\ncalibrationSaveDir = " + dir() + "\n\nConverting finished!\n");

  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 1);
  EXPECT_EQ(std::string(c->date, 19), std::string(original->date, 19));
  EXPECT_EQ(std::string(c->serial, 9), std::string(original->serial, 9));
  EXPECT_EQ(std::string(c->sensorSerial, 19), std::string(original->sensorSerial, 19));
  EXPECT_EQ(std::vector<uint32_t>(c->calibrationROI, c->calibrationROI + 4),
            (std::vector<uint32_t>{3, 0xFFFFFFFEu, 224, 172}));
  EXPECT_EQ(c->lensParameterCount, 9);
  for (int k = 0; k < 9; ++k) EXPECT_EQ(c->lensParameters[k], original->lensParameters[k]);
  for (uint32_t i = 0; i < kPixels; ++i) {
    ASSERT_EQ(c->mask[i], original->mask[i] & 1u) << i;
    const uint32_t code = synth::legacyFpnCode(original->fpn[i], options);
    ASSERT_EQ(c->fpn[i], static_cast<float>(code) * options.fpnStep + options.fpnOffset) << i;
  }

  ASSERT_NE(c->directions, nullptr);
  double worst = 0.0;
  for (uint32_t i = 0; i < kPixels; ++i) {
    double ray[3];
    referenceRay(original->lensParameters, i % 224, i / 224, ray);
    for (int k = 0; k < 3; ++k)
      worst = std::max(worst, std::fabs(ray[k] - c->directions[3 * i + k]));
  }
  EXPECT_LT(worst, 2e-6);  // single against double precision over 100 passes

  EXPECT_EQ(c->frequencyCount, 2);
  const uint32_t frequencies[2] = {80320000u, 60240000u};
  for (uint32_t f = 0; f < 2; ++f) {
    SCOPED_TRACE("frequency " + std::to_string(f));
    const KelvoraCalibrationFrequency& a = c->frequencies[f];
    const KelvoraCalibrationFrequency& b = original->frequencies[f];
    const synth::LegacyFrequencyEncoding& e = options.frequency[f];
    EXPECT_EQ(a.modulationFrequency, frequencies[f]);
    const float range = e.maximum - e.minimum;
    for (uint32_t i = 0; i < kPixels; ++i) {
      const float code = static_cast<float>(synth::legacyFppnCode(b.fppn[i], e));
      const float expected = e.nineBit ? code * range * 0.0019569471f + e.minimum
                                       : code * (range * 0.003921569f) + e.minimum;
      ASSERT_EQ(a.fppn[i], expected) << i;
      ASSERT_LE(std::fabs(a.fppn[i] - b.fppn[i]), range / (e.nineBit ? 511 : 255)) << i;
    }
    EXPECT_EQ(a.tempCompensationCount, 4);
    EXPECT_EQ(a.noiseParameterCount, 4);
    EXPECT_EQ(a.phaseWiggling.count, 4);
    EXPECT_EQ(a.amplitudeWiggling.count, 2);
    EXPECT_EQ(a.phaseWiggling.offset, 0.0f);
    EXPECT_EQ(a.amplitudeWiggling.offset, 0.0f);
    EXPECT_EQ(a.frequencyScalar, 0.0f);
    for (uint32_t k = 0; k < 4; ++k) {
      EXPECT_EQ(a.tempCompensation[k], b.tempCompensation[k]);
      EXPECT_EQ(a.noiseParameters[k], b.noiseParameters[k]);
      EXPECT_EQ(a.phaseWiggling.amplitude[k], b.phaseWiggling.amplitude[k]);
      EXPECT_EQ(a.phaseWiggling.harmonic[k], b.phaseWiggling.harmonic[k]);
      EXPECT_EQ(a.phaseWiggling.phase[k], b.phaseWiggling.phase[k]);
    }
    for (uint32_t k = 0; k < 2; ++k) {
      EXPECT_EQ(a.amplitudeWiggling.amplitude[k], b.amplitudeWiggling.amplitude[k]);
      EXPECT_EQ(a.amplitudeWiggling.harmonic[k], b.amplitudeWiggling.harmonic[k]);
      EXPECT_EQ(a.amplitudeWiggling.phase[k], b.amplitudeWiggling.phase[k]);
    }
  }
  for (uint32_t f = 2; f < kCalibrationFrequencyCapacity; ++f) {
    EXPECT_EQ(c->frequencies[f].fppn, nullptr);
    EXPECT_EQ(c->frequencies[f].tempCompensation, nullptr);
  }
}

// 8-bit codes take P bytes, 9-bit ones 4816 more.
INSTANTIATE_TEST_SUITE_P(CodeWidths, LegacyRoundTrip,
                         ::testing::Values(CodeWidths{false, false, 96857},
                                           CodeWidths{true, false, 96857 + 4816},
                                           CodeWidths{false, true, 96857 + 4816},
                                           CodeWidths{true, true, 96857 + 2 * 4816}));

void putFloat(std::vector<uint8_t>& b, size_t at, float v) {
  std::memcpy(&b[at], &v, 4);
}
float getFloat(const void* p) {
  float v;
  std::memcpy(&v, p, 4);
  return v;
}

// Bytes placed at offsets typed from the layout table, independent of the
// writer and of the reader's offset constants.
class LegacyLayout : public testing::ExportDirectoryTest {};

TEST_F(LegacyLayout, EightBitCodesAtTypedOffsets) {
  std::vector<uint8_t> b(96857, 0);
  std::memcpy(&b[40], "2021-06-30 23:59:58", 19);
  std::memcpy(&b[61], "AB1234567", 9);
  std::memcpy(&b[72], "SENSOR7654321XYZ-01", 19);
  b[93] = 0x05;                  // ROI 0 = 5
  b[95] = 0xFF, b[96] = 0xFF;    // ROI 1 = -1
  b[97] = 224;                   // width
  b[99] = 171;                   // height - 1
  b[103] = 0x05;                 // pixels 0 and 2 masked
  b[103 + 2 * 2407 + 1] = 0x80;  // pixel 38527 masked (bit 15 of the last word)
  putFloat(b, 4919, 1.5f);       // FPN offset
  putFloat(b, 4927, 0.5f);       // FPN step
  b[4933] = 0xC8;                // codes of pixels 0..7: 0, 1, 3 (bits 0-2, 3-5, 6-8)
  b[4934] = 0x00;
  for (int k = 0; k < 9; ++k) putFloat(b, 19383 + 4 * k, 100.0f + static_cast<float>(k));
  putFloat(b, 19427, -2.0f);  // FPPN minimum
  putFloat(b, 19431, 3.1f);   // FPPN maximum
  putFloat(b, 19435, 1.0f);   // selector above 5.1 / 255: 8-bit codes
  b[19441] = 0, b[19442] = 255, b[19441 + 38527] = 7;
  putFloat(b, 57975, 11.0f);        // group 0: first temperature coefficient
  putFloat(b, 57975 + 18, 12.0f);   // first noise parameter
  putFloat(b, 57975 + 68, 2.5f);    // phase wiggling harmonics start at 68 (raw bytes)
  putFloat(b, 57975 + 148, 13.0f);  // first amplitude wiggling phase
  putFloat(b, 57975 + 166, 0.0f);   // frequency 1: minimum, maximum, selector
  putFloat(b, 57975 + 170, 1.0f);
  putFloat(b, 57975 + 174, 1.0f);
  b[58155] = 51;                    // first FPPN code of frequency 1
  putFloat(b, 96689, 21.0f);        // group 1: first temperature coefficient
  putFloat(b, 96689 + 134, 22.0f);  // first amplitude wiggling harmonic (raw bytes)

  CalibrationPtr c(allocateCalibration(kPixels));
  ASSERT_EQ(readLegacy(b, c.get()), status::kSuccess);
  EXPECT_EQ(std::string(c->date, 19), "2021-06-30 23:59:58");
  EXPECT_EQ(std::string(c->serial, 9), "AB1234567");
  EXPECT_EQ(std::string(c->sensorSerial, 19), "SENSOR7654321XYZ-01");
  EXPECT_EQ(std::vector<uint32_t>(c->calibrationROI, c->calibrationROI + 4),
            (std::vector<uint32_t>{5, 0xFFFFFFFFu, 224, 172}));
  EXPECT_EQ(c->mask[0], 1);
  EXPECT_EQ(c->mask[1], 0);
  EXPECT_EQ(c->mask[2], 1);
  EXPECT_EQ(c->mask[kPixels - 1], 1);
  EXPECT_EQ(c->mask[kPixels - 2], 0);
  EXPECT_EQ(c->fpn[0], 1.5f);
  EXPECT_EQ(c->fpn[1], 2.0f);
  EXPECT_EQ(c->fpn[2], 3.0f);
  EXPECT_EQ(c->fpn[3], 1.5f);
  EXPECT_EQ(c->lensParameters[0], 100.0f);
  EXPECT_EQ(c->lensParameters[8], 108.0f);
  const float step8 = (3.1f - -2.0f) * 0.003921569f;
  EXPECT_EQ(c->frequencies[0].fppn[0], -2.0f);
  EXPECT_EQ(c->frequencies[0].fppn[1], 255.0f * step8 + -2.0f);
  EXPECT_EQ(c->frequencies[0].fppn[kPixels - 1], 7.0f * step8 + -2.0f);
  EXPECT_EQ(c->frequencies[0].tempCompensation[0], 11.0f);
  EXPECT_EQ(c->frequencies[0].noiseParameters[0], 12.0f);
  EXPECT_EQ(getFloat(c->frequencies[0].phaseWiggling.harmonic), 2.5f);
  EXPECT_EQ(c->frequencies[0].amplitudeWiggling.phase[0], 13.0f);
  EXPECT_EQ(c->frequencies[1].fppn[0], 51.0f * (1.0f * 0.003921569f));
  EXPECT_EQ(c->frequencies[1].tempCompensation[0], 21.0f);
  EXPECT_EQ(getFloat(c->frequencies[1].amplitudeWiggling.harmonic), 22.0f);
}

TEST_F(LegacyLayout, NineBitCodesShiftTheGroupBy4816Bytes) {
  std::vector<uint8_t> b(96857 + 4816, 0);
  b[97] = 224;
  b[99] = 171;
  putFloat(b, 19427, 0.0f);
  putFloat(b, 19431, 511.0f);
  putFloat(b, 19435, 2.0f);  // exactly 511/255 or below: 9-bit codes
  // Pixel 0 = 0x1FF (bits 0..8), pixel 1 = 0x101 (bits 9..17): bytes FF 03 02.
  b[19441] = 0xFF, b[19442] = 0x03, b[19443] = 0x02;
  putFloat(b, 62791, 31.0f);        // group 0
  putFloat(b, 62791 + 174, 10.0f);  // frequency 1 selector (8-bit)
  putFloat(b, 62791 + 170, 1.0f);
  putFloat(b, 62791 + 180 + 38528 + 6, 32.0f);  // group 1
  CalibrationPtr c(allocateCalibration(kPixels));
  ASSERT_EQ(readLegacy(b, c.get()), status::kSuccess);
  EXPECT_EQ(c->frequencies[0].fppn[0], 511.0f * 511.0f * 0.0019569471f);
  EXPECT_EQ(c->frequencies[0].fppn[1], 257.0f * 511.0f * 0.0019569471f);
  EXPECT_EQ(c->frequencies[0].tempCompensation[0], 31.0f);
  EXPECT_EQ(c->frequencies[1].tempCompensation[0], 32.0f);
}

TEST(LegacyHandler, AcceptsEveryBlobWithTheSensorPixelCount) {
  const uint8_t few[3] = {1, 2, 3};
  EXPECT_NE(ovani_getIsLegacyCalibration(few, 3), 0);
  EXPECT_NE(ovani_getIsLegacyCalibration(nullptr, 0), 0);
  EXPECT_EQ(ovani_getLegacyNumPixel(few, 3), 38528);
}

class LegacyFailure : public testing::ExportDirectoryTest {};

TEST_F(LegacyFailure, EveryTruncationIsTooShortAndLeavesTheRecord) {
  CalibrationPtr original = testing::makeSensorCalibration();
  synth::LegacyWriterOptions options;
  options.frequency[1].nineBit = true;
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, options);
  // Each prefix is copied to the end of one exact-size buffer, so any read
  // past the prefix runs off the allocation.
  std::vector<uint8_t> buffer(blob.size());
  CalibrationPtr c(allocateCalibration(kPixels));
  char* const date = c->date;
  ::testing::internal::CaptureStdout();
  for (uint32_t length = 0; length < blob.size(); ++length) {
    uint8_t* start = buffer.data() + buffer.size() - length;
    std::memcpy(start, blob.data(), length);
    const uint32_t s = ovani_readLegacyCalibration(start, length, c.get());
    if (s != status::kStreamTooShort) {
      ADD_FAILURE() << "length " << length << " gave " << s;
      break;
    }
  }
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(c->date, date);
  EXPECT_EQ(c->directions, nullptr);
  EXPECT_EQ(c->frequencyCount, kCalibrationFrequencyCapacity);
}

TEST_F(LegacyFailure, RegionLargerThanTheSensorIsRefused) {
  CalibrationPtr original = testing::makeSensorCalibration();
  std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, {});
  blob[97] = 225;  // 225 x 172 pixels
  CalibrationPtr c(allocateCalibration(kPixels));
  EXPECT_EQ(readLegacy(blob, c.get()), status::kUnsupported);
  blob[97] = 224;
  blob[99] = 0xFE, blob[100] = 0xFF;  // height - 1 = -2: height 0xFFFFFFFF
  EXPECT_EQ(readLegacy(blob, c.get()), status::kUnsupported);
}

TEST_F(LegacyFailure, ReadingTwiceIntoOneRecordReplacesEveryBuffer) {
  // Run under the leak checker: every buffer of the first read is released
  // when the second replaces it.
  CalibrationPtr original = testing::makeSensorCalibration();
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, {});
  CalibrationPtr c(allocateCalibration(kPixels));
  ASSERT_EQ(readLegacy(blob, c.get()), status::kSuccess);
  ASSERT_EQ(readLegacy(blob, c.get()), status::kSuccess);
  EXPECT_EQ(c->frequencyCount, 2);
  EXPECT_EQ(std::strlen(c->serial), 9u);  // terminated right after the 9 characters
}

}  // namespace
}  // namespace kelvora
