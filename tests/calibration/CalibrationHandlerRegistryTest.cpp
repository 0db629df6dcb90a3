// Which reader a blob goes to, and what the registry hands back.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "calibration/CalibrationExport.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"
#include "common/CoreFixtures.hpp"
#include "core/StatusCodes.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

constexpr uint32_t kLegacyPixels = 224 * 172;

std::vector<uint8_t> containerBlob(uint32_t w, uint32_t h, std::vector<uint32_t> freqs) {
  synth::SyntheticCalibrationOptions o;
  o.width = w;
  o.height = h;
  o.frequencies = std::move(freqs);
  CalibrationPtr c(synth::makeSyntheticCalibration(o));
  return synth::writeContainerCalibration(*c, {});
}

// A sentinel that a failed read must leave in place.
KelvoraCalibration* const kUntouched = reinterpret_cast<KelvoraCalibration*>(0x10);

class Registry : public ::testing::Test {
 protected:
  void SetUp() override {
    saveDir_ =
        (std::filesystem::temp_directory_path() /
         ("kelvora-registry-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed())))
            .string();
    calibrationSaveDir = saveDir_.c_str();
  }
  void TearDown() override {
    calibrationSaveDir = nullptr;
    std::filesystem::remove_all(saveDir_);
  }
  std::string saveDir_;
};

TEST_F(Registry, RegistersTheThreeHandlersOnceInTheirOrder) {
  for (int i = 0; i < 5; ++i) {
    kelvora_autoRegisterHandlers();
    const uint8_t byte = 0;
    kelvora_dispatchGetNumPixels(&byte, 1);
  }
  ASSERT_EQ(g_registeredHandlers, 3);
  EXPECT_NE(g_autoRegisteredHandlers, 0);
  EXPECT_EQ(g_handlers[0].getCalibrationType(), 2u);
  EXPECT_EQ(g_handlers[1].getCalibrationType(), 1u);
  EXPECT_EQ(g_handlers[2].getCalibrationType(), 3u);
  EXPECT_EQ(g_handlers[0].readCustomFields, nullptr);
  EXPECT_NE(g_handlers[0].calcPsfAndDirections, nullptr);
  EXPECT_EQ(g_handlers[1].calcPsfAndDirections, nullptr);
  EXPECT_NE(g_handlers[2].readCustomFields, nullptr);
}

TEST_F(Registry, ContainerBlobBecomesARecordWithDirections) {
  const std::vector<uint8_t> blob = containerBlob(20, 10, {80320000, 60240000});
  EXPECT_EQ(kelvora_dispatchGetNumPixels(blob.data(), static_cast<uint32_t>(blob.size())), 200);
  KelvoraCalibration* out = kUntouched;
  ASSERT_EQ(kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &out), 0u);
  CalibrationPtr c(out);
  EXPECT_EQ(c->type, 2);
  EXPECT_EQ(c->frequencyCount, 2);
  ASSERT_NE(c->directions, nullptr);
  for (uint32_t i = 0; i < 200; ++i) {
    const float* d = c->directions + 3 * i;
    EXPECT_NEAR(d[0] * d[0] + d[1] * d[1] + d[2] * d[2], 1.0f, 1e-6f);
  }
}

TEST_F(Registry, SixMagicBytesAloneGoToTheLegacyReader) {
  const uint8_t blob[] = {'Z', 'Y', 'N', 'S', 'C', 'L'};
  EXPECT_EQ(kelvora_dispatchGetNumPixels(blob, 6), static_cast<int32_t>(kLegacyPixels));
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(kelvora_readCalibration(blob, 6, &out), status::kStreamTooShort);
  EXPECT_EQ(out, kUntouched);
}

TEST_F(Registry, BlockFormatBlobGoesToTheLegacyReader) {
  synth::SyntheticCalibrationOptions o;
  o.width = 16;
  o.height = 8;
  CalibrationPtr c(synth::makeSyntheticCalibration(o));
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*c);
  ASSERT_EQ(std::memcmp(blob.data(), "ZYNQVF", 6), 0);
  EXPECT_EQ(kelvora_dispatchGetNumPixels(blob.data(), static_cast<uint32_t>(blob.size())),
            static_cast<int32_t>(kLegacyPixels));
  // Whatever the legacy reader makes of these bytes is what the registry says.
  CalibrationPtr scratch(allocateCalibration(kLegacyPixels));
  const uint32_t legacy =
      ovani_readLegacyCalibration(blob.data(), static_cast<uint32_t>(blob.size()), scratch.get());
  EXPECT_NE(legacy, 0u);
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &out), legacy);
  EXPECT_EQ(out, kUntouched);
}

