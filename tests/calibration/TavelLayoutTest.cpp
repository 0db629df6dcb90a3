// The container reader against a blob typed byte by byte from the format's
// layout, so that the reader and the synthetic writer cannot share a mistake.
#include <gtest/gtest.h>

#include <vector>

#include "HandBuiltCalibration.hpp"
#include "calibration/TavelCalibrationReader.hpp"
#include "calibration/TavelDescriptors.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

// 3 x 2 pixels, one frequency.
std::vector<uint8_t> handTypedBlob() {
  std::vector<uint8_t> b = {
      // Root header: magic, unused u32, F = 1, unused u16, dimensions 3 and 2 (big-endian).
      'Z', 'Y', 'N', 'S', 'C', 'L', 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x03, 0x00, 0x00, 0x00, 0x02,
      // Date: code 1, 19 characters.
      0x00, 0x01, '2', '0', '2', '4', '-', '0', '1', '-', '0', '2', ' ', '0', '3', ':', '0', '4',
      ':', '0', '5',
      // Serial: code 1, 9 characters.
      0x00, 0x01, 'S', 'N', '1', '2', '3', '4', '5', '6', '7',
      // Sensor serial: code 1, 19 characters.
      0x00, 0x01, 'S', 'E', 'N', 'S', 'O', 'R', '-', '0', '0', '0', '0', '0', '0', '0', '0', '0',
      '0', '0', '1',
      // ROI {1, 2, 3, 2}: code 8, two little-endian words of 16-bit items.
      0x00, 0x08, 0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x02, 0x00,
      // Mask {1, 0, 1, 1, 0, 0}: code 6, one word of 1-bit items = 0x0D.
      0x00, 0x06, 0x0D, 0x00, 0x00, 0x00,
      // FPN descriptor min 1.0, max 4.0, step 1.0 (2 bits, scale 1), then code 10 and
      // codes {0, 1, 2, 3, 3, 1} packed into 0x000007E4.
      0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x80, 0x40, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x0A, 0xE4,
      0x07, 0x00, 0x00,
      // Lens parameters: code 10, {8, 8, 1, 0.5, 0.25, -1, 0, 0, 2}.
      0x00, 0x0A, 0x00, 0x00, 0x00, 0x41, 0x00, 0x00, 0x00, 0x41, 0x00, 0x00, 0x80, 0x3F, 0x00,
      0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3E, 0x00, 0x00, 0x80, 0xBF, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40,
      // Empty float item.
      0x00, 0x0A,
      // Frequency 0: code 8, 20000000 Hz.
      0x00, 0x08, 0x00, 0x2D, 0x31, 0x01,
      // FPPN descriptor min -1, max 1, step 0 (plain), code 10,
      // {0.5, -0.5, 0.25, 2, -1, 0}.
      0x00, 0x00, 0x80, 0xBF, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x00,
      0x00, 0x00, 0x3F, 0x00, 0x00, 0x00, 0xBF, 0x00, 0x00, 0x80, 0x3E, 0x00, 0x00, 0x00, 0x40,
      0x00, 0x00, 0x80, 0xBF, 0x00, 0x00, 0x00, 0x00,
      // Two temperature coefficients {0.5, 0.25}.
      0x00, 0x00, 0x00, 0x02, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3E,
      // Noise parameters {1, 2, 0.5, 0.25}.
      0x00, 0x0A, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x3F, 0x00,
      0x00, 0x80, 0x3E,
      // Phase wiggling: offset 0.25; one term: amplitude 0.5, harmonic 3, phase -1; footer.
      0x00, 0x0A, 0x00, 0x00, 0x80, 0x3E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x0A, 0x00, 0x00, 0x00,
      0x3F, 0x00, 0x00, 0x00, 0x01, 0x00, 0x08, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,
      0x00, 0x0A, 0x00, 0x00, 0x80, 0xBF, 0x00, 0x00,
      // Frequency footer, then the two closing footers.
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
  return b;
}

// Offsets into handTypedBlob() of items the failure tests alter.
constexpr size_t kFrequencyCountAt = 10;
constexpr size_t kFpnDescriptorAt = 22 + 21 + 11 + 21 + 10 + 6;
constexpr size_t kTempCountAt = kFpnDescriptorAt + 18 + 38 + 2 + 6 + 38;
constexpr size_t kHarmonicCountAt = kTempCountAt + 14 + 18 + 6 + 4 + 6;
constexpr size_t kLastFooterAt = 6;  // counted from the end

uint32_t readHandler(const std::vector<uint8_t>& blob, KelvoraCalibration* record) {
  return testing::readFromExactCopy(blob, static_cast<uint32_t>(blob.size()), record,
                                    kelvora_readTavelHandlerCalibration);
}

TEST(TavelLayout, HandTypedBlobReadsToTheTypedValues) {
  const std::vector<uint8_t> blob = handTypedBlob();
  ASSERT_EQ(kelvora_getTavelNumPixels(blob.data(), static_cast<uint32_t>(blob.size())), 6);
  CalibrationPtr c(allocateCalibration(6));
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(readHandler(blob, c.get()), status::kSuccess);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "enter =====  kelvora_readTavelCalibrationBody ============\n");

  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 2);
  EXPECT_EQ(c->customFieldCount, 0);
  EXPECT_EQ(c->frequencyCount, 1);
  EXPECT_STREQ(c->date, "2024-01-02 03:04:05");
  EXPECT_STREQ(c->serial, "SN1234567");
  EXPECT_STREQ(c->sensorSerial, "SENSOR-000000000001");
  EXPECT_EQ(std::vector<uint32_t>(c->calibrationROI, c->calibrationROI + 4),
            (std::vector<uint32_t>{1, 2, 3, 2}));
  EXPECT_EQ(std::vector<uint8_t>(c->mask, c->mask + 6), (std::vector<uint8_t>{1, 0, 1, 1, 0, 0}));
  EXPECT_EQ(std::vector<float>(c->fpn, c->fpn + 6),
            (std::vector<float>{1.0f, 2.0f, 3.0f, 4.0f, 4.0f, 2.0f}));
  EXPECT_EQ(std::vector<float>(c->lensParameters, c->lensParameters + 9),
            (std::vector<float>{8, 8, 1, 0.5f, 0.25f, -1, 0, 0, 2}));
  const KelvoraCalibrationFrequency& f = c->frequencies[0];
  EXPECT_EQ(f.modulationFrequency, 20000000u);
  EXPECT_EQ(std::vector<float>(f.fppn, f.fppn + 6),
            (std::vector<float>{0.5f, -0.5f, 0.25f, 2.0f, -1.0f, 0.0f}));
  EXPECT_EQ(f.tempCompensationCount, 2);
  EXPECT_EQ(f.tempCompensation[0], 0.5f);
  EXPECT_EQ(f.tempCompensation[1], 0.25f);
  EXPECT_EQ(std::vector<float>(f.noiseParameters, f.noiseParameters + 4),
            (std::vector<float>{1, 2, 0.5f, 0.25f}));
  EXPECT_EQ(f.phaseWiggling.offset, 0.25f);
  EXPECT_EQ(f.phaseWiggling.count, 1);
  EXPECT_EQ(f.phaseWiggling.amplitude[0], 0.5f);
  EXPECT_EQ(f.phaseWiggling.harmonic[0], 3u);
  EXPECT_EQ(f.phaseWiggling.phase[0], -1.0f);
  // One frequency: no amplitude model is read.
  EXPECT_EQ(f.amplitudeWiggling.count, kWigglingCapacity);
}

