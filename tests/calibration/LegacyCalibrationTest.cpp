// The legacy layout: blobs from the synthetic writer and blobs typed byte by
// byte at the layout's offsets read back, and the raw field files that every
// read exports.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
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
using testing::kSensorPixels;
using Files = std::map<std::string, std::vector<uint8_t>>;

uint32_t readLegacy(const std::vector<uint8_t>& blob, KelvoraCalibration* record,
                    std::string* out = nullptr) {
  ::testing::internal::CaptureStdout();
  const uint32_t s = testing::readFromExactCopy(blob, static_cast<uint32_t>(blob.size()), record,
                                                ovani_readLegacyCalibration);
  const std::string printed = ::testing::internal::GetCapturedStdout();
  if (out != nullptr) *out = printed;
  return s;
}

Files filesIn(const std::string& dir) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    std::ifstream in(entry.path(), std::ios::binary);
    files[entry.path().filename().string()] =
        std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return files;
}

template <class T>
std::vector<uint8_t> bytesOf(const T* values, size_t count) {
  const auto* p = reinterpret_cast<const uint8_t*>(values);
  return std::vector<uint8_t>(p, p + sizeof(T) * count);
}

// Expected files of a record: name -> content, built from the record's fields
// with the conversions of the export written out independently.
Files expectedFiles(const KelvoraCalibration& c) {
  const uint32_t pixels = c.calibrationROI[2] * c.calibrationROI[3];
  Files files;
  files["calib_CalibrationROI.bin"] = bytesOf(c.calibrationROI, 4);
  files["calib_date.bin"] = bytesOf(c.date, 19);
  files["calib_serial.bin"] = bytesOf(c.serial, 9);
  files["calib_SensorSerial.bin"] = bytesOf(c.sensorSerial, 19);
  files["calib_version.bin"] = bytesOf(&c.version, 1);
  files["calib_type.bin"] = bytesOf(&c.type, 1);
  if (c.directions != nullptr) {
    std::vector<int16_t> directions(3 * pixels);
    for (uint32_t i = 0; i < 3 * pixels; ++i) {
      directions[i] = static_cast<int16_t>(std::trunc(c.directions[i] * 32767.0f));
    }
    files["calib_directions.bin"] = bytesOf(directions.data(), directions.size());
  }
  std::vector<int32_t> lens(c.lensParameterCount);
  for (uint32_t i = 0; i < lens.size(); ++i) {
    lens[i] = static_cast<int32_t>(std::trunc(c.lensParameters[i] * 1000000.0f));
  }
  files["calib_lensparam.bin"] = bytesOf(lens.data(), lens.size());
  files["calib_mask.bin"] = bytesOf(c.mask, pixels);
  std::vector<uint16_t> fpn(pixels);
  for (uint32_t i = 0; i < pixels; ++i) {
    const float scaled = c.fpn[i] * 16.0f;
    fpn[i] = scaled <= 0.0f ? 0 : static_cast<uint16_t>(std::trunc(scaled));
  }
  files["calib_fpn.bin"] = bytesOf(fpn.data(), fpn.size());
  for (uint32_t f = 0; f < c.frequencyCount; ++f) {
    const KelvoraCalibrationFrequency& fr = c.frequencies[f];
    const std::string s = std::to_string(fr.modulationFrequency) + "Hz.bin";
    files["calib_fppn_" + s] = bytesOf(fr.fppn, pixels);
    files["calib_TempCompensation_" + s] = bytesOf(fr.tempCompensation, fr.tempCompensationCount);
    files["calib_NoiseParameter_" + s] = bytesOf(fr.noiseParameters, fr.noiseParameterCount);
    const KelvoraWiggling& p = fr.phaseWiggling;
    files["calib_WigglingAmplitude_" + s] = bytesOf(p.amplitude, p.count);
    files["calib_WigglingHarmonic_" + s] = bytesOf(p.harmonic, p.count);
    files["calib_WigglingPhase_" + s] = bytesOf(p.phase, p.count);
    if (c.frequencyCount > 1) {
      const KelvoraWiggling& a = fr.amplitudeWiggling;
      files["calib_AmplitudeWigglingAmplitude_" + s] = bytesOf(a.amplitude, a.count);
      files["calib_AmplitudeWigglingHarmonic_" + s] = bytesOf(a.harmonic, a.count);
      files["calib_AmplitudeWigglingOffset_" + s] = bytesOf(&a.offset, 1);
      files["calib_AmplitudeWigglingPhase_" + s] = bytesOf(a.phase, a.count);
    }
  }
  return files;
}