TEST_F(Registry, LegacyBlobIsReadWithItsOwnDirections) {
  synth::SyntheticCalibrationOptions o;  // 224 x 172, the legacy sensor
  CalibrationPtr source(synth::makeSyntheticCalibration(o));
  synth::LegacyWriterOptions w;
  for (auto& f : w.frequency) {
    f.minimum = -0.05f;
    f.maximum = 0.05f;
  }
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*source, w);
  KelvoraCalibration* out = kUntouched;
  ASSERT_EQ(kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &out), 0u);
  CalibrationPtr c(out);
  EXPECT_EQ(c->type, 1);
  EXPECT_EQ(c->frequencyCount, 2);
  EXPECT_EQ(c->frequencies[0].modulationFrequency, 80320000u);
  ASSERT_NE(c->directions, nullptr);
  EXPECT_TRUE(std::filesystem::exists(saveDir_ + "/calib_CalibrationROI.bin"));
}

TEST_F(Registry, FailingHandlersKeepTheirCodesAndTheOutPointer) {
  std::vector<uint8_t> blob = containerBlob(8, 4, {80320000});
  blob[10] = 0;  // frequency count 0 of the root header
  blob[11] = 0;
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &out),
            status::kUnsupported);
  EXPECT_EQ(out, kUntouched);

  blob = containerBlob(8, 4, {80320000});
  blob[14] = blob[15] = blob[16] = blob[17] = 0;  // a dimension of 0
  EXPECT_EQ(kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &out),
            status::kInvalidValue)
      << "a pixel count of 0";
  EXPECT_EQ(out, kUntouched);
}

// A stand-in handler that answers every blob with a chosen read result, put
// in front of the built-in ones for one test and removed again.
uint32_t g_fakeReadResult = 0;
int32_t fakeSupports(const uint8_t*, uint32_t) {
  return 1;
}
uint32_t fakeRead(const uint8_t*, uint32_t, KelvoraCalibration* c) {
  c->calibrationROI[0] = c->calibrationROI[1] = 0;
  c->calibrationROI[2] = 2;
  c->calibrationROI[3] = 2;
  return g_fakeReadResult;
}
uint32_t fakeType() {
  return 99;
}
int32_t fakePixels(const uint8_t*, uint32_t) {
  return 4;
}

class RegistryWithFakeHandler : public Registry {
 protected:
  void SetUp() override {
    Registry::SetUp();
    kelvora_autoRegisterHandlers();
    std::memcpy(saved_, g_handlers, sizeof saved_);
    savedCount_ = g_registeredHandlers;
    g_handlers[0] = {fakeSupports, fakeRead, nullptr, nullptr, fakeType, fakePixels};
  }
  void TearDown() override {
    std::memcpy(g_handlers, saved_, sizeof saved_);
    g_registeredHandlers = savedCount_;
    Registry::TearDown();
  }
  KelvoraCalibrationHandler saved_[kMaxCalibrationHandlers];
  int32_t savedCount_ = 0;
};

TEST_F(RegistryWithFakeHandler, WarningHandsTheRecordOver) {
  g_fakeReadResult = status::kWarning;
  const uint8_t byte = 1;
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(kelvora_readCalibration(&byte, 1, &out), status::kWarning);
  ASSERT_NE(out, kUntouched);
  CalibrationPtr c(out);
  EXPECT_EQ(c->calibrationROI[2], 2u);
}

TEST_F(RegistryWithFakeHandler, OtherFailuresFreeTheRecord) {
  for (uint32_t code : {status::kUnsupported, status::kEmpty, status::kSizeMismatch}) {
    g_fakeReadResult = code;
    const uint8_t byte = 1;
    KelvoraCalibration* out = kUntouched;
    EXPECT_EQ(kelvora_readCalibration(&byte, 1, &out), code);  // LSan: nothing leaked
    EXPECT_EQ(out, kUntouched);
  }
}

TEST_F(RegistryWithFakeHandler, NoHandlerAcceptingGivesUnsupported) {
  g_handlers[0].supports = [](const uint8_t*, uint32_t) { return int32_t{0}; };
  g_registeredHandlers = 1;
  const uint8_t byte = 1;
  EXPECT_EQ(kelvora_dispatchGetNumPixels(&byte, 1), static_cast<int32_t>(status::kUnsupported));
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(kelvora_readCalibration(&byte, 1, &out), status::kUnsupported);
  EXPECT_EQ(kelvora_dispatchCalcPsfAndDirections(&byte, 1, nullptr, 4), 0u);
  g_registeredHandlers = 0;
  EXPECT_EQ(kelvora_dispatchReadCalibration(&byte, 1, nullptr), status::kUnsupported);
}

}  // namespace
}  // namespace kelvora
