// Parameters set by name, for every value type of the registry.
#include <gtest/gtest.h>

#include <map>

#include "interface/ParameterRegistry.hpp"
#include "support/ParameterSettings.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {
namespace {

Configuration freshConfiguration() {
  const std::map<ParameterKey, Parameter> all = getAllParameters();
  ArrayHolder<Parameter> list(static_cast<uint32_t>(all.size()));
  uint32_t i = 0;
  for (const auto& entry : all) list[i++] = entry.second;
  return Configuration(list);
}

struct Accepted {
  const char* setting;
  const char* name;
  const char* text;  // the value as parameterValueText shows it afterwards
};

TEST(ParameterSettings, ParsesEachTypeAndStoresTheValue) {
  for (const Accepted& c :
       {Accepted{"amplitudeThreshold=0.8", "amplitudeThreshold", "0.8"},
        Accepted{"saturationThresholdUpper=4095", "saturationThresholdUpper", "4095"},
        Accepted{"useValidateImage=off", "useValidateImage", "false"},
        Accepted{"useSparsePointCloud=1", "useSparsePointCloud", "true"},
        Accepted{"adaptiveNoiseFilterType=1", "adaptiveNoiseFilterType", "1"},
        Accepted{"freq1=0", "freq1", "0"},
        Accepted{"exposureLimitUpper=4294967295", "exposureLimitUpper", "4294967295"},
        Accepted{"noiseThreshold=0.03", "noiseThreshold", "0.03"}}) {
    Configuration config = freshConfiguration();
    applySettings(config, {c.setting});
    EXPECT_EQ(parameterValueText(config.getParameterByName(c.name)), c.text) << c.setting;
  }
}

TEST(ParameterSettings, RefusesUnknownNamesBadTextAndValuesOutOfBounds) {
  for (const char* setting :
       {"noSuchParameter=1", "amplitudethreshold=0.8", "amplitudeThreshold", "=3",
        "amplitudeThreshold=", "amplitudeThreshold=abc", "amplitudeThreshold=0.8x",
        "amplitudeThreshold=5000", "amplitudeThreshold=nan", "noiseThreshold=0.2001",
        "saturationThresholdUpper=-1", "saturationThresholdUpper=4096",
        "exposureLimitUpper=4294967296", "useValidateImage=yes", "adaptiveNoiseFilterType=3",
        "adaptiveNoiseFilterType=1.5"}) {
    Configuration config = freshConfiguration();
    EXPECT_THROW(applySettings(config, {setting}), ToolError) << setting;
  }
}

TEST(ParameterSettings, BoundsAreInclusive) {
  Configuration config = freshConfiguration();
  EXPECT_NO_THROW(applySettings(
      config, {"noiseThreshold=0.2", "consistencyTolerance=0.2", "flyingPixelNearDist=0"}));
  EXPECT_EQ(boundsText(config.getParameterByName("freq1")), "none");
}

}  // namespace
}  // namespace kelvora::tools
