// The calibration record's defaults and field access codes, and the registry
// of calibration handlers that hands blobs to the readers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

CalibrationPtr freshRecord() {
  return testing::freshRecord(12);
}

// Every buffer a reader may fill only in part, with its size in bytes.
std::vector<std::pair<void*, size_t>> readerBuffers(KelvoraCalibration* c, uint32_t pixels) {
  std::vector<std::pair<void*, size_t>> b = {{c->date, kCalibrationTextCapacity},
                                             {c->calibrationROI, 16},
                                             {c->lensParameters, 36},
                                             {c->mask, pixels},
                                             {c->fpn, 4 * pixels}};
  for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
    KelvoraCalibrationFrequency& r = c->frequencies[f];
    b.insert(b.end(), {{r.fppn, 4 * pixels}, {r.tempCompensation, 16}, {r.noiseParameters, 16}});
    for (KelvoraWiggling* w : {&r.phaseWiggling, &r.amplitudeWiggling}) {
      b.insert(b.end(), {{w->amplitude, 20}, {w->harmonic, 20}, {w->phase, 20}});
    }
  }
  return b;
}

// Defaults that no reader test or field access code below pins. Whatever has
// no other default is zero; the record is made right after a dirtied one was
// freed, so heap blocks handed out again uncleared would show.
TEST(CalibrationRecord, DefaultsOfAFreshRecord) {
  KelvoraCalibration* dirty = allocateCalibration(12);
  for (auto [p, size] : readerBuffers(dirty, 12)) std::memset(p, 0xA5, size);
  kelvora_freeCalibration(dirty);
  CalibrationPtr c = freshRecord();
  for (auto [p, size] : readerBuffers(c.get(), 12)) {
    const auto* bytes = static_cast<const uint8_t*>(p);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), std::vector<uint8_t>(size, 0));
  }
  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 2);
  EXPECT_EQ(c->directions, nullptr);
  EXPECT_EQ(c->psf, nullptr);
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
  for (uint32_t i = 0; i < kCalibrationCustomFieldCapacity; ++i) {
    EXPECT_EQ(c->customFields[i].data, nullptr);
    EXPECT_EQ(c->customFields[i].size, 0);
  }
  for (uint32_t f = 0; f < kCalibrationFrequencyCapacity; ++f) {
    const KelvoraCalibrationFrequency& fr = c->frequencies[f];
    EXPECT_EQ(fr.modulationFrequency, 0u);
    EXPECT_EQ(fr.tempCompensationCount, 4);
    EXPECT_EQ(fr.noiseParameterCount, 4);
    EXPECT_TRUE(std::isnan(fr.frequencyScalar));
    EXPECT_EQ(fr.phaseWiggling.count, 5);
    EXPECT_EQ(fr.amplitudeWiggling.count, 5);
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

// A record as a reader leaves it: texts, one aux byte and value set, and
// custom fields 10 (size but no data), 11 (empty) and 12 ("xyz").
CalibrationPtr filledRecord() {
  CalibrationPtr c = freshRecord();
  std::strcpy(c->serial, "ABC");
  std::strcpy(c->sensorSerial, "S-42");
  for (uint32_t i = 0; i < 4; ++i) c->calibrationROI[i] = 100 + i;
  for (int i = 0; i < 9; ++i) c->lensParameters[i] = 0.5f * static_cast<float>(i);
  c->auxBytes[31] = 7;
  c->auxValues[0] = 17;
  c->firstCustomFieldId = 10;
  c->customFieldCount = 3;
  c->customFields[0].size = 12;
  c->customFields[2].size = 3;
  c->customFields[2].data = std::malloc(3);
  std::memcpy(c->customFields[2].data, "xyz", 3);
  return c;
}

TEST(FieldAccess, SizeOrCodeOfEveryField) {
  CalibrationPtr fresh = freshRecord();
  CalibrationPtr filled = filledRecord();
  struct Case {
    int32_t field;
    uint32_t fresh, filled;
  };
  constexpr uint32_t kEmpty = status::kEmpty, kUnknown = status::kUnknownField;
  for (const Case& k : {Case{0, 36, 36}, Case{1, kEmpty, 4}, Case{2, kEmpty, 5}, Case{3, 16, 16},
                        Case{4, kEmpty, 32}, Case{5, kEmpty, 4}, Case{6, kUnknown, kUnknown},
                        Case{9, kUnknown, kUnknown}, Case{10, kUnknown, 12}, Case{11, kUnknown, 0},
                        Case{12, kUnknown, 3}, Case{13, kUnknown, kUnknown},
                        Case{255, kUnknown, kUnknown}, Case{-1, kUnknown, kUnknown}}) {
    EXPECT_EQ(kelvora_getFieldSize(k.field, fresh.get()), k.fresh) << k.field;
    EXPECT_EQ(kelvora_getFieldSize(k.field, filled.get()), k.filled) << k.field;
  }
  // The counts decide, not the contents.
  filled->lensParameterCount = 0;
  EXPECT_EQ(kelvora_getFieldSize(0, filled.get()), 0u);
  filled->auxBytesSize = 0;
  EXPECT_EQ(kelvora_getFieldSize(4, filled.get()), kEmpty);
  filled->version = 2;
  EXPECT_EQ(kelvora_getFieldSize(3, filled.get()), status::kInvalidRecord);
  EXPECT_EQ(kelvora_getFieldSize(0, nullptr), status::kInvalidRecord);
}

TEST(FieldAccess, CopiesExactlyTheReportedBytesOrNothing) {
  CalibrationPtr c = filledRecord();
  std::vector<unsigned char> out(64, 0xAB);
  ASSERT_EQ(kelvora_getField(1, c.get(), out.data()), 0u);
  EXPECT_STREQ(reinterpret_cast<char*>(out.data()), "ABC");
  EXPECT_EQ(out[4], 0xAB);  // nothing past the terminator
  ASSERT_EQ(kelvora_getField(3, c.get(), out.data()), 0u);
  EXPECT_EQ(0, std::memcmp(out.data(), c->calibrationROI, 16));
  EXPECT_EQ(out[16], 0xAB);
  ASSERT_EQ(kelvora_getField(0, c.get(), out.data()), 0u);
  EXPECT_EQ(0, std::memcmp(out.data(), c->lensParameters, 36));
  ASSERT_EQ(kelvora_getField(5, c.get(), out.data()), 0u);
  uint16_t aux[2];
  std::memcpy(aux, out.data(), sizeof aux);
  EXPECT_EQ(aux[0], 17);
  EXPECT_EQ(aux[1], 0xFFFF);
  ASSERT_EQ(kelvora_getField(12, c.get(), out.data()), status::kSuccess);
  EXPECT_EQ(std::memcmp(out.data(), "xyz", 3), 0);

  std::fill(out.begin(), out.end(), 0xAB);
  EXPECT_EQ(kelvora_getField(10, c.get(), out.data()), status::kNoData);
  EXPECT_EQ(kelvora_getField(11, c.get(), out.data()), status::kSuccess);
  EXPECT_EQ(kelvora_getField(2, freshRecord().get(), out.data()), status::kEmpty);
  EXPECT_EQ(kelvora_getField(6, c.get(), out.data()), status::kUnknownField);
  EXPECT_EQ(out, std::vector<unsigned char>(64, 0xAB));
  c->version = 2;
  EXPECT_EQ(kelvora_getField(12, c.get(), out.data()), status::kInvalidRecord);
  EXPECT_EQ(kelvora_getField(0, nullptr, out.data()), status::kInvalidRecord);
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

// ---------------------------------------------------------------------------
// Handler registry. Which reader a blob of each format goes to (with the
// codes it returns) is also pinned by the bad-input table and the engine
// tests; these cover the registry's own rules.

// A sentinel that a failed read must leave in place.
KelvoraCalibration* const kUntouched = reinterpret_cast<KelvoraCalibration*>(0x10);

std::vector<uint8_t> containerBlob(uint32_t width, uint32_t height) {
  return synth::writeContainerCalibration(*testing::syntheticRecord(width, height), {});
}

uint32_t readCalibration(const std::vector<uint8_t>& blob, KelvoraCalibration** out) {
  return kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), out);
}