TEST(TavelLayout, SupportAndPixelCountComeFromTheRootHeader) {
  std::vector<uint8_t> blob = handTypedBlob();
  EXPECT_TRUE(kelvora_supportsTavelCalibration(blob.data(), 7));
  EXPECT_FALSE(kelvora_supportsTavelCalibration(blob.data(), 6));  // magic alone is too short
  blob[2] = 'M';
  EXPECT_FALSE(kelvora_supportsTavelCalibration(blob.data(), static_cast<uint32_t>(blob.size())));
  EXPECT_EQ(static_cast<uint32_t>(kelvora_getTavelNumPixels(blob.data(), 22)),
            status::kUnsupported);
  blob[2] = 'N';
  EXPECT_EQ(static_cast<uint32_t>(kelvora_getTavelNumPixels(blob.data(), 21)),
            status::kStreamTooShort);
  // Dimensions that no blob of this size could describe (a bit per pixel).
  blob[14] = 0x10;
  EXPECT_EQ(static_cast<uint32_t>(
                kelvora_getTavelNumPixels(blob.data(), static_cast<uint32_t>(blob.size()))),
            status::kStreamTooShort);
}

struct Corruption {
  const char* name;
  size_t at;  // from the start, or from the end when fromEnd
  bool fromEnd;
  std::vector<uint8_t> bytes;
  uint32_t expected;
};

