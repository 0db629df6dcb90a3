// The legacy layout: blobs of the synthetic writer read back field by field
// (rays against a double-precision reference), blobs typed byte by byte at
// the layout's offsets, and truncations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "PchipReference.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"
#include "calibration/LegacyDirections.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
constexpr uint32_t kSensorPixels = 224 * 172;
constexpr uint32_t kBlobSize = 96857;  // with 8-bit phase-noise codes; 9-bit ones take 4816 more

uint32_t readLegacy(const std::vector<uint8_t>& blob, KelvoraCalibration* record) {
  return testing::readExactCopy(blob, blob.size(), record, ovani_readLegacyCalibration);
}

class LegacyRoundTrip : public testing::ExportDirectoryTest {};

TEST_F(LegacyRoundTrip, ReadsTheRecordAndItsRaysThenExports) {
  for (int widths = 0; widths < 4; ++widths) {
    const bool nineBit0 = (widths & 1) != 0, nineBit1 = (widths & 2) != 0;
    SCOPED_TRACE(::testing::Message() << "9-bit codes: " << nineBit0 << nineBit1);
    synth::SyntheticCalibrationOptions o;
    o.maskedFraction = 0.05f;
    CalibrationPtr original(synth::makeSyntheticCalibration(o));
    original->calibrationROI[0] = 3;
    original->calibrationROI[1] = 0xFFFFFFFEu;  // stored as int16 -2
    synth::LegacyWriterOptions options;
    options.fpnOffset = -6.0f;  // codes 0..7 span the synthetic range
    options.fpnStep = 1.75f;
    options.frequency[0] = {-0.02f, 0.02f, nineBit0};
    options.frequency[1] = {-0.025f, 0.025f, nineBit1};
    const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, options);
    ASSERT_EQ(blob.size(), kBlobSize + 4816 * (nineBit0 + nineBit1));

    CalibrationPtr c = testing::freshRecord(kSensorPixels);
    // Read twice into one record: under the leak checker every buffer of
    // the first read must be released when the second replaces it.
    ASSERT_EQ(readLegacy(blob, c.get()), status::kSuccess);
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(ovani_readLegacyCalibration(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
              status::kSuccess);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "\nStart converting!\ncalibrationSaveDir = " + dir() + "\n\nConverting finished!\n");
    EXPECT_FALSE(std::filesystem::is_empty(dir()));

    EXPECT_EQ((std::vector<int>{c->version, c->type, c->lensParameterCount}),
              (std::vector<int>{1, 1, 9}));
    // The layout has four phase-wiggling slots, the record three terms.
    for (uint32_t f = 0; f < 2; ++f) {
      ASSERT_EQ(c->frequencies[f].phaseWiggling.count, 4);
      c->frequencies[f].phaseWiggling.count = 3;
    }
    testing::expectSameRecord(*c, *original, {true, /*wigglingOffsets=*/false, true});
    for (uint32_t i = 0; i < kSensorPixels; ++i) {
      ASSERT_LE(std::fabs(c->fpn[i] - original->fpn[i]), 0.5f * options.fpnStep) << i;
    }
    for (uint32_t f = 0; f < 2; ++f) {
      const KelvoraCalibrationFrequency& a = c->frequencies[f];
      const synth::LegacyFrequencyEncoding& e = options.frequency[f];
      const float step = (e.maximum - e.minimum) / (e.nineBit ? 511 : 255);
      for (uint32_t i = 0; i < kSensorPixels; ++i) {
        ASSERT_LE(std::fabs(a.fppn[i] - original->frequencies[f].fppn[i]), step) << f << "/" << i;
      }
      EXPECT_EQ((std::vector<float>{a.phaseWiggling.offset, a.amplitudeWiggling.offset,
                                    a.frequencyScalar}),
                (std::vector<float>{0, 0, 0}));
    }
    for (uint32_t f = 2; f < kCalibrationFrequencyCapacity; ++f) {
      EXPECT_EQ(c->frequencies[f].fppn, nullptr);
    }
    // Single against double precision over 100 passes; the rays do not
    // depend on the code widths.
    ASSERT_NE(c->directions, nullptr);
    if (nineBit0 || nineBit1) continue;
    double worst = 0.0;
    for (uint32_t i = 0; i < kSensorPixels; ++i) {
      const auto ray =
          testref::ray(original->lensParameters, i % 224, i / 224, kLegacyUndistortionPasses);
      for (int k = 0; k < 3; ++k) {
        worst = std::max(worst, std::fabs(ray[k] - c->directions[3 * i + k]));
      }
    }
    EXPECT_LT(worst, 2e-6);
  }
}

void putFloat(std::vector<uint8_t>& b, size_t at, float v) {
  std::memcpy(&b[at], &v, 4);
}