TEST(Registry, RegistersTheThreeHandlersOnceInTheirOrder) {
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

TEST(Registry, ContainerBlobBecomesARecordWithDirections) {
  const std::vector<uint8_t> blob = containerBlob(20, 10);
  EXPECT_EQ(kelvora_dispatchGetNumPixels(blob.data(), static_cast<uint32_t>(blob.size())), 200);
  KelvoraCalibration* out = kUntouched;
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(readCalibration(blob, &out), 0u);
  ::testing::internal::GetCapturedStdout();
  CalibrationPtr c(out);
  EXPECT_EQ(c->type, 2);
  EXPECT_EQ(c->frequencyCount, 2);
  ASSERT_NE(c->directions, nullptr);
  for (uint32_t i = 0; i < 200; ++i) {
    const float* d = c->directions + 3 * i;
    EXPECT_NEAR(d[0] * d[0] + d[1] * d[1] + d[2] * d[2], 1.0f, 1e-6f);
  }
}

TEST(Registry, ZeroPixelsAreRefusedAndKeepTheOutPointer) {
  std::vector<uint8_t> blob = containerBlob(8, 4);
  blob[14] = blob[15] = blob[16] = blob[17] = 0;  // a root header dimension of 0
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(readCalibration(blob, &out), status::kInvalidValue);
  EXPECT_EQ(out, kUntouched);
}

// A stand-in handler that answers every blob with a chosen read result, put
// in front of the built-in ones for one test and removed again.
uint32_t g_fakeReadResult = 0;
uint32_t fakeRead(const uint8_t*, uint32_t, KelvoraCalibration* c) {
  c->calibrationROI[0] = c->calibrationROI[1] = 0;
  c->calibrationROI[2] = 2;
  c->calibrationROI[3] = 2;
  return g_fakeReadResult;
}

class RegistryWithFakeHandler : public ::testing::Test {
 protected:
  void SetUp() override {
    kelvora_autoRegisterHandlers();
    std::memcpy(saved_, g_handlers, sizeof saved_);
    savedCount_ = g_registeredHandlers;
    g_handlers[0] = {[](const uint8_t*, uint32_t) { return int32_t{1}; },
                     fakeRead,
                     nullptr,
                     nullptr,
                     [] { return 99u; },
                     [](const uint8_t*, uint32_t) { return 4; }};
  }
  void TearDown() override {
    std::memcpy(g_handlers, saved_, sizeof saved_);
    g_registeredHandlers = savedCount_;
  }
  KelvoraCalibrationHandler saved_[kMaxCalibrationHandlers];
  int32_t savedCount_ = 0;
  const uint8_t byte_ = 1;
  KelvoraCalibration* out_ = kUntouched;
};

TEST_F(RegistryWithFakeHandler, WarningHandsTheRecordOver) {
  g_fakeReadResult = status::kWarning;
  EXPECT_EQ(kelvora_readCalibration(&byte_, 1, &out_), status::kWarning);
  ASSERT_NE(out_, kUntouched);
  CalibrationPtr c(out_);
  EXPECT_EQ(c->calibrationROI[2], 2u);
}

TEST_F(RegistryWithFakeHandler, OtherFailuresFreeTheRecord) {
  for (uint32_t code : {status::kUnsupported, status::kEmpty, status::kSizeMismatch}) {
    g_fakeReadResult = code;
    EXPECT_EQ(kelvora_readCalibration(&byte_, 1, &out_), code);  // LSan: nothing leaked
    EXPECT_EQ(out_, kUntouched);
  }
}

TEST_F(RegistryWithFakeHandler, NoHandlerAcceptingGivesUnsupported) {
  g_handlers[0].supports = [](const uint8_t*, uint32_t) { return int32_t{0}; };
  g_registeredHandlers = 1;
  EXPECT_EQ(kelvora_dispatchGetNumPixels(&byte_, 1), static_cast<int32_t>(status::kUnsupported));
  EXPECT_EQ(kelvora_readCalibration(&byte_, 1, &out_), status::kUnsupported);
  EXPECT_EQ(kelvora_dispatchCalcPsfAndDirections(&byte_, 1, nullptr, 4), 0u);
  g_registeredHandlers = 0;
  EXPECT_EQ(kelvora_dispatchReadCalibration(&byte_, 1, nullptr), status::kUnsupported);
}

}  // namespace
}  // namespace kelvora
