// Regression: the legacy writer filled the layout's four phase-wiggling
// slots from a record with three terms, copying the record's never-written
// fourth slot into the blob; memcheck saw the engine take the sine of it.
// Slots beyond the record's terms must be written as zero.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/StatusCodes.hpp"
#include "calibration/LegacyCalibrationHandler.hpp"
#include "calibration/LegacyLayout.hpp"
#include "common/CoreFixtures.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

using legacy::kAmplitudeWigglingTerms;
using legacy::kPhaseWigglingTerms;

TEST(LegacyWriterSlots, SlotsBeyondTheRecordsTermsAreZero) {
  kelvora::testing::CalibrationPtr source(synth::makeSyntheticCalibration({}));
  // Poison what the record does not hold: the slot past each model's terms.
  for (uint32_t f = 0; f < 2; ++f) {
    KelvoraWiggling& p = source->frequencies[f].phaseWiggling;
    KelvoraWiggling& a = source->frequencies[f].amplitudeWiggling;
    ASSERT_LT(p.count, kPhaseWigglingTerms);
    p.amplitude[p.count] = std::numeric_limits<float>::quiet_NaN();
    p.harmonic[p.count] = 0xDEADBEEFu;
    p.phase[p.count] = std::numeric_limits<float>::infinity();
    ASSERT_LE(a.count, kAmplitudeWigglingTerms);
  }
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*source, {});
  kelvora::testing::CalibrationPtr read(allocateCalibration(ovani_getLegacyNumPixel(nullptr, 0)));
  ::testing::internal::CaptureStdout();
  const uint32_t s =
      ovani_readLegacyCalibration(blob.data(), static_cast<uint32_t>(blob.size()), read.get());
  ::testing::internal::GetCapturedStdout();
  ASSERT_EQ(s, status::kSuccess);
  for (uint32_t f = 0; f < 2; ++f) {
    const KelvoraWiggling& want = source->frequencies[f].phaseWiggling;
    const KelvoraWiggling& got = read->frequencies[f].phaseWiggling;
    ASSERT_EQ(got.count, kPhaseWigglingTerms);
    for (uint32_t k = 0; k < kPhaseWigglingTerms; ++k) {
      const bool held = k < want.count;
      EXPECT_EQ(got.amplitude[k], held ? want.amplitude[k] : 0.0f) << f << "/" << k;
      EXPECT_EQ(got.harmonic[k], held ? want.harmonic[k] : 0u) << f << "/" << k;
      EXPECT_EQ(got.phase[k], held ? want.phase[k] : 0.0f) << f << "/" << k;
    }
  }
}

}  // namespace
}  // namespace kelvora
