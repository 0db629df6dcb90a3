// Creation of the per-engine scratch record: frequency order, tables, mask
// flags, the stray-light part, and release without leaks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "base/PixelFlags.hpp"
#include "base/StatusCodes.hpp"
#include "common/CoreFixtures.hpp"
#include "filters/WigglingTables.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
using testing::defaultParameters;
using testing::IntermediatePtr;

CalibrationPtr calibrationWith(std::vector<uint32_t> frequencies, uint32_t w = 16,
                               uint32_t h = 12) {
  synth::SyntheticCalibrationOptions o;
  o.width = w;
  o.height = h;
  o.frequencies = std::move(frequencies);
  return CalibrationPtr(synth::makeSyntheticCalibration(o));
}

IntermediatePtr init(const KelvoraParameter& p, KelvoraCalibration* c, int32_t* result) {
  KelvoraIntermediate* im = nullptr;
  *result = kelvoraTavelInit(&p, c, &im);
  return IntermediatePtr(im);
}

// The phase table a record's model yields, for comparing which record landed
// where after reordering.
std::vector<float> phaseTableOf(const KelvoraCalibrationFrequency& f) {
  std::vector<float> t(kWigglingTableSize);
  initCorrectPhaseWiggling_cross(f.phaseWiggling.count, f.phaseWiggling.harmonic,
                                 f.phaseWiggling.phase, f.phaseWiggling.amplitude, t.data());
  return t;
}

constexpr uint32_t kF80 = 80320000, kF60 = 60240000;

struct OrderCase {
  const char* name;
  std::vector<uint32_t> calibrated;
  uint32_t freq1, freq2;
  uint8_t numFreqs;
  int32_t expectedResult;
  std::vector<uint32_t> expectedLeadingRecords;
};

class AdaptCalibration : public ::testing::TestWithParam<OrderCase> {};

TEST_P(AdaptCalibration, PutsRequestedFrequenciesFirst) {
  const OrderCase& t = GetParam();
  CalibrationPtr c = calibrationWith(t.calibrated);
  // Remember each frequency's own table before the records move.
  std::vector<std::vector<float>> tables;
  for (size_t i = 0; i < t.calibrated.size(); ++i)
    tables.push_back(phaseTableOf(c->frequencies[i]));

  KelvoraParameter p = defaultParameters(16, 12);
  p.freq1 = t.freq1;
  p.freq2 = t.freq2;
  p.numFreqs = t.numFreqs;
  int32_t result = -1;
  IntermediatePtr im = init(p, c.get(), &result);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(result, t.expectedResult);
  for (size_t i = 0; i < t.expectedLeadingRecords.size(); ++i) {
    EXPECT_EQ(c->frequencies[i].modulationFrequency, t.expectedLeadingRecords[i]) << i;
  }
  // Each probe's table is built from the record now at its index, and its
  // unambiguous range from the requested frequency.
  for (uint32_t i = 0; i < t.numFreqs; ++i) {
    const uint32_t f = i == 0 ? t.freq1 : t.freq2;
    EXPECT_EQ(im->probeData[i].unambiguousRange, 149852320.0f / static_cast<float>(f));
    size_t source = 0;
    while (t.calibrated[source] != c->frequencies[i].modulationFrequency) ++source;
    for (uint32_t j : {0u, 1234u, 16383u}) {
      EXPECT_EQ(im->probeData[i].phaseWiggling[j], tables[source][j]) << "probe " << i;
    }
  }
}

