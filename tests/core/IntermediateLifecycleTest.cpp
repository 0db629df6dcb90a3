// Creation of the per-engine scratch record: frequency order, tables and mask
// flags.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/PixelFlags.hpp"
#include "base/StatusCodes.hpp"
#include "common/CoreFixtures.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
using testing::IntermediatePtr;

CalibrationPtr calibrationWith(std::vector<uint32_t> frequencies, uint32_t w = 16,
                               uint32_t h = 12) {
  synth::SyntheticCalibrationOptions o;
  o.width = w;
  o.height = h;
  o.frequencies = std::move(frequencies);
  return CalibrationPtr(synth::makeSyntheticCalibration(o));
}

IntermediatePtr init(KelvoraParameter p, KelvoraCalibration* c, int32_t* result) {
  KelvoraIntermediate* im = nullptr;
  *result = kelvoraTavelInit(&p, c, &im);
  return IntermediatePtr(im);
}

constexpr uint32_t kF80 = 80320000, kF60 = 60240000;
constexpr int32_t kMissing = status::kInitFrequencyNotCalibrated;

struct OrderCase {
  const char* name;
  std::vector<uint32_t> calibrated;
  uint32_t freq1, freq2;
  uint8_t numFreqs;
  int32_t expectedResult;
  std::vector<uint32_t> leadingRecords;
};

class AdaptCalibration : public ::testing::TestWithParam<OrderCase> {};

// Each probe's unambiguous range comes from the requested frequency, its
// amplitude table (two frequencies only) from the record now at its index.
TEST_P(AdaptCalibration, PutsRequestedFrequenciesFirst) {
  const OrderCase& t = GetParam();
  CalibrationPtr c = calibrationWith(t.calibrated);
  KelvoraParameter p = testing::defaultParameters(16, 12);
  p.freq1 = t.freq1;
  p.freq2 = t.freq2;
  p.numFreqs = t.numFreqs;
  int32_t result = -1;
  IntermediatePtr im = init(p, c.get(), &result);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(result, t.expectedResult);
  for (std::size_t i = 0; i < t.leadingRecords.size(); ++i) {
    EXPECT_EQ(c->frequencies[i].modulationFrequency, t.leadingRecords[i]) << i;
  }
  for (uint32_t i = 0; i < t.numFreqs; ++i) {
    EXPECT_EQ(im->probeData[i].unambiguousRange,
              149852320.0f / static_cast<float>(i == 0 ? t.freq1 : t.freq2));
    const KelvoraWiggling& w = c->frequencies[i].amplitudeWiggling;
    float sum = w.offset;
    for (uint32_t k = 0; k < w.count; ++k) sum += w.amplitude[k] * std::sin(w.phase[k]);
    EXPECT_NEAR(im->probeData[i].amplitudeWiggling[0], t.numFreqs > 1 ? 1.0f / sum : 0.0f, 1e-5f);
  }
}

// A missing first frequency still puts the second at slot 0, the only free
// target. With both requested frequencies equal the second search starts at
// slot 1 and finds nothing there, although slot 0 holds the frequency.
INSTANTIATE_TEST_SUITE_P(
    Orders, AdaptCalibration,
    ::testing::Values(
        OrderCase{"reversed", {kF60, kF80}, kF80, kF60, 2, 0, {kF80, kF60}},
        OrderCase{"fromThree", {1000, kF60, kF80}, kF80, kF60, 2, 0, {kF80, kF60}},
        OrderCase{"secondMissing", {kF60, kF80}, kF80, 12345, 2, kMissing, {kF80, kF60}},
        OrderCase{"firstMissing", {kF60, kF80}, 12345, kF80, 2, kMissing, {kF80, kF60}},
        OrderCase{"sameTwice", {kF80, kF60}, kF80, kF80, 2, kMissing, {kF80, kF60}},
        OrderCase{"single", {kF60, kF80}, kF80, 0, 1, 0, {kF80}}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(TavelInit, MaskBitZeroFlagsThePixel) {
  CalibrationPtr c = calibrationWith({kF80, kF60}, 7, 3);
  for (uint32_t i = 0; i < 21; ++i) c->mask[i] = i == 3 ? 2 : i == 5 ? 3 : i == 20 ? 1 : 0;
  int32_t result = -1;
  IntermediatePtr im = init(testing::defaultParameters(7, 3), c.get(), &result);
  EXPECT_EQ(im->width, 7);
  EXPECT_EQ(im->height, 3);
  for (uint32_t i = 0; i < 21; ++i) {
    EXPECT_EQ(im->pixelFlags[i], (i == 5 || i == 20) ? flags::kMasked : 0u) << i;
  }
  EXPECT_EQ(im->strayLight.bufferA, nullptr);
  EXPECT_EQ(im->strayLight.forwardPlan, nullptr);
}

}  // namespace
}  // namespace kelvora
