#include "interface/ParameterRegistry.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "ValueHelpers.hpp"
#include "base/KelvoraParameter.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

using testing::B;
using testing::E;
using testing::F;
using testing::I;
using testing::sameValue;
using testing::U;

// The registry as the processing stages expect it, written down separately
// from the registry's own source.
struct Row {
  ParameterKey key;
  const char* name;
  const char* description;
  ParameterValue value;
  ParameterValue lower;
  ParameterValue upper;
  std::size_t offset;  // of the KelvoraParameter field the setter writes
  std::size_t width;   // bytes of that field
};

#define FIELD(f) offsetof(KelvoraParameter, f), sizeof(KelvoraParameter::f)

std::vector<Row> expectedRows() {
  return {
      {AMPLITUDE_THRESHOLD, "amplitudeThreshold", "Upper limit values for amplitude value flags",
       F(0.5f), F(0.00015f), F(4095.0f), FIELD(amplitudeThreshold)},
      {CONSISTENCY_TOLERANCE, "consistencyTolerance", "Consistency limit for asymmetry validation",
       F(1.2f), F(0.2f), F(1.5f), FIELD(consistencyTolerance)},
      {NOISE_THRESHOLD, "noiseThreshold", "Upper threshold for final distance noise", F(0.07f),
       F(0.03f), F(0.2f), FIELD(noiseThreshold)},
      {ADAPTIVE_NOISE_FILTER_TYPE, "adaptiveNoiseFilterType",
       "Kernel type of the adaptive noise filter", I(2), I(1), I(2),
       FIELD(adaptiveNoiseFilterType)},
      {EXPOSURE_REFERENCE_AMPLITUDE, "exposureReferenceAmplitude",
       "Reference amplitude for the auto exposure estimate", F(1200.0f), F(1.0f), F(4095.0f),
       FIELD(exposureReferenceAmplitude)},
      {FLYING_PIXEL_F0, "flyingPixelF0", "Scaling Factor for lower depth value normalization",
       F(0.018f), F(0.01f), F(0.04f), FIELD(flyingPixelF0)},
      {FLYING_PIXEL_F1, "flyingPixelF1", "Scaling Factor for upper depth value normalization",
       F(0.14f), F(0.1f), F(1.0f), FIELD(flyingPixelF1)},
      {FLYING_PIXEL_FAR_DIST, "flyingPixelFarDist",
       "Upper Normalized threshold value for flying pixel detection", F(4.5f), F(2.0f), F(14.0f),
       FIELD(flyingPixelFarDist)},
      {FLYING_PIXEL_NEAR_DIST, "flyingPixelNearDist",
       "Lower Normalized threshold value for flying pixel detection", F(1.0f), F(0.0f), F(2.0f),
       FIELD(flyingPixelNearDist)},
      {MPI_AMPLITUDE_THRESHOLD, "mpiAmplitudeThreshold",
       "Threshold for MPI flags triggered by amplitude discrepancy", F(0.3f), F(0.1f), F(0.5f),
       FIELD(mpiAmplitudeThreshold)},
      {MPI_DISTANCE_THRESHOLD, "mpiDistanceThreshold",
       "Threshold for MPI flags triggered by distance discrepancy", F(0.1f), F(0.05f), F(0.2f),
       FIELD(mpiDistanceThreshold)},
      {MPI_NOISE_DISTANCE, "mpiNoiseDistance", "Threshold for MPI flags triggered by noise",
       F(3.0f), F(2.0f), F(5.0f), FIELD(mpiNoiseDistance)},
      {SATURATION_THRESHOLD_LOWER, "saturationThresholdLower",
       "Lower limit for valid raw data values", U(400), U(0), U(600),
       FIELD(saturationThresholdLower)},
      {SATURATION_THRESHOLD_UPPER, "saturationThresholdUpper",
       "Upper limit for valid raw data values", U(3750), U(3500), U(4095),
       FIELD(saturationThresholdUpper)},
      {USE_ADAPTIVE_NOISE_FILTER, "useAdaptiveNoiseFilter",
       "Activate spatial filter reducing the distance noise", B(true), B(false), B(true),
       FIELD(useAdaptiveNoiseFilter)},
      {USE_AUTO_EXPOSURE, "useAutoExposure", "Activate dynamic control of the exposure time",
       B(true), B(false), B(true), FIELD(useAutoExposure)},
      {USE_REMOVE_FLYING_PIXEL, "useRemoveFlyingPixel", "Activate FlyingPixel flag", B(true),
       B(false), B(true), FIELD(useRemoveFlyingPixel)},
      {USE_MPI_FLAG_AVERAGE, "useMPIFlagAverage",
       "Activate spatial averaging MPI value before thresholding", B(true), B(false), B(true),
       FIELD(useMPIFlagAverage)},
      {USE_MPI_FLAG_AMPLITUDE, "useMPIFlagAmplitude", "Activates MPI-amplitude flag", B(true),
       B(false), B(true), FIELD(useMPIFlagAmplitude)},
      {USE_MPI_FLAG_DISTANCE, "useMPIFlagDistance", "Activates MPI-distance flag", B(true),
       B(false), B(true), FIELD(useMPIFlagDistance)},
      {USE_VALIDATE_IMAGE, "useValidateImage", "Activates output image validation", B(true),
       B(false), B(true), FIELD(useValidateImage)},
      {USE_SPARSE_POINT_CLOUD, "useSparsePointCloud", "Activates the output of sparse point cloud",
       B(false), B(false), B(true), FIELD(useSparsePointCloud)},
      {USE_REMOVE_STRAY_LIGHT, "useRemoveStrayLight", "Activates the stray light correction",
       B(true), B(false), B(true), FIELD(useRemoveStrayLight)},
      {NUM_FREQS, "numFreqs", "Number of modulated measurements used", U(2), U(0), U(2),
       FIELD(numFreqs)},
      {FREQUENCY_1, "freq1", "First frequency value", U(80320000), E(), E(), FIELD(freq1)},
      {FREQUENCY_2, "freq2", "Second frequency value", U(60240000), E(), E(), FIELD(freq2)},
      {EXPOSURE_LIMIT_LOWER, "exposureLimitLower",
       "Lowest exposure value which will be proposed by the auto exposure algorithm", U(1), E(),
       E(), FIELD(exposureLimitLower)},
      {EXPOSURE_LIMIT_UPPER, "exposureLimitUpper",
       "Highest exposure value which will be proposed by the auto exposure algorithm", U(2), E(),
       E(), FIELD(exposureLimitUpper)},
  };
}

