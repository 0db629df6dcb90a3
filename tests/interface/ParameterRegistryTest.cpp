// The registry against the core record it writes: key k is the parameter of
// the k-th named field, and each setter stores its value into that field
// alone, truncated to the field's width and otherwise unchanged. Defaults and
// descriptions are the registry's own; they are not repeated here.
#include "interface/ParameterRegistry.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "ValueHelpers.hpp"
#include "base/KelvoraParameter.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

struct Field {
  const char* name;
  std::size_t offset, width;
  bool isFloat, isBool;
};

template <class T>
Field field(const char* name, T KelvoraParameter::*member) {
  static const KelvoraParameter record{};
  const auto offset =
      reinterpret_cast<const char*>(&(record.*member)) - reinterpret_cast<const char*>(&record);
  return {name, static_cast<std::size_t>(offset), sizeof(T), std::is_floating_point_v<T>,
          std::is_same_v<T, bool>};
}
#define FIELD(f) field(#f, &KelvoraParameter::f)

// The record's fields in declaration order, without the three that no
// parameter names (reserved, height, width).
const Field kFields[] = {FIELD(amplitudeThreshold),
                         FIELD(consistencyTolerance),
                         FIELD(noiseThreshold),
                         FIELD(adaptiveNoiseFilterType),
                         FIELD(exposureReferenceAmplitude),
                         FIELD(flyingPixelF0),
                         FIELD(flyingPixelF1),
                         FIELD(flyingPixelFarDist),
                         FIELD(flyingPixelNearDist),
                         FIELD(mpiAmplitudeThreshold),
                         FIELD(mpiDistanceThreshold),
                         FIELD(mpiNoiseDistance),
                         FIELD(saturationThresholdLower),
                         FIELD(saturationThresholdUpper),
                         FIELD(useAdaptiveNoiseFilter),
                         FIELD(useAutoExposure),
                         FIELD(useRemoveFlyingPixel),
                         FIELD(useMPIFlagAverage),
                         FIELD(useMPIFlagAmplitude),
                         FIELD(useMPIFlagDistance),
                         FIELD(useValidateImage),
                         FIELD(useSparsePointCloud),
                         FIELD(useRemoveStrayLight),
                         FIELD(numFreqs),
                         FIELD(freq1),
                         FIELD(freq2),
                         FIELD(exposureLimitLower),
                         FIELD(exposureLimitUpper)};

#undef FIELD

// The bytes one store of v leaves in a little-endian field of `width` bytes.
std::vector<unsigned char> stored(const ParameterValue& v, std::size_t width) {
  const uint64_t word = testing::valueWord(v) & 0xFFFFFFFFu;
  std::vector<unsigned char> bytes(width);
  for (std::size_t b = 0; b < width; ++b) bytes[b] = static_cast<unsigned char>(word >> (8 * b));
  return bytes;
}

// Applies `value` with the parameter's own setter onto a patterned record;
// only the field's bytes may change, to exactly those of one store.
void expectSingleStore(const Parameter& p, const Field& field, const ParameterValue& value) {
  ParameterImpl impl(*p.impl());
  impl.value = value;
  KelvoraParameter record;
  std::memset(&record, 0xA5, sizeof record);
  ASSERT_TRUE(impl.apply(record)) << field.name;
  const std::vector<unsigned char> want = stored(value, field.width);
  const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
  for (std::size_t b = 0; b < sizeof record; ++b) {
    const bool inField = b >= field.offset && b < field.offset + field.width;
    ASSERT_EQ(bytes[b], inField ? want[b - field.offset] : 0xA5) << field.name << " byte " << b;
  }
}

TEST(ParameterRegistry, KeyKSetsTheKthFieldAndNothingElse) {
  const std::map<ParameterKey, Parameter> all = getAllParameters();
  ASSERT_EQ(all.size(), std::size(kFields));
  uint32_t key = 0;
  for (const auto& [k, p] : all) {
    const Field& field = kFields[key++];
    ASSERT_EQ(static_cast<uint32_t>(k), key);
    EXPECT_EQ(p.key(), k);
    EXPECT_EQ(std::string(p.name()), field.name);
    const ParameterValue value = p.getValue();
    const uint32_t type = value.index();
    ASSERT_LT(type, 4u) << field.name;
    EXPECT_EQ(p.impl()->functor.index(), type) << field.name;
    EXPECT_EQ(field.isFloat, type == 0) << field.name;
    EXPECT_EQ(field.isBool, type == 2) << field.name;
    // Bounds are both absent or both of the value's type, around the default.
    EXPECT_EQ(p.lowerBound().isEmpty(), p.upperBound().isEmpty()) << field.name;
    EXPECT_TRUE(!p.hasBounds() ||
                (p.lowerBound().index() == type && p.upperBound().index() == type))
        << field.name;
    EXPECT_TRUE(Parameter(p).setValue(value)) << field.name;

    expectSingleStore(p, field, value);
    // A value no field keeps whole shows truncation and the absence of any
    // scaling.
    const ParameterValue probe[] = {testing::F(-123.25f), testing::U(0x12345678u),
                                    testing::B(type != 2 || !*value.getIf<2>()),
                                    testing::I(0x7654321)};
    expectSingleStore(p, field, probe[type]);
  }
}

}  // namespace
}  // namespace kelvora
