#pragma once
// Shared set-up of the calibration tests: synthetic records, readers run on
// exact-length heap copies (so that a read past the end is caught by the
// address sanitizer), the field-by-field record comparison of the round
// trips, and a scratch export directory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "calibration/CalibrationExport.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvDrevantTable.hpp"
#include "common/CoreFixtures.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::testing {

inline CalibrationPtr freshRecord(uint32_t pixels) {
  return CalibrationPtr(allocateCalibration(pixels));
}

inline CalibrationPtr syntheticRecord(uint32_t width, uint32_t height,
                                      std::vector<uint32_t> frequencies = {80320000u, 60240000u},
                                      bool strayLight = false, uint32_t seed = 1) {
  synth::SyntheticCalibrationOptions o;
  o.width = width;
  o.height = height;
  o.frequencies = std::move(frequencies);
  o.strayLight = strayLight;
  o.maskedFraction = 0.3f;
  o.seed = seed;
  return CalibrationPtr(synth::makeSyntheticCalibration(o));
}

// reader(data, size, record) on an exact-length heap copy of the first
// `length` bytes of `blob`, with what it prints on stdout swallowed.
template <class Reader>
uint32_t readExactCopy(const std::vector<uint8_t>& blob, size_t length, KelvoraCalibration* record,
                       Reader reader) {
  std::unique_ptr<uint8_t[]> copy(new uint8_t[length + 1]);
  std::memcpy(copy.get(), blob.data(), length);
  ::testing::internal::CaptureStdout();
  const uint32_t s = reader(copy.get(), static_cast<uint32_t>(length), record);
  ::testing::internal::GetCapturedStdout();
  return s;
}

template <class T>
std::vector<T> valuesOf(const T* p, size_t n) {
  return std::vector<T>(p, p + n);
}

// What a format stores apart from what all of them store without loss.
struct RecordParts {
  bool date = true;
  bool wigglingOffsets = true;
  bool amplitudeModel = true;
};

// Texts, region, lens, mask and per frequency the modulation, temperature,
// noise and wiggling terms, compared bit for bit.
inline void expectSameRecord(const KelvoraCalibration& got, const KelvoraCalibration& want,
                             RecordParts parts = {}) {
  if (parts.date) {
    EXPECT_STREQ(got.date, want.date);
  }
  EXPECT_STREQ(got.serial, want.serial);
  EXPECT_STREQ(got.sensorSerial, want.sensorSerial);
  const uint32_t pixels = want.calibrationROI[2] * want.calibrationROI[3];
  EXPECT_EQ(valuesOf(got.calibrationROI, 4), valuesOf(want.calibrationROI, 4));
  EXPECT_EQ(0, std::memcmp(got.lensParameters, want.lensParameters, 9 * sizeof(float)));
  EXPECT_EQ(valuesOf(got.mask, pixels), valuesOf(want.mask, pixels));
  ASSERT_EQ(got.frequencyCount, want.frequencyCount);
  for (uint32_t f = 0; f < want.frequencyCount; ++f) {
    SCOPED_TRACE("frequency " + std::to_string(f));
    const KelvoraCalibrationFrequency& a = got.frequencies[f];
    const KelvoraCalibrationFrequency& b = want.frequencies[f];
    EXPECT_EQ(a.modulationFrequency, b.modulationFrequency);
    ASSERT_EQ(a.tempCompensationCount, b.tempCompensationCount);
    EXPECT_EQ(valuesOf(a.tempCompensation, b.tempCompensationCount),
              valuesOf(b.tempCompensation, b.tempCompensationCount));
    EXPECT_EQ(valuesOf(a.noiseParameters, 4), valuesOf(b.noiseParameters, 4));
    for (int m = 0; m < (parts.amplitudeModel ? 2 : 1); ++m) {
      const KelvoraWiggling& g = m == 0 ? a.phaseWiggling : a.amplitudeWiggling;
      const KelvoraWiggling& w = m == 0 ? b.phaseWiggling : b.amplitudeWiggling;
      ASSERT_EQ(g.count, w.count) << "model " << m;
      if (parts.wigglingOffsets) {
        EXPECT_EQ(g.offset, w.offset) << "model " << m;
      }
      EXPECT_EQ(valuesOf(g.amplitude, w.count), valuesOf(w.amplitude, w.count)) << "model " << m;
      EXPECT_EQ(valuesOf(g.harmonic, w.count), valuesOf(w.harmonic, w.count)) << "model " << m;
      EXPECT_EQ(valuesOf(g.phase, w.count), valuesOf(w.phase, w.count)) << "model " << m;
    }
  }
}

// The block-format reader on `blob` with the format's own table, for a
// record made for `pixels` pixels.
inline QvReadResult readDirect(const std::vector<uint8_t>& blob, KelvoraCalibration* record,
                               uint32_t pixels) {
  return kelvora_readQVCalibration(blob.data(), static_cast<uint32_t>(blob.size()), record,
                                   kelvora_createDrevantTable(record, pixels));
}

inline synth::BlockSpec block(uint8_t id, uint8_t type, std::vector<uint32_t> integers,
                              std::vector<float> floats = {}, uint8_t bits = 0) {
  synth::BlockSpec b;
  b.id = id;
  b.type = type;
  b.integers = std::move(integers);
  b.floats = std::move(floats);
  b.bits = bits;
  return b;
}

// Points calibrationSaveDir at a directory below the test temp dir that
// does not exist yet, so the export has to make it.
class ExportDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = std::filesystem::path(::testing::TempDir()) /
            ("kelvora_export_" +
             std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    std::filesystem::remove_all(root_);
    dir_ = (root_ / "nested" / "out").string();
    calibrationSaveDir = dir_.c_str();
  }
  void TearDown() override {
    calibrationSaveDir = nullptr;
    std::filesystem::remove_all(root_);
  }
  const std::string& dir() const { return dir_; }

 private:
  std::filesystem::path root_;
  std::string dir_;
};

}  // namespace kelvora::testing
