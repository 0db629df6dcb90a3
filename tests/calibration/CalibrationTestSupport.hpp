#pragma once
// Shared set-up of the calibration tests: records filled by hand or from the
// synthetic model, readers run on exact-length heap copies (so that a read
// past the end is caught by the address sanitizer), record comparisons and a
// scratch export directory.
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

// A record of width x height pixels with `frequencies` frequency records whose
// values vary per pixel and per frequency. Per-pixel floats lie in [lo, hi].
inline CalibrationPtr makeHandBuiltCalibration(uint32_t width, uint32_t height, uint8_t frequencies,
                                               float lo = -0.5f, float hi = 0.75f) {
  const uint32_t pixels = width * height;
  CalibrationPtr c = freshRecord(pixels);
  std::strcpy(c->date, "2023-11-05 14:03:59");
  std::strcpy(c->serial, "SN0042AB7");
  std::strcpy(c->sensorSerial, "IMX-556-000731-REV2");
  const uint32_t roi[4] = {0, 0, width, height};
  std::memcpy(c->calibrationROI, roi, sizeof roi);
  const float lens[9] = {210.5f, 211.25f, 111.75f,  85.5f,  -0.21f,
                         0.043f, 0.0012f, -0.0007f, 0.0009f};
  std::memcpy(c->lensParameters, lens, sizeof lens);
  for (uint32_t i = 0; i < pixels; ++i) {
    c->mask[i] = static_cast<uint8_t>((i * 7 + i / 5) % 3 == 0);
    c->fpn[i] = lo + (hi - lo) * static_cast<float>((i * 37) % 101) / 100.0f;
  }
  c->frequencyCount = frequencies;
  for (uint32_t f = 0; f < frequencies; ++f) {
    KelvoraCalibrationFrequency& fr = c->frequencies[f];
    fr.modulationFrequency = 80320000u - 20080000u * f;
    for (uint32_t i = 0; i < pixels; ++i) {
      fr.fppn[i] = lo + (hi - lo) * static_cast<float>((i * 13 + 29 * f) % 97) / 96.0f;
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

// A synthetic calibration of width x height pixels.
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

// Which parts of a record a format keeps besides the ones all formats keep.
struct RecordParts {
  bool date = true;
  bool wigglingOffsets = true;
  bool amplitudeModel = true;
};

// Compares what the formats store without loss: texts, region, lens, mask
// and per frequency the modulation, temperature, noise and wiggling terms.
inline void expectSameRecord(const KelvoraCalibration& got, const KelvoraCalibration& want,
                             RecordParts parts = {}) {
  if (parts.date) {
    EXPECT_STREQ(got.date, want.date);
  }
  EXPECT_STREQ(got.serial, want.serial);
  EXPECT_STREQ(got.sensorSerial, want.sensorSerial);
  const uint32_t pixels = want.calibrationROI[2] * want.calibrationROI[3];
  EXPECT_EQ(0, std::memcmp(got.calibrationROI, want.calibrationROI, 4 * sizeof(uint32_t)));
  EXPECT_EQ(0, std::memcmp(got.lensParameters, want.lensParameters, 9 * sizeof(float)));
  EXPECT_EQ(0, std::memcmp(got.mask, want.mask, pixels));
  ASSERT_EQ(got.frequencyCount, want.frequencyCount);
  for (uint32_t f = 0; f < want.frequencyCount; ++f) {
    SCOPED_TRACE("frequency " + std::to_string(f));
    const KelvoraCalibrationFrequency& a = got.frequencies[f];
    const KelvoraCalibrationFrequency& b = want.frequencies[f];
    EXPECT_EQ(a.modulationFrequency, b.modulationFrequency);
    ASSERT_EQ(a.tempCompensationCount, b.tempCompensationCount);
    EXPECT_EQ(0, std::memcmp(a.tempCompensation, b.tempCompensation,
                             b.tempCompensationCount * sizeof(float)));
    ASSERT_EQ(a.noiseParameterCount, b.noiseParameterCount);
    EXPECT_EQ(0, std::memcmp(a.noiseParameters, b.noiseParameters, 4 * sizeof(float)));
    for (int m = 0; m < (parts.amplitudeModel ? 2 : 1); ++m) {
      const KelvoraWiggling& g = m == 0 ? a.phaseWiggling : a.amplitudeWiggling;
      const KelvoraWiggling& w = m == 0 ? b.phaseWiggling : b.amplitudeWiggling;
      ASSERT_EQ(g.count, w.count) << "model " << m;
      if (parts.wigglingOffsets) {
        EXPECT_EQ(g.offset, w.offset) << "model " << m;
      }
      for (uint32_t k = 0; k < w.count; ++k) {
        EXPECT_EQ(g.amplitude[k], w.amplitude[k]) << "model " << m << " term " << k;
        EXPECT_EQ(g.harmonic[k], w.harmonic[k]) << "model " << m << " term " << k;
        EXPECT_EQ(g.phase[k], w.phase[k]) << "model " << m << " term " << k;
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Legacy format: a 224 x 172 record and a scratch export directory.

constexpr uint32_t kSensorWidth = 224;
constexpr uint32_t kSensorHeight = 172;
constexpr uint32_t kSensorPixels = kSensorWidth * kSensorHeight;

// The synthetic module calibration of the 224 x 172 sensor with two
// frequencies, made to fit the legacy layout: it always stores four phase
// wiggling terms (the synthetic model has three) and a region origin.
inline CalibrationPtr makeSensorCalibration() {
  synth::SyntheticCalibrationOptions options;
  options.maskedFraction = 0.05f;
  CalibrationPtr c(synth::makeSyntheticCalibration(options));
  for (uint32_t f = 0; f < 2; ++f) {
    KelvoraWiggling& w = c->frequencies[f].phaseWiggling;
    for (uint32_t k = w.count; k < kWigglingCapacity; ++k) {
      w.amplitude[k] = 0.001f * static_cast<float>(k);
      w.harmonic[k] = 2 * k;
      w.phase[k] = 0.25f * static_cast<float>(k);
    }
    w.count = 4;
  }
  c->calibrationROI[0] = 3;
  c->calibrationROI[1] = 0xFFFFFFFEu;  // stored as int16 -2
  return c;
}

// FPN codes 0..7 spanning the synthetic range of -6..6.
constexpr float kLegacyFpnOffset = -6.0f;
constexpr float kLegacyFpnStep = 1.75f;

// Points calibrationSaveDir at a fresh directory below the test temp dir for
// the lifetime of the fixture; the directory itself is not created, so the
// export has to make it.
class ExportDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    root_ = std::filesystem::path(::testing::TempDir()) /
            (std::string("kelvora_export_") + info->test_suite_name() + "_" + info->name());
    std::filesystem::remove_all(root_);
    dir_ = (root_ / "nested" / "out").string();
    previous_ = calibrationSaveDir;
    calibrationSaveDir = dir_.c_str();
  }
  void TearDown() override {
    calibrationSaveDir = previous_;
    std::filesystem::remove_all(root_);
  }
  const std::string& dir() const { return dir_; }

 private:
  std::filesystem::path root_;
  std::string dir_;
  const char* previous_ = nullptr;
};

// ---------------------------------------------------------------------------
// Block format.

// Reads `blob` into `record` (made for `pixels` pixels) with the format's table.
inline QvReadResult readDirect(const std::vector<uint8_t>& blob, KelvoraCalibration* record,
                               uint32_t pixels) {
  return kelvora_readQVCalibration(blob.data(), static_cast<uint32_t>(blob.size()), record,
                                   kelvora_createDrevantTable(record, pixels));
}

inline synth::BlockSpec customBlock(uint8_t id, uint8_t type, std::vector<uint32_t> integers,
                                    std::vector<float> floats = {}, uint8_t bits = 0) {
  synth::BlockSpec b;
  b.id = id;
  b.type = type;
  b.integers = std::move(integers);
  b.floats = std::move(floats);
  b.bits = bits;
  return b;
}

// The custom field's bytes are exactly those of `values`.
template <class T>
void expectCustomField(const KelvoraCustomField& field, const std::vector<T>& values) {
  ASSERT_EQ(field.size, values.size() * sizeof(T));
  ASSERT_NE(field.data, nullptr);
  EXPECT_EQ(0, std::memcmp(field.data, values.data(), field.size));
}

}  // namespace kelvora::testing