void expectSameFiles(const Files& actual, const Files& expected) {
  std::vector<std::string> actualNames, expectedNames;
  for (const auto& kv : actual) actualNames.push_back(kv.first);
  for (const auto& kv : expected) expectedNames.push_back(kv.first);
  ASSERT_EQ(actualNames, expectedNames);
  for (const auto& kv : expected) EXPECT_TRUE(actual.at(kv.first) == kv.second) << kv.first;
}

struct CodeWidths {
  bool nineBit0;
  bool nineBit1;
  uint32_t blobSize;
};

// By value: the default printer would dump the record's padding bytes.
void PrintTo(const CodeWidths& w, std::ostream* os) {
  *os << w.nineBit0 << w.nineBit1 << " " << w.blobSize;
}

class LegacyRoundTrip : public testing::ExportDirectoryTest,
                        public ::testing::WithParamInterface<CodeWidths> {};

TEST_P(LegacyRoundTrip, ReadsTheRecordItsRaysAndExportsEveryField) {
  const CodeWidths widths = GetParam();
  CalibrationPtr original = testing::makeSensorCalibration();
  synth::LegacyWriterOptions options;
  options.fpnOffset = testing::kLegacyFpnOffset;  // negative FPN values export as 0
  options.fpnStep = testing::kLegacyFpnStep;
  options.frequency[0] = {-0.02f, 0.02f, widths.nineBit0};
  options.frequency[1] = {-0.025f, 0.025f, widths.nineBit1};
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, options);
  ASSERT_EQ(blob.size(), widths.blobSize);

  CalibrationPtr c = testing::freshRecord(kSensorPixels);
  // Reading twice into one record: under the leak checker every buffer of
  // the first read must be released when the second replaces it.
  ASSERT_EQ(readLegacy(blob, c.get()), status::kSuccess);
  std::string printed;
  ASSERT_EQ(readLegacy(blob, c.get(), &printed), status::kSuccess);
  EXPECT_EQ(printed,
            "\nStart converting!\ncalibrationSaveDir = " + dir() + "\n\nConverting finished!\n");

  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 1);
  EXPECT_EQ(c->lensParameterCount, 9);
  testing::expectSameRecord(*c, *original, {true, /*wigglingOffsets=*/false, true});
  for (uint32_t i = 0; i < kSensorPixels; ++i) {
    const uint32_t code = synth::legacyFpnCode(original->fpn[i], options);
    ASSERT_EQ(c->fpn[i], static_cast<float>(code) * options.fpnStep + options.fpnOffset) << i;
  }
  ASSERT_NE(c->directions, nullptr);
  double worst = 0.0;
  for (uint32_t i = 0; i < kSensorPixels; ++i) {
    const auto ray =
        testref::ray(original->lensParameters, i % 224, i / 224, kLegacyUndistortionPasses);
    for (int k = 0; k < 3; ++k)
      worst = std::max(worst, std::fabs(ray[k] - c->directions[3 * i + k]));
  }
  EXPECT_LT(worst, 2e-6);  // single against double precision over 100 passes

  for (uint32_t f = 0; f < 2; ++f) {
    SCOPED_TRACE("frequency " + std::to_string(f));
    const KelvoraCalibrationFrequency& a = c->frequencies[f];
    const synth::LegacyFrequencyEncoding& e = options.frequency[f];
    const float range = e.maximum - e.minimum;
    for (uint32_t i = 0; i < kSensorPixels; ++i) {
      const float code =
          static_cast<float>(synth::legacyFppnCode(original->frequencies[f].fppn[i], e));
      const float expected = e.nineBit ? code * range * 0.0019569471f + e.minimum
                                       : code * (range * 0.003921569f) + e.minimum;
      ASSERT_EQ(a.fppn[i], expected) << i;
      ASSERT_LE(std::fabs(a.fppn[i] - original->frequencies[f].fppn[i]),
                range / (e.nineBit ? 511 : 255))
          << i;
    }
    EXPECT_EQ(a.phaseWiggling.offset, 0.0f);
    EXPECT_EQ(a.amplitudeWiggling.offset, 0.0f);
    EXPECT_EQ(a.frequencyScalar, 0.0f);
  }
  for (uint32_t f = 2; f < kCalibrationFrequencyCapacity; ++f) {
    EXPECT_EQ(c->frequencies[f].fppn, nullptr);
    EXPECT_EQ(c->frequencies[f].tempCompensation, nullptr);
  }

  const Files files = filesIn(dir());
  EXPECT_EQ(files.size(), 30u);
  // Sizes as the file table gives them for 224 x 172 pixels, where the
  // record's field types alone do not fix them.
  const std::map<std::string, size_t> sizes = {{"calib_CalibrationROI.bin", 16},
                                               {"calib_date.bin", 19},
                                               {"calib_serial.bin", 9},
                                               {"calib_SensorSerial.bin", 19},
                                               {"calib_version.bin", 2},
                                               {"calib_type.bin", 2},
                                               {"calib_mask.bin", 38528},
                                               {"calib_fppn_80320000Hz.bin", 154112},
                                               {"calib_TempCompensation_60240000Hz.bin", 16},
                                               {"calib_WigglingHarmonic_80320000Hz.bin", 16},
                                               {"calib_AmplitudeWigglingOffset_60240000Hz.bin", 4},
                                               {"calib_AmplitudeWigglingPhase_80320000Hz.bin", 8}};
  for (const auto& kv : sizes) {
    ASSERT_TRUE(files.count(kv.first)) << kv.first;
    EXPECT_EQ(files.at(kv.first).size(), kv.second) << kv.first;
  }
  expectSameFiles(files, expectedFiles(*c));
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

  CalibrationPtr c = testing::freshRecord(kSensorPixels);
  ASSERT_EQ(readLegacy(b, c.get()), status::kSuccess);
  EXPECT_EQ(std::string(c->date, 19), "2021-06-30 23:59:58");
  EXPECT_EQ(std::string(c->serial, 9), "AB1234567");
  EXPECT_EQ(std::string(c->sensorSerial, 19), "SENSOR7654321XYZ-01");
  EXPECT_EQ(std::vector<uint32_t>(c->calibrationROI, c->calibrationROI + 4),
            (std::vector<uint32_t>{5, 0xFFFFFFFFu, 224, 172}));
  EXPECT_EQ(std::vector<uint8_t>(c->mask, c->mask + 3), (std::vector<uint8_t>{1, 0, 1}));
  EXPECT_EQ(c->mask[kSensorPixels - 1], 1);
  EXPECT_EQ(c->mask[kSensorPixels - 2], 0);
  EXPECT_EQ(std::vector<float>(c->fpn, c->fpn + 4), (std::vector<float>{1.5f, 2.0f, 3.0f, 1.5f}));
  EXPECT_EQ(c->lensParameters[0], 100.0f);
  EXPECT_EQ(c->lensParameters[8], 108.0f);
  const float step8 = (3.1f - -2.0f) * 0.003921569f;
  EXPECT_EQ(c->frequencies[0].fppn[0], -2.0f);
  EXPECT_EQ(c->frequencies[0].fppn[1], 255.0f * step8 + -2.0f);
  EXPECT_EQ(c->frequencies[0].fppn[kSensorPixels - 1], 7.0f * step8 + -2.0f);
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
  CalibrationPtr c = testing::freshRecord(kSensorPixels);
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
  EXPECT_EQ(c->frequencyCount, kCalibrationFrequencyCapacity);
}