constexpr int32_t kMissing = status::kInitFrequencyNotCalibrated;
// A missing first frequency still puts the second at slot 0, the only free
// target. With both requested frequencies equal the second search starts at
// slot 1 and finds nothing there, although slot 0 holds the frequency.
INSTANTIATE_TEST_SUITE_P(
    Orders, AdaptCalibration,
    ::testing::Values(
        OrderCase{"inOrder", {kF80, kF60}, kF80, kF60, 2, 0, {kF80, kF60}},
        OrderCase{"reversed", {kF60, kF80}, kF80, kF60, 2, 0, {kF80, kF60}},
        OrderCase{"fromThree", {1000, kF60, kF80}, kF80, kF60, 2, 0, {kF80, kF60}},
        OrderCase{"secondMissing", {kF60, kF80}, kF80, 12345, 2, kMissing, {kF80, kF60}},
        OrderCase{"firstMissing", {kF60, kF80}, 12345, kF80, 2, kMissing, {kF80, kF60}},
        OrderCase{"sameTwice", {kF80, kF60}, kF80, kF80, 2, kMissing, {kF80, kF60}},
        OrderCase{"single", {kF60, kF80}, kF80, 0, 1, 0, {kF80}}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(TavelInit, RefusesOtherRecordVersionsWithoutAllocating) {
  CalibrationPtr c = calibrationWith({kF80, kF60});
  c->version = 2;
  KelvoraParameter p = defaultParameters(16, 12);
  KelvoraIntermediate* im = reinterpret_cast<KelvoraIntermediate*>(0x1);
  EXPECT_EQ(kelvoraTavelInit(&p, c.get(), &im), status::kInitBadCalibrationVersion);
  EXPECT_EQ(im, reinterpret_cast<KelvoraIntermediate*>(0x1));
}

// One frequency leaves the amplitude table zero; two build one per record.
TEST(TavelInit, AmplitudeTablesOnlyForTwoFrequencies) {
  for (uint8_t freqs : {1, 2}) {
    CalibrationPtr c = calibrationWith({kF80, kF60});
    KelvoraParameter p = defaultParameters(16, 12);
    p.numFreqs = freqs;
    int32_t result = -1;
    IntermediatePtr im = init(p, c.get(), &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(im->numFreqs, freqs);
    for (uint32_t i = 0; i < freqs; ++i) {
      const KelvoraWiggling& w = c->frequencies[i].amplitudeWiggling;
      std::vector<float> want(kWigglingTableSize, 0.0f);
      if (freqs == 2) {
        initCorrectAmplitudeWiggling_cross(w.count, w.harmonic, w.phase, w.amplitude, w.offset,
                                           want.data());
      }
      for (uint32_t j = 0; j < kWigglingTableSize; ++j) {
        ASSERT_EQ(im->probeData[i].amplitudeWiggling[j], want[j]) << j;
      }
    }
  }
}

TEST(TavelInit, MaskBitZeroFlagsThePixelAndBuffersArePadded) {
  CalibrationPtr c = calibrationWith({kF80, kF60}, 7, 3);  // 21 pixels, not a multiple of 4
  for (uint32_t i = 0; i < 21; ++i) c->mask[i] = 0;
  c->mask[3] = 2;   // bit 0 clear
  c->mask[5] = 3;   // bit 0 set
  c->mask[20] = 1;  // last pixel
  KelvoraParameter p = defaultParameters(7, 3);
  int32_t result = -1;
  IntermediatePtr im = init(p, c.get(), &result);
  EXPECT_EQ(im->width, 7);
  EXPECT_EQ(im->height, 3);
  for (uint32_t i = 0; i < 21; ++i) {
    EXPECT_EQ(im->pixelFlags[i], (i == 5 || i == 20) ? flags::kMasked : 0u) << i;
  }
  // Per-pixel buffers are padded to whole vectors: the padding is writable
  // (ASan would report otherwise) and starts zeroed.
  for (uint32_t i = 0; i < 24; ++i) {
    EXPECT_EQ(im->probeData[1].distance[i], 0.0f);
    im->probeData[1].distance[i] = 1.0f;
    im->filterScratch[i] = 1.0f;
  }
  EXPECT_EQ(im->strayLight.bufferA, nullptr);
  EXPECT_EQ(im->strayLight.forwardPlan, nullptr);
  EXPECT_EQ(im->strayLight.inversePlan, nullptr);
}

TEST(TavelInit, RepeatedCyclesRelease) {
  // Run under LeakSanitizer: any buffer not released fails the build.
  CalibrationPtr c = calibrationWith({kF80, kF60}, 32, 24);
  c->psfWidth = 36;
  c->psfHeight = 30;
  c->psf = static_cast<float*>(std::calloc(36 * 30, sizeof(float)));
  for (uint8_t freqs : {0, 1, 2}) {
    KelvoraParameter p = defaultParameters(32, 24);
    p.numFreqs = freqs;
    int32_t result = -1;
    IntermediatePtr im = init(p, c.get(), &result);
    EXPECT_EQ(result, 0);
  }
  kelvoraTavelFree(nullptr);
  kelvoraIntermediateFree(nullptr);
}

}  // namespace
}  // namespace kelvora