class TavelFailure : public ::testing::TestWithParam<Corruption> {};

TEST_P(TavelFailure, ReturnsItsCode) {
  const Corruption& k = GetParam();
  std::vector<uint8_t> blob = handTypedBlob();
  const size_t at = k.fromEnd ? blob.size() - k.at : k.at;
  std::copy(k.bytes.begin(), k.bytes.end(), blob.begin() + static_cast<std::ptrdiff_t>(at));
  CalibrationPtr c(allocateCalibration(6));
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(readHandler(blob, c.get()), k.expected);
  ::testing::internal::GetCapturedStdout();
}

INSTANTIATE_TEST_SUITE_P(
    Codes, TavelFailure,
    ::testing::Values(
        Corruption{"WrongMagic", 0, false, {'z'}, status::kUnsupported},
        Corruption{"NoFrequency", kFrequencyCountAt, false, {0x00, 0x00}, status::kUnsupported},
        Corruption{"FourFrequencies", kFrequencyCountAt, false, {0x00, 0x04}, status::kUnsupported},
        Corruption{"WrongDateCode", 22, false, {0x00, 0x0A}, status::kUnsupported},
        Corruption{
            "WrongMaskCode", kFpnDescriptorAt - 6, false, {0x00, 0x08}, status::kUnsupported},
        // ROI 3 x 3 disagrees with the root header's 3 x 2 pixels.
        Corruption{"RoiAreaDiffers", kFpnDescriptorAt - 8, false, {0x03}, status::kUnsupported},
        // Descriptor minimum 4.0 equal to its maximum.
        Corruption{
            "EmptyRange", kFpnDescriptorAt, false, {0x00, 0x00, 0x80, 0x40}, status::kInvalidValue},
        // Step -1: no width can hold the range.
        Corruption{"NegativeStep",
                   kFpnDescriptorAt + 8,
                   false,
                   {0x00, 0x00, 0x80, 0xBF},
                   status::kInvalidValue},
        Corruption{"FiveTempCoefficients",
                   kTempCountAt,
                   false,
                   {0x00, 0x00, 0x00, 0x05},
                   status::kCapacityExceeded},
        Corruption{"SixWigglingTerms",
                   kHarmonicCountAt - 10,
                   false,
                   {0x00, 0x00, 0x00, 0x06},
                   status::kCapacityExceeded},
        Corruption{"HarmonicCountDiffers",
                   kHarmonicCountAt,
                   false,
                   {0x00, 0x00, 0x00, 0x02},
                   status::kUnsupported},
        Corruption{"NonzeroFooter", kLastFooterAt, true, {0x00, 0x01}, status::kUnsupported},
        Corruption{"NonzeroClosingFooter", 2, true, {0x01, 0x00}, status::kUnsupported}),
    [](const ::testing::TestParamInfo<Corruption>& p) { return p.param.name; });

TEST(TavelLayout, HandlerRefusesBlobsShorterThanSevenBytes) {
  const std::vector<uint8_t> blob = handTypedBlob();
  CalibrationPtr c(allocateCalibration(6));
  EXPECT_EQ(testing::readFromExactCopy(blob, 6, c.get(), kelvora_readTavelHandlerCalibration),
            status::kUnsupported);
}