#undef FIELD

constexpr unsigned char kPattern = 0xA5;

KelvoraParameter patterned() {
  KelvoraParameter record;
  std::memset(&record, kPattern, sizeof(record));
  return record;
}

const unsigned char* bytesOf(const KelvoraParameter& record) {
  return reinterpret_cast<const unsigned char*>(&record);
}

// The bytes a single store of v into a field of the given width leaves there.
std::vector<unsigned char> stored(const ParameterValue& v, std::size_t width) {
  std::vector<unsigned char> bytes(width);
  uint32_t word = 0;
  if (const float* f = v.getIf<0>()) std::memcpy(&word, f, sizeof(float));
  if (const unsigned int* u = v.getIf<1>()) word = *u;
  if (const bool* b = v.getIf<2>()) word = *b ? 1u : 0u;
  if (const int* i = v.getIf<3>()) word = static_cast<uint32_t>(*i);
  const uint8_t byte = static_cast<uint8_t>(word);
  const uint16_t half = static_cast<uint16_t>(word);
  if (width == 1) std::memcpy(bytes.data(), &byte, 1);
  if (width == 2) std::memcpy(bytes.data(), &half, 2);
  if (width == 4) std::memcpy(bytes.data(), &word, 4);
  return bytes;
}

// A value of the row's type that no field width keeps whole, to show
// truncation, and which no setter could mistake for a scaled value.
ParameterValue probeValue(const ParameterValue& like) {
  switch (like.index()) {
    case 0:
      return F(-123.25f);
    case 1:
      return U(0x12345678u);
    case 2:
      return B(!*like.getIf<2>());
    default:
      return I(0x7654321);
  }
}