TEST_F(LegacyFailure, RegionLargerThanTheSensorIsRefused) {
  CalibrationPtr original = testing::makeSensorCalibration();
  std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, {});
  blob[97] = 225;  // 225 x 172 pixels
  CalibrationPtr c = testing::freshRecord(kSensorPixels);
  EXPECT_EQ(readLegacy(blob, c.get()), status::kUnsupported);
  blob[97] = 224;
  blob[99] = 0xFE, blob[100] = 0xFF;  // height - 1 = -2: height 0xFFFFFFFF
  EXPECT_EQ(readLegacy(blob, c.get()), status::kUnsupported);
}

// The export of records that no legacy read produced.
class CalibrationExport : public testing::ExportDirectoryTest {};

TEST_F(CalibrationExport, FrequencyCountAndDirectionsDecideTheFiles) {
  struct Case {
    uint8_t frequencies;
    bool directions;  // without them that one file fails, the rest are written
  };
  for (const Case k : {Case{0, true}, Case{1, true}, Case{3, true}, Case{2, false}}) {
    SCOPED_TRACE(static_cast<int>(k.frequencies));
    std::filesystem::remove_all(dir());
    CalibrationPtr c = testing::makeHandBuiltCalibration(5, 4, k.frequencies);
    if (k.directions) {
      c->directions = static_cast<float*>(std::calloc(60, sizeof(float)));
      for (uint32_t i = 0; i < 60; ++i) c->directions[i] = -1.0f + static_cast<float>(i) / 30.0f;
    }
    c->fpn[0] = 4095.9f;  // largest value below the 16-bit range
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(ovaniCustomCalibrationSave(c.get()), k.directions);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "calibrationSaveDir = " + dir() + "\n");
    const Files files = filesIn(dir());
    const uint32_t f = k.frequencies;
    EXPECT_EQ(files.size(), 9u + k.directions + 6u * f + (f > 1 ? 4u * f : 0u));
    expectSameFiles(files, expectedFiles(*c));
  }
}