TEST(TavelLayout, EveryTruncationFailsCleanly) {
  const std::vector<uint8_t> blob = handTypedBlob();
  ::testing::internal::CaptureStdout();
  for (uint32_t length = 0; length < blob.size(); ++length) {
    CalibrationPtr c(allocateCalibration(6));
    const uint32_t s =
        testing::readFromExactCopy(blob, length, c.get(), kelvora_readTavelHandlerCalibration);
    EXPECT_EQ(s, length < 7 ? status::kUnsupported : status::kStreamTooShort)
        << "length " << length;
  }
  ::testing::internal::GetCapturedStdout();
}

TEST(TavelDescriptors, CountChecks) {
  EXPECT_EQ(kelvora_checkTavelNoValues(4, 4), status::kSuccess);
  EXPECT_EQ(kelvora_checkTavelNoValues(5, 4), status::kCapacityExceeded);
  uint8_t count = 9;
  EXPECT_EQ(kelvora_updateTavelWithActualNo(&count, 256), status::kUnsupported);
  EXPECT_EQ(count, 9);
  EXPECT_EQ(kelvora_updateTavelWithActualNo(&count, 255), status::kSuccess);
  EXPECT_EQ(count, 255);
  EXPECT_EQ(kelvora_checkTavelConsistentNoValues(3, 3), status::kSuccess);
  EXPECT_EQ(kelvora_checkTavelConsistentNoValues(3, 4), status::kUnsupported);
}

TEST(TavelDescriptors, IntegralWidths) {
  TavelIntegralDescriptor d{};
  ASSERT_EQ(kelvora_fillTavelIntegralDescriptor(0, 65535, 1, &d), status::kSuccess);
  EXPECT_EQ(d.bitsPerValue, 16u);
  ASSERT_EQ(kelvora_fillTavelIntegralDescriptor(0, 1, 1, &d), status::kSuccess);
  EXPECT_EQ(d.bitsPerValue, 1u);
  ASSERT_EQ(kelvora_fillTavelIntegralDescriptor(10, 40, 3, &d), status::kSuccess);
  EXPECT_EQ(d.bitsPerValue, 4u);  // 31 / 3 = 10.3 levels
  EXPECT_EQ(kelvora_fillTavelIntegralDescriptor(0, 10, 0, &d), status::kInvalidValue);
  EXPECT_EQ(kelvora_fillTavelIntegralDescriptor(5, 5, 1, &d), status::kInvalidValue);
}

TEST(TavelDescriptors, FloatDescriptorNeedsAByteAfterIt) {
  // min 0, max 1, step 0.25 -> 5 levels -> 3 bits, scale 1/7; nothing after it.
  const std::vector<uint8_t> bytes = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80,
                                      0x3F, 0x00, 0x00, 0x80, 0x3E, 0x00};
  TavelFloatDescriptor d{};
  uint32_t position = 0;
  EXPECT_EQ(kelvora_fillTavelFloatDescriptorFromStream(&d, bytes.data(), &position, 12),
            status::kStreamTooShort);
  EXPECT_EQ(position, 0u);
  ASSERT_EQ(kelvora_fillTavelFloatDescriptorFromStream(&d, bytes.data(), &position, 13),
            status::kSuccess);
  EXPECT_EQ(position, 12u);
  EXPECT_EQ(d.bitsPerValue, 3u);
  EXPECT_EQ(d.scale, static_cast<float>(1.0 / 7.0));
  EXPECT_EQ(d.step, 0.25f);
}

TEST(TavelDescriptors, WideRangesAreStoredPlain) {
  // min 0, max 1, step 1e-7: 10^7 levels need 24 bits, so the step becomes 0.
  const std::vector<uint8_t> bytes = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80,
                                      0x3F, 0x95, 0xBF, 0xD6, 0x33, 0x00};
  TavelFloatDescriptor d{};
  uint32_t position = 0;
  ASSERT_EQ(kelvora_fillTavelFloatDescriptorFromStream(&d, bytes.data(), &position, 13),
            status::kSuccess);
  EXPECT_EQ(d.bitsPerValue, 24u);
  EXPECT_EQ(d.step, 0.0f);
}

}  // namespace
}  // namespace kelvora
