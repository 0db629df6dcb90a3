// The calibration record's defaults and field access codes, and the rules of
// the handler registry that hands blobs to the readers. Which reader takes a
// blob of each format, in the registry's order, is pinned by the bad-input
// table and the engine tests.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
using testing::freshRecord;

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

// Every field has a defined value before a reader runs: the markers of
// unset values, and zero for what has none. The record is made right after a
// dirtied one was freed, so heap blocks handed out again uncleared would show.
TEST(CalibrationRecord, EveryFieldOfAFreshRecordIsDefined) {
  KelvoraCalibration* dirty = allocateCalibration(12);
  for (auto [p, size] : readerBuffers(dirty, 12)) std::memset(p, 0xA5, size);
  kelvora_freeCalibration(dirty);
  CalibrationPtr c = freshRecord(12);
  for (auto [p, size] : readerBuffers(c.get(), 12)) {
    EXPECT_EQ(testing::valuesOf(static_cast<const uint8_t*>(p), size), std::vector<uint8_t>(size));
  }
  EXPECT_TRUE(c->directions == nullptr && c->psf == nullptr && c->customFields[4].data == nullptr);
  for (float v : {c->psfScale, c->psfExponent, c->psfOffset, c->psfCentre, c->psfRadii[13],
                  c->psfValues[0], c->frequencies[4].frequencyScalar}) {
    EXPECT_TRUE(std::isnan(v));
  }
  EXPECT_EQ((std::vector<uint32_t>{c->psfWidth, c->psfPointCount, c->frequencyCount,
                                   c->frequencies[4].phaseWiggling.count}),
            (std::vector<uint32_t>{0xFFFFFFFFu, 0, 5, 5}));
  kelvora_freeCalibration(nullptr);
}

// A record as a reader leaves it: texts, one aux byte and value set, and
// custom fields 10 (size but no data), 11 (empty) and 12 ("xyz").
CalibrationPtr filledRecord() {
  CalibrationPtr c = freshRecord(12);
  std::strcpy(c->serial, "ABC");
  std::strcpy(c->sensorSerial, "S-42");
  for (uint32_t i = 0; i < 4; ++i) c->calibrationROI[i] = 100 + i;
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
  CalibrationPtr fresh = freshRecord(12);
  CalibrationPtr filled = filledRecord();
  constexpr uint32_t kEmpty = status::kEmpty, kUnknown = status::kUnknownField;
  const int32_t field[] = {0, 1, 2, 3, 4, 5, 6, 9, 10, 11, 12, 13, -1};
  const uint32_t sizeFresh[] = {36,       kEmpty,   kEmpty,   16,       kEmpty,   kEmpty,  kUnknown,
                                kUnknown, kUnknown, kUnknown, kUnknown, kUnknown, kUnknown};
  const uint32_t sizeFilled[] = {36,       4,  5, 16, 32,       4,       kUnknown,
                                 kUnknown, 12, 0, 3,  kUnknown, kUnknown};
  for (size_t i = 0; i < std::size(field); ++i) {
    EXPECT_EQ(kelvora_getFieldSize(field[i], fresh.get()), sizeFresh[i]) << field[i];
    EXPECT_EQ(kelvora_getFieldSize(field[i], filled.get()), sizeFilled[i]) << field[i];
  }
  // The counts decide, not the contents.
  filled->lensParameterCount = 0;
  EXPECT_EQ(kelvora_getFieldSize(0, filled.get()), 0u);
  filled->auxBytesSize = 0;
  EXPECT_EQ(kelvora_getFieldSize(4, filled.get()), kEmpty);

  // kelvora_getField copies exactly the reported bytes, or nothing.
  std::vector<unsigned char> out(64, 0xAB);
  ASSERT_EQ(kelvora_getField(1, filled.get(), out.data()), 0u);
  EXPECT_EQ(testing::valuesOf(out.data(), 5), (std::vector<unsigned char>{'A', 'B', 'C', 0, 0xAB}));
  ASSERT_EQ(kelvora_getField(5, filled.get(), out.data()), 0u);
  EXPECT_EQ(testing::valuesOf(out.data(), 5),
            (std::vector<unsigned char>{17, 0, 0xFF, 0xFF, 0xAB}));  // little-endian host
  ASSERT_EQ(kelvora_getField(12, filled.get(), out.data()), status::kSuccess);
  EXPECT_EQ(std::memcmp(out.data(), "xyz", 3), 0);
  std::fill(out.begin(), out.end(), 0xAB);
  EXPECT_EQ(kelvora_getField(10, filled.get(), out.data()), status::kNoData);
  EXPECT_EQ(kelvora_getField(11, filled.get(), out.data()), status::kSuccess);
  EXPECT_EQ(kelvora_getField(2, fresh.get(), out.data()), status::kEmpty);
  EXPECT_EQ(kelvora_getField(6, filled.get(), out.data()), status::kUnknownField);
  EXPECT_EQ(kelvora_getField(0, nullptr, out.data()), status::kInvalidRecord);
  filled->version = 2;
  EXPECT_EQ(kelvora_getField(12, filled.get(), out.data()), status::kInvalidRecord);
  EXPECT_EQ(kelvora_getFieldSize(3, filled.get()), status::kInvalidRecord);
  EXPECT_EQ(out, std::vector<unsigned char>(64, 0xAB));
}

// ---------------------------------------------------------------------------
// Handler registry.

// A sentinel that a failed read must leave in place.
KelvoraCalibration* const kUntouched = reinterpret_cast<KelvoraCalibration*>(0x10);

// A root header dimension of 0 gives no pixels; the out pointer stays.
TEST(Registry, ZeroPixelsAreRefused) {
  std::vector<uint8_t> blob =
      synth::writeContainerCalibration(*testing::syntheticRecord(20, 10), {});
  blob[14] = blob[15] = blob[16] = blob[17] = 0;
  KelvoraCalibration* out = kUntouched;
  EXPECT_EQ(kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &out),
            status::kInvalidValue);
  EXPECT_EQ(out, kUntouched);
}

// A stand-in handler in front of the built-in ones answers every blob with
// a chosen read result: only the warning hands the record over.
uint32_t g_fakeReadResult = 0;

TEST(Registry, OnlyTheWarningHandsAFailedRecordOver) {
  kelvora_autoRegisterHandlers();
  const KelvoraCalibrationHandler saved = g_handlers[0];
  g_handlers[0] = {[](const uint8_t*, uint32_t) { return int32_t{1}; },
                   [](const uint8_t*, uint32_t, KelvoraCalibration* c) {
                     c->calibrationROI[2] = c->calibrationROI[3] = 2;
                     return g_fakeReadResult;
                   },
                   nullptr,
                   nullptr,
                   [] { return 99u; },
                   [](const uint8_t*, uint32_t) { return 4; }};
  const uint8_t byte = 1;
  KelvoraCalibration* out = kUntouched;
  for (uint32_t code : {status::kUnsupported, status::kEmpty, status::kWarning}) {
    g_fakeReadResult = code;
    EXPECT_EQ(kelvora_readCalibration(&byte, 1, &out), code);  // LSan: nothing leaked
    EXPECT_EQ(out != kUntouched, code == status::kWarning);
  }
  g_handlers[0] = saved;
  CalibrationPtr c(out != kUntouched ? out : nullptr);
  EXPECT_TRUE(c && c->calibrationROI[2] == 2u);
}

}  // namespace
}  // namespace kelvora