// Bytes placed at offsets typed from the layout table, independent of the
// writer and of the reader's offset constants, with 8-bit phase-noise codes
// (the writer's blobs cover the 9-bit ones and the shift they cause).
class LegacyLayout : public testing::ExportDirectoryTest {};

TEST_F(LegacyLayout, EightBitCodesAtTypedOffsets) {
  std::vector<uint8_t> b(kBlobSize, 0);
  std::memcpy(&b[40], "2021-06-30 23:59:58??AB1234567??SENSOR7654321XYZ-01", 19 + 2 + 9 + 2 + 19);
  b[93] = 0x05;                  // ROI 0 = 5
  b[95] = 0xFF, b[96] = 0xFF;    // ROI 1 = -1
  b[97] = 224;                   // width
  b[99] = 171;                   // height - 1
  b[103] = 0x05;                 // pixels 0 and 2 masked
  b[103 + 2 * 2407 + 1] = 0x80;  // pixel 38527 masked (bit 15 of the last word)
  putFloat(b, 4919, 1.5f);       // FPN offset
  putFloat(b, 4927, 0.5f);       // FPN step
  b[4933] = 0xC8;                // codes of pixels 0..7: 0, 1, 3 (bits 0-2, 3-5, 6-8)
  for (int k = 0; k < 9; ++k) putFloat(b, 19383 + 4 * k, 100.0f + static_cast<float>(k));
  putFloat(b, 19427, -2.0f);  // FPPN minimum
  putFloat(b, 19431, 3.1f);   // FPPN maximum
  putFloat(b, 19435, 1.0f);   // selector above 5.1 / 255: 8-bit codes
  b[19441 + 1] = 255, b[19441 + 38527] = 7;
  putFloat(b, 57975, 11.0f);        // group 0: first temperature coefficient
  putFloat(b, 57975 + 18, 12.0f);   // first noise parameter
  putFloat(b, 57975 + 148, 13.0f);  // first amplitude wiggling phase
  putFloat(b, 57975 + 170, 1.0f);   // frequency 1: minimum 0, maximum 1, selector 1
  putFloat(b, 57975 + 174, 1.0f);
  b[58155] = 51;              // first FPPN code of frequency 1
  putFloat(b, 96689, 21.0f);  // group 1: first temperature coefficient

  CalibrationPtr c = testing::freshRecord(kSensorPixels);
  ASSERT_EQ(readLegacy(b, c.get()), status::kSuccess);
  EXPECT_EQ(std::string(c->date, 19) + c->serial + c->sensorSerial,
            "2021-06-30 23:59:58AB1234567SENSOR7654321XYZ-01");
  EXPECT_EQ(testing::valuesOf(c->calibrationROI, 4),
            (std::vector<uint32_t>{5, 0xFFFFFFFFu, 224, 172}));
  EXPECT_EQ(testing::valuesOf(c->mask, 3), (std::vector<uint8_t>{1, 0, 1}));
  EXPECT_EQ(c->mask[kSensorPixels - 1], 1);
  EXPECT_EQ(testing::valuesOf(c->fpn, 4), (std::vector<float>{1.5f, 2.0f, 3.0f, 1.5f}));
  EXPECT_EQ(c->lensParameters[8], 108.0f);
  const KelvoraCalibrationFrequency &f0 = c->frequencies[0], &f1 = c->frequencies[1];
  const float step8 = (3.1f - -2.0f) * 0.003921569f;
  EXPECT_EQ(f0.fppn[0], -2.0f);
  EXPECT_EQ(f0.fppn[1], 255.0f * step8 + -2.0f);
  EXPECT_EQ(f0.fppn[kSensorPixels - 1], 7.0f * step8 + -2.0f);
  EXPECT_EQ((std::vector<float>{f0.tempCompensation[0], f0.noiseParameters[0],
                                f0.amplitudeWiggling.phase[0], f1.fppn[0], f1.tempCompensation[0]}),
            (std::vector<float>{11, 12, 13, 51.0f * (1.0f * 0.003921569f), 21}));
}

class LegacyFailure : public testing::ExportDirectoryTest {};

TEST_F(LegacyFailure, EveryTruncationIsRefused) {
  EXPECT_NE(ovani_getIsLegacyCalibration(nullptr, 0), 0);  // the handler takes any blob
  EXPECT_EQ(ovani_getLegacyNumPixel(nullptr, 0), 38528);
  synth::LegacyWriterOptions options;
  options.frequency[1].nineBit = true;
  std::vector<uint8_t> blob =
      synth::writeLegacyCalibration(*testing::syntheticRecord(224, 172), options);
  // Each prefix is copied to the end of one exact-size buffer, so any read
  // past the prefix runs off the allocation.
  std::vector<uint8_t> buffer(blob.size());
  CalibrationPtr c = testing::freshRecord(kSensorPixels);
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
}

}  // namespace
}  // namespace kelvora
