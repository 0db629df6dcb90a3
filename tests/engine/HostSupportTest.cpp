// The host conveniences on real engines: the setter by name refuses with the
// reason the engine's calibration gives, and the listing holds exactly what
// the setter accepts. (The refusals the tool's user-path table makes through
// the same setter are not repeated here.)
#include <gtest/gtest.h>

#include <string>

#include "common/EngineHarness.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/HostSupport.hpp"

namespace kelvora {
namespace {

using testing::makeEngine;

struct SetCase {
  bool oneFrequency;  // else two frequencies; neither has a stray-light model
  const char* name;
  const char* text;
  ParameterRefusal refusal;
  const char* part;  // of the message, or of the stored value's text when accepted
};

TEST(HostSupport, SetterByNameSaysWhyTheEngineRefuses) {
  const testing::EnginePtr engines[] = {
      makeEngine(testing::containerBlobFor(testing::smallCalibration())),
      makeEngine(testing::containerBlobFor(testing::smallCalibration({80320000u})))};
  using R = ParameterRefusal;
  for (const SetCase& c : {
           SetCase{false, "amplitudeThreshold", "4095", R::NONE, "4095"},
           SetCase{false, "useSparsePointCloud", "on", R::NONE, "true"},
           SetCase{false, "freq2", "0", R::NONE, "0"},
           SetCase{true, "freq1", "60240000", R::NONE, "60240000"},
           SetCase{false, "useRemoveStrayLight", "true", R::FIXED_BY_CALIBRATION,
                   "no stray-light model"},
           SetCase{false, "adaptiveNoiseFilterType", "3", R::OUT_OF_BOUNDS, "[1, 2]"},
           SetCase{false, "amplitudeThreshold", "nan", R::WRONG_TYPE, "takes a number"},
           SetCase{false, "exposureLimitUpper", "4294967296", R::WRONG_TYPE, "unsigned"},
           SetCase{false, "adaptiveNoiseFilterType", "1.5", R::WRONG_TYPE, "an integer"},
       }) {
    Configuration config = engines[c.oneFrequency]->configuration();
    const ParameterSetResult r = setParameterText(config, c.name, c.text);
    const std::string row = std::string(c.name) + "=" + c.text;
    EXPECT_EQ(r.refusal, c.refusal) << row << ": " << r.message;
    if (r.accepted()) {
      EXPECT_EQ(parameterValueText(config.getParameterByName(c.name).getValue()), c.part) << row;
    } else {
      EXPECT_NE(r.message.find(c.part), std::string::npos) << row << ": " << r.message;
      EXPECT_NE(r.message.find(c.name), std::string::npos) << row << ": " << r.message;
    }
  }
}

TEST(HostSupport, ListingHoldsExactlyWhatTheSetterAccepts) {
  for (const std::vector<uint32_t>& frequencies :
       {std::vector<uint32_t>{80320000u}, std::vector<uint32_t>{80320000u, 60240000u}}) {
    const testing::EnginePtr engine =
        makeEngine(testing::containerBlobFor(testing::smallCalibration(frequencies)));
    const Configuration config = engine->configuration();
    std::vector<std::string> listed;
    for (const ParameterInfo& p : listParameters(config)) listed.push_back(p.name);
    std::vector<std::string> accepted;
    for (const auto& entry : getAllParameters()) {
      Configuration copy = config;
      const std::string value = parameterValueText(entry.second.getValue());
      if (setParameterText(copy, entry.second.name(), value).accepted()) {
        accepted.push_back(entry.second.name());
      }
    }
    EXPECT_EQ(listed, accepted);
    EXPECT_EQ(modulationFrequencies(*engine), frequencies);
  }
}

}  // namespace
}  // namespace kelvora
