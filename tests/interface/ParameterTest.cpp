// A parameter accepts a value only of its own type and inside its bounds
// (inclusive, compared in the value's own arithmetic).
#include "kelvora/Parameter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "ValueHelpers.hpp"
#include "kelvora/ParameterBuilder.hpp"

namespace kelvora {
namespace {

using testing::B;
using testing::E;
using testing::F;
using testing::I;
using testing::sameValue;
using testing::T;
using testing::U;

struct SetValueCase {
  const char* name;
  ParameterValue initial, lower, upper, attempt;
  bool accepted;
};

TEST(Parameter, SetValueAcceptsExactlyWithinBoundsAndType) {
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const SetValueCase cases[] = {
      {"float at lower end", F(2), F(1), F(5), F(1), true},
      {"float at upper end", F(2), F(1), F(5), F(5), true},
      {"float just below", F(2), F(1), F(5), F(std::nextafter(1.0f, 0.0f)), false},
      {"float just above", F(2), F(1), F(5), F(std::nextafter(5.0f, 6.0f)), false},
      {"NaN with bounds", F(2), F(1), F(5), F(kNaN), false},
      {"NaN without bounds", F(2), E(), E(), F(kNaN), true},
      {"int onto float", F(2), F(1), F(5), I(3), false},
      {"int onto unbounded float", F(2), E(), E(), I(3), false},
      // Only an unsigned comparison accepts the top half of the range.
      {"unsigned top half", U(1), U(0), U(0x80000000u), U(0x80000000u), true},
      {"unsigned past it", U(1), U(0), U(0x80000000u), U(0x80000001u), false},
      // Only a signed comparison accepts -1 between -5 and 5.
      {"negative int", I(0), I(-5), I(5), I(-1), true},
      {"int below", I(0), I(-5), I(5), I(-6), false},
      {"false outside true..true", B(true), B(true), B(true), B(false), false},
      {"terminal bool with bounds", T(false), T(false), T(true), T(true), false},
      {"terminal bool without bounds", T(false), E(), E(), T(true), true},
      {"any unsigned without bounds", U(80320000), E(), E(), U(0), true},
      {"lone lower bound is no bound", F(20), F(10), E(), F(-100), true},
      {"lone upper bound refuses", F(2), E(), F(5), F(3), false},
      {"bounds of another type", F(2), U(1), U(5), F(3), false},
      {"empty onto empty", E(), E(), E(), E(), true},
      {"value onto empty", E(), E(), E(), F(1), false},
      {"empty onto value", F(2), E(), E(), E(), false},
  };
  for (const SetValueCase& c : cases) {
    Parameter p = ParameterBuilder()
                      .setKey(NOISE_THRESHOLD)
                      .setValue(c.initial)
                      .setBounds(c.lower, c.upper)
                      .build();
    EXPECT_EQ(p.setValue(c.attempt), c.accepted) << c.name;
    EXPECT_TRUE(sameValue(p.getValue(), c.accepted ? c.attempt : c.initial)) << c.name;
    EXPECT_TRUE(sameValue(p.lowerBound(), c.lower) && sameValue(p.upperBound(), c.upper)) << c.name;
  }
}

}  // namespace
}  // namespace kelvora
