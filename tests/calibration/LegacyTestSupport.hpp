#pragma once
// Shared setup of the legacy reader and export tests: a 224 x 172 record and a
// scratch export directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "HandBuiltCalibration.hpp"
#include "calibration/CalibrationExport.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::testing {

constexpr uint32_t kSensorWidth = 224;
constexpr uint32_t kSensorHeight = 172;

// The synthetic module calibration of the 224 x 172 sensor with two
// frequencies, made to fit the legacy layout: it always stores four phase
// wiggling terms (the synthetic model has three) and a region origin.
inline CalibrationPtr makeSensorCalibration() {
  synth::SyntheticCalibrationOptions options;
  options.width = kSensorWidth;
  options.height = kSensorHeight;
  options.frequencies = {80320000u, 60240000u};
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

}  // namespace kelvora::testing
