// The calibration record's defaults, and the rules of
// the handler registry that hands blobs to the readers. Which reader takes a
// blob of each format, in the registry's order, is pinned by the bad-input
// table and the engine tests.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"

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
}

// ---------------------------------------------------------------------------
// Handler registry.

// A sentinel that a failed read must leave in place.
KelvoraCalibration* const kUntouched = reinterpret_cast<KelvoraCalibration*>(0x10);

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