TEST_F(CalibrationExport, UnusableDirectoryFailsWithoutCrashing) {
  CalibrationPtr c = testing::makeHandBuiltCalibration(3, 2, 1);
  // A directory below a regular file can be neither created nor written.
  std::filesystem::create_directories(std::filesystem::path(dir()).parent_path());
  { std::ofstream(dir()) << "x"; }
  const std::string below = dir() + "/sub";
  calibrationSaveDir = below.c_str();
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(ovaniCustomCalibrationSave(c.get()));
  ::testing::internal::GetCapturedStdout();
  calibrationSaveDir = nullptr;
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(ovaniCustomCalibrationSave(c.get()));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "calibrationSaveDir = (null)\n");
}

TEST_F(CalibrationExport, SaveArrayTruncatesAndWritesRawValues) {
  std::filesystem::create_directories(dir());
  const uint16_t first[3] = {1, 2, 0xBEEF};
  const uint16_t second[1] = {0x1234};
  EXPECT_TRUE(ovani_saveArray("calib_probe", 3, first));
  EXPECT_TRUE(ovani_saveArray("calib_probe", 1, second));
  EXPECT_EQ(filesIn(dir()).at("calib_probe.bin"), (std::vector<uint8_t>{0x34, 0x12}));
  const std::string appendPath = dir() + "/append.bin";
  EXPECT_TRUE(zyn_saveArrayToFile(appendPath.c_str(), 1, second, std::ios::binary));
  EXPECT_TRUE(zyn_saveArrayToFile(appendPath.c_str(), 1, second, std::ios::binary | std::ios::app));
  EXPECT_EQ(filesIn(dir()).at("append.bin").size(), 4u);
}

}  // namespace
}  // namespace kelvora
