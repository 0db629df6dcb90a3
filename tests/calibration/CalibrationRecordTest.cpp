// The calibration record's defaults and its field access codes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "calibration/KelvoraCalibration.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

struct RecordDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using RecordPtr = std::unique_ptr<KelvoraCalibration, RecordDeleter>;

RecordPtr freshRecord(uint32_t pixels = 12) {
  return RecordPtr(allocateCalibration(pixels));
}

TEST(CalibrationRecord, DefaultsOfAFreshRecord) {
  RecordPtr c = freshRecord();
  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 2);
  EXPECT_EQ(c->auxBytesSize, 32);
  for (int i = 0; i < 32; ++i) EXPECT_EQ(c->auxBytes[i], 0);
  for (uint32_t i = 0; i < kCalibrationTextCapacity; ++i) {
    EXPECT_EQ(c->serial[i], 0);
    EXPECT_EQ(c->sensorSerial[i], 0);
  }
  EXPECT_EQ(c->directions, nullptr);
  EXPECT_EQ(c->psf, nullptr);
  EXPECT_EQ(c->lensParameterCount, 9);
  EXPECT_EQ(c->auxValues[0], 0xFFFF);
  EXPECT_EQ(c->auxValues[1], 0xFFFF);
  for (float v : {c->psfScale, c->psfExponent, c->psfOffset, c->psfCentre}) {
    EXPECT_TRUE(std::isnan(v));
  }
  for (int i = 0; i < 14; ++i) {
    EXPECT_TRUE(std::isnan(c->psfRadii[i]));
    EXPECT_TRUE(std::isnan(c->psfValues[i]));
  }
  EXPECT_EQ(c->psfWidth, 0xFFFFFFFFu);
  EXPECT_EQ(c->psfHeight, 0xFFFFFFFFu);
  EXPECT_EQ(c->psfPointCount, 0);
  EXPECT_EQ(c->formatFlag, 1);
  EXPECT_EQ(c->frequencyCount, 5);
  EXPECT_EQ(c->customFieldCount, 5);
  EXPECT_EQ(c->firstCustomFieldId, 0xFF);
  for (uint32_t i = 0; i < kCalibrationCustomFieldCapacity; ++i) {
    EXPECT_EQ(c->customFields[i].data, nullptr);
    EXPECT_EQ(c->customFields[i].size, 0);
  }
  for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
    const KelvoraCalibrationFrequency& fr = c->frequencies[f];
    EXPECT_NE(fr.fppn, nullptr);
    EXPECT_EQ(fr.tempCompensationCount, 4);
    EXPECT_EQ(fr.noiseParameterCount, 4);
    EXPECT_TRUE(std::isnan(fr.frequencyScalar));
    EXPECT_EQ(fr.phaseWiggling.count, 5);
    EXPECT_EQ(fr.amplitudeWiggling.count, 5);
    EXPECT_NE(fr.phaseWiggling.harmonic, nullptr);
    EXPECT_NE(fr.amplitudeWiggling.phase, nullptr);
  }
}

TEST(CalibrationRecord, ValidityMarkers) {
  EXPECT_TRUE(kelvora_validUnit16Field(0));
  EXPECT_TRUE(kelvora_validUnit16Field(0xFFFE));
  EXPECT_FALSE(kelvora_validUnit16Field(0xFFFF));
  EXPECT_TRUE(kelvora_validFloatField(0.f));
  EXPECT_TRUE(kelvora_validFloatField(INFINITY));
  EXPECT_FALSE(kelvora_validFloatField(NAN));
  EXPECT_FALSE(kelvora_validFloatField(-NAN));
}

struct SizeCase {
  const char* name;
  void (*prepare)(KelvoraCalibration&);
  int32_t field;
  uint32_t expected;
};

void nothing(KelvoraCalibration&) {}
void versionTwo(KelvoraCalibration& c) {
  c.version = 2;
}
void serialAbc(KelvoraCalibration& c) {
  std::strcpy(c.serial, "ABC");
}
void sensorSerial(KelvoraCalibration& c) {
  std::strcpy(c.sensorSerial, "S-42");
}
void oneAuxByte(KelvoraCalibration& c) {
  c.auxBytes[31] = 7;
}
void auxSizeZero(KelvoraCalibration& c) {
  c.auxBytes[0] = 7;
  c.auxBytesSize = 0;
}
void secondAuxValue(KelvoraCalibration& c) {
  c.auxValues[1] = 0;
}
void noLens(KelvoraCalibration& c) {
  c.lensParameterCount = 0;
}
void customRange(KelvoraCalibration& c) {
  c.firstCustomFieldId = 10;
  c.customFieldCount = 3;
  c.customFields[0].size = 12;  // data stays null
  c.customFields[1].size = 0;
  c.customFields[2].size = 3;
  c.customFields[2].data = std::malloc(3);
  std::memcpy(c.customFields[2].data, "xyz", 3);
}

class FieldSize : public ::testing::TestWithParam<SizeCase> {};

