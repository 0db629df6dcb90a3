#pragma once
// Shared setup of the legacy reader and export tests: a 224 x 172 record and a
// scratch export directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "HandBuiltCalibration.hpp"
#include "calibration/CalibrationExport.hpp"

namespace kelvora::testing {

constexpr uint32_t kSensorWidth = 224;
constexpr uint32_t kSensorHeight = 172;

inline CalibrationPtr makeSensorCalibration() {
  CalibrationPtr c = makeHandBuiltCalibration(kSensorWidth, kSensorHeight, 2);
  c->calibrationROI[0] = 3;
  c->calibrationROI[1] = 0xFFFFFFFEu;  // stored as int16 -2
  return c;
}

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
