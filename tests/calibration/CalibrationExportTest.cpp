#include "calibration/CalibrationExport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "LegacyTestSupport.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"
#include "core/StatusCodes.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

std::map<std::string, std::vector<uint8_t>> filesIn(const std::string& dir) {
  std::map<std::string, std::vector<uint8_t>> files;
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
std::map<std::string, std::vector<uint8_t>> expectedFiles(const KelvoraCalibration& c) {
  const uint32_t pixels = c.calibrationROI[2] * c.calibrationROI[3];
  std::map<std::string, std::vector<uint8_t>> files;
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

void expectSameFiles(const std::map<std::string, std::vector<uint8_t>>& actual,
                     const std::map<std::string, std::vector<uint8_t>>& expected) {
  std::vector<std::string> actualNames, expectedNames;
  for (const auto& kv : actual) actualNames.push_back(kv.first);
  for (const auto& kv : expected) expectedNames.push_back(kv.first);
  ASSERT_EQ(actualNames, expectedNames);
  for (const auto& kv : expected) {
    EXPECT_EQ(actual.at(kv.first).size(), kv.second.size()) << kv.first;
    EXPECT_TRUE(actual.at(kv.first) == kv.second) << kv.first;
  }
}

class CalibrationExport : public testing::ExportDirectoryTest {};

TEST_F(CalibrationExport, LegacyReadWritesEveryFieldFile) {
  CalibrationPtr original = testing::makeSensorCalibration();
  synth::LegacyWriterOptions options;
  options.fpnOffset = testing::kLegacyFpnOffset;  // negative FPN values export as 0
  options.fpnStep = testing::kLegacyFpnStep;
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*original, options);
  CalibrationPtr c(allocateCalibration(38528));
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(ovani_readLegacyCalibration(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
            status::kSuccess);
  ::testing::internal::GetCapturedStdout();

  const auto files = filesIn(dir());
  EXPECT_EQ(files.size(), 30u);
  // Sizes as the file table gives them for 224 x 172 pixels.
  const std::map<std::string, size_t> sizes = {{"calib_CalibrationROI.bin", 16},
                                               {"calib_date.bin", 19},
                                               {"calib_serial.bin", 9},
                                               {"calib_SensorSerial.bin", 19},
                                               {"calib_version.bin", 2},
                                               {"calib_type.bin", 2},
                                               {"calib_directions.bin", 231168},
                                               {"calib_lensparam.bin", 36},
                                               {"calib_mask.bin", 38528},
                                               {"calib_fpn.bin", 77056},
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

TEST_F(CalibrationExport, FrequencyCountDecidesThePerFrequencyFiles) {
  for (uint8_t frequencies : {0, 1, 3}) {
    SCOPED_TRACE(static_cast<int>(frequencies));
    std::filesystem::remove_all(dir());
    CalibrationPtr c = testing::makeHandBuiltCalibration(5, 4, frequencies);
    c->directions = static_cast<float*>(std::calloc(60, sizeof(float)));
    for (uint32_t i = 0; i < 60; ++i) c->directions[i] = -1.0f + static_cast<float>(i) / 30.0f;
    c->fpn[0] = 4095.9f;  // largest value below the 16-bit range
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(ovaniCustomCalibrationSave(c.get()));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "calibrationSaveDir = " + dir() + "\n");
    const auto files = filesIn(dir());
    EXPECT_EQ(files.size(), 10u + 6u * frequencies + (frequencies > 1 ? 4u * frequencies : 0u));
    expectSameFiles(files, expectedFiles(*c));
  }
}

TEST_F(CalibrationExport, FailedFilesDoNotStopTheOthers) {
  CalibrationPtr c = testing::makeHandBuiltCalibration(3, 2, 2);
  // No directions: that one file fails, the rest are written.
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(ovaniCustomCalibrationSave(c.get()));
  ::testing::internal::GetCapturedStdout();
  const auto files = filesIn(dir());
  EXPECT_EQ(files.size(), 29u);
  EXPECT_EQ(files.count("calib_directions.bin"), 0u);
  expectSameFiles(files, expectedFiles(*c));
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
  const auto files = filesIn(dir());
  EXPECT_EQ(files.at("calib_probe.bin"), (std::vector<uint8_t>{0x34, 0x12}));
  const std::string appendPath = dir() + "/append.bin";
  EXPECT_TRUE(zyn_saveArrayToFile(appendPath.c_str(), 1, second, std::ios::binary));
  EXPECT_TRUE(zyn_saveArrayToFile(appendPath.c_str(), 1, second, std::ios::binary | std::ios::app));
  EXPECT_EQ(filesIn(dir()).at("append.bin").size(), 4u);
}

}  // namespace
}  // namespace kelvora