TEST_P(FieldSize, ReportsSizeOrCode) {
  RecordPtr c = freshRecord();
  GetParam().prepare(*c);
  EXPECT_EQ(kelvora_getFieldSize(GetParam().field, c.get()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, FieldSize,
    ::testing::Values(SizeCase{"lens", nothing, 0, 36}, SizeCase{"lensEmpty", noLens, 0, 0},
                      SizeCase{"serialEmpty", nothing, 1, status::kEmpty},
                      SizeCase{"serialSet", serialAbc, 1, 4},
                      SizeCase{"sensorEmpty", nothing, 2, status::kEmpty},
                      SizeCase{"sensorSet", sensorSerial, 2, 5}, SizeCase{"roi", nothing, 3, 16},
                      SizeCase{"auxBytesZero", nothing, 4, status::kEmpty},
                      SizeCase{"auxBytesSet", oneAuxByte, 4, 32},
                      SizeCase{"auxBytesSizeZero", auxSizeZero, 4, status::kEmpty},
                      SizeCase{"auxValuesUnset", nothing, 5, status::kEmpty},
                      SizeCase{"auxValuesOne", secondAuxValue, 5, 4},
                      SizeCase{"noCustomIds", nothing, 6, status::kUnknownField},
                      SizeCase{"id255", nothing, 255, status::kUnknownField},
                      SizeCase{"negative", nothing, -1, status::kUnknownField},
                      SizeCase{"versionTwo", versionTwo, 3, status::kInvalidRecord},
                      SizeCase{"customNoData", customRange, 10, 12},
                      SizeCase{"customSizeZero", customRange, 11, 0},
                      SizeCase{"customData", customRange, 12, 3},
                      SizeCase{"pastCustom", customRange, 13, status::kUnknownField},
                      SizeCase{"belowCustom", customRange, 9, status::kUnknownField}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(FieldAccess, CopiesExactlyTheReportedBytes) {
  RecordPtr c = freshRecord();
  serialAbc(*c);
  for (uint32_t i = 0; i < 4; ++i) c->calibrationROI[i] = 100 + i;
  for (int i = 0; i < 9; ++i) c->lensParameters[i] = 0.5f * static_cast<float>(i);
  c->auxValues[0] = 17;

  std::vector<unsigned char> out(64, 0xAB);
  ASSERT_EQ(kelvora_getField(1, c.get(), out.data()), 0u);
  EXPECT_STREQ(reinterpret_cast<char*>(out.data()), "ABC");
  EXPECT_EQ(out[4], 0xAB);  // nothing past the terminator

  ASSERT_EQ(kelvora_getField(3, c.get(), out.data()), 0u);
  uint32_t roi[4];
  std::memcpy(roi, out.data(), sizeof roi);
  EXPECT_EQ(roi[2], 102u);
  EXPECT_EQ(out[16], 0xAB);

  ASSERT_EQ(kelvora_getField(0, c.get(), out.data()), 0u);
  float lens[9];
  std::memcpy(lens, out.data(), sizeof lens);
  EXPECT_EQ(lens[8], 4.0f);

  ASSERT_EQ(kelvora_getField(5, c.get(), out.data()), 0u);
  uint16_t aux[2];
  std::memcpy(aux, out.data(), sizeof aux);
  EXPECT_EQ(aux[0], 17);
  EXPECT_EQ(aux[1], 0xFFFF);
}

TEST(FieldAccess, FailuresLeaveDestinationAndRecordAlone) {
  RecordPtr c = freshRecord();
  customRange(*c);
  std::vector<unsigned char> out(16, 0xAB);
  EXPECT_EQ(kelvora_getField(10, c.get(), out.data()), status::kNoData);
  EXPECT_EQ(kelvora_getField(11, c.get(), out.data()), status::kSuccess);
  EXPECT_EQ(kelvora_getField(1, c.get(), out.data()), status::kEmpty);
  EXPECT_EQ(kelvora_getField(6, c.get(), out.data()), status::kUnknownField);
  EXPECT_EQ(out, std::vector<unsigned char>(16, 0xAB));
  ASSERT_EQ(kelvora_getField(12, c.get(), out.data()), status::kSuccess);
  EXPECT_EQ(std::memcmp(out.data(), "xyz", 3), 0);

  c->version = 2;
  EXPECT_EQ(kelvora_getField(12, c.get(), out.data()), status::kInvalidRecord);
  EXPECT_EQ(kelvora_getField(0, nullptr, out.data()), status::kInvalidRecord);
  EXPECT_EQ(kelvora_getFieldSize(0, nullptr), status::kInvalidRecord);
}

TEST(CalibrationRecord, FreeAcceptsNullAndReleasesEveryBuffer) {
  kelvora_freeCalibration(nullptr);
  // Under LeakSanitizer a leak in any of these cycles fails the run.
  for (uint32_t pixels : {0u, 1u, 38528u}) {
    KelvoraCalibration* c = allocateCalibration(pixels);
    c->directions = static_cast<float*>(std::malloc(12));
    c->psf = static_cast<float*>(std::malloc(12));
    c->customFields[4].data = std::malloc(5);
    kelvora_freeCalibration(c);
  }
}

}  // namespace
}  // namespace kelvora