// Applies value through the entry's own setter onto a patterned record and
// checks that only the entry's field changed, to exactly the stored bytes.
void expectSingleStore(const Parameter& p, const Row& row, const ParameterValue& value) {
  ParameterImpl impl(*p.impl());
  impl.value = value;
  KelvoraParameter record = patterned();
  ASSERT_TRUE(impl.apply(record));
  const std::vector<unsigned char> field = stored(value, row.width);
  for (std::size_t b = 0; b < sizeof(record); ++b) {
    const bool inField = b >= row.offset && b < row.offset + row.width;
    const unsigned char expected = inField ? field[b - row.offset] : kPattern;
    EXPECT_EQ(bytesOf(record)[b], expected) << "byte " << b;
  }
}

// Failure messages name the case instead of dumping its bytes.
void PrintTo(const Row& c, std::ostream* os) {
  *os << c.name;
}

class RegistryEntryTest : public ::testing::TestWithParam<Row> {
 protected:
  static const std::map<ParameterKey, Parameter>& registry() {
    static const std::map<ParameterKey, Parameter> all = getAllParameters();
    return all;
  }
  const Parameter& entry() const { return registry().at(GetParam().key); }
};

TEST_P(RegistryEntryTest, DescribesItselfAsTheTableSays) {
  const Row& row = GetParam();
  const Parameter& p = entry();
  EXPECT_TRUE(p.isValid());
  EXPECT_EQ(p.key(), row.key);
  EXPECT_STREQ(p.name(), row.name);
  EXPECT_STREQ(p.description(), row.description);
  EXPECT_EQ(p.type(), row.value.index());
  EXPECT_TRUE(sameValue(p.getValue(), row.value));
  EXPECT_TRUE(sameValue(p.lowerBound(), row.lower));
  EXPECT_TRUE(sameValue(p.upperBound(), row.upper));
  EXPECT_EQ(p.hasBounds(), !row.upper.isEmpty());
  EXPECT_EQ(p.impl()->functor.index(), row.value.index());
}

// With every setter writing only its own field, the default set fills each
// named field and nothing else.
TEST_P(RegistryEntryTest, SetterStoresIntoItsOwnFieldOnly) {
  {
    SCOPED_TRACE("default");
    expectSingleStore(entry(), GetParam(), GetParam().value);
  }
  SCOPED_TRACE("truncated to the field's width, without scaling");
  expectSingleStore(entry(), GetParam(), probeValue(GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(Table, RegistryEntryTest, ::testing::ValuesIn(expectedRows()),
                         [](const ::testing::TestParamInfo<Row>& param) {
                           return std::string(param.param.name);
                         });

TEST(ParameterRegistryTest, HoldsTheTableInKeyOrder) {
  const std::map<ParameterKey, Parameter> all = getAllParameters();
  const std::vector<Row> rows = expectedRows();
  ASSERT_EQ(all.size(), 28u);
  ASSERT_EQ(rows.size(), 28u);
  EXPECT_EQ(all.count(INVALID_PARAMETER_KEY), 0u);
  std::size_t i = 0;
  std::set<std::string> names;
  for (const auto& [key, p] : all) {
    EXPECT_EQ(static_cast<uint32_t>(key), i + 1);
    EXPECT_EQ(key, rows[i].key);
    EXPECT_EQ(p.key(), key);
    names.insert(p.name());
    ++i;
  }
  EXPECT_EQ(names.size(), 28u);
}

TEST(ParameterRegistryTest, EveryCallBuildsAnIndependentSet) {
  std::map<ParameterKey, Parameter> first = getAllParameters();
  const std::map<ParameterKey, Parameter> second = getAllParameters();
  EXPECT_NE(first.at(NOISE_THRESHOLD).impl(), second.at(NOISE_THRESHOLD).impl());
  ASSERT_TRUE(first.at(NOISE_THRESHOLD).setValue(F(0.2f)));
  EXPECT_TRUE(sameValue(second.at(NOISE_THRESHOLD).getValue(), F(0.07f)));
}

}  // namespace
}  // namespace kelvora
