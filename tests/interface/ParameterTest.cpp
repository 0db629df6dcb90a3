#include "kelvora/Parameter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "ValueHelpers.hpp"
#include "base/KelvoraParameter.hpp"
#include "kelvora/ParameterBuilder.hpp"
#include "kelvora/ParameterImpl.hpp"

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
  ParameterValue initial;
  ParameterValue lower;
  ParameterValue upper;
  ParameterValue attempt;
  bool accepted;
};

std::vector<SetValueCase> setValueCases() {
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const float kInf = std::numeric_limits<float>::infinity();
  return {
      {"FloatAtLowerEnd", F(2), F(1), F(5), F(1), true},
      {"FloatAtUpperEnd", F(2), F(1), F(5), F(5), true},
      {"FloatJustBelow", F(2), F(1), F(5), F(std::nextafter(1.0f, 0.0f)), false},
      {"FloatJustAbove", F(2), F(1), F(5), F(std::nextafter(5.0f, 6.0f)), false},
      {"FloatNaN", F(2), F(1), F(5), F(kNaN), false},
      {"FloatInfinity", F(2), F(1), F(5), F(kInf), false},
      {"FloatNaNWithoutBounds", F(2), E(), E(), F(kNaN), true},
      {"IntOnFloat", F(2), F(1), F(5), I(3), false},
      {"IntOnUnboundedFloat", F(2), E(), E(), I(3), false},
      {"UnsignedAtEnds", U(4000), U(3500), U(4095), U(4095), true},
      {"UnsignedAbove", U(4000), U(3500), U(4095), U(4096), false},
      {"UnsignedBelow", U(4000), U(3500), U(4095), U(3499), false},
      // Only an unsigned comparison accepts the top half of the range.
      {"UnsignedTopHalf", U(1), U(0), U(0x80000000u), U(0x80000000u), true},
      {"UnsignedPastTopHalf", U(1), U(0), U(0x80000000u), U(0x80000001u), false},
      {"IntAtLowerEnd", I(0), I(-5), I(5), I(-5), true},
      // Only a signed comparison accepts -1 between -5 and 5.
      {"IntNegative", I(0), I(-5), I(5), I(-1), true},
      {"IntBelow", I(0), I(-5), I(5), I(-6), false},
      {"BoolFalseInFullRange", B(true), B(false), B(true), B(false), true},
      {"BoolFalseOutsideTrueOnly", B(true), B(true), B(true), B(false), false},
      {"BoolTrueOutsideFalseOnly", B(false), B(false), B(false), B(true), false},
      {"UnsignedOnBool", B(false), B(false), B(true), U(1), false},
      {"TerminalBoolWithBounds", T(false), T(false), T(true), T(true), false},
      {"TerminalBoolWithoutBounds", T(false), E(), E(), T(true), true},
      {"AnyUnsignedWithoutBounds", U(80320000), E(), E(), U(0), true},
      {"LoneLowerBoundIsNoBound", F(20), F(10), E(), F(-100), true},
      {"LoneUpperBoundRejects", F(2), E(), F(5), F(3), false},
      {"BoundsOfAnotherType", F(2), U(1), U(5), F(3), false},
      {"EmptyOntoEmpty", E(), E(), E(), E(), true},
      {"ValueOntoEmpty", E(), E(), E(), F(1), false},
      {"EmptyOntoValue", F(2), E(), E(), E(), false},
  };
}

// Failure messages name the case instead of dumping its bytes.
void PrintTo(const SetValueCase& c, std::ostream* os) {
  *os << c.name;
}

class SetValueTest : public ::testing::TestWithParam<SetValueCase> {};

TEST_P(SetValueTest, AcceptsExactlyWithinBoundsAndType) {
  const SetValueCase& c = GetParam();
  Parameter p = ParameterBuilder()
                    .setKey(NOISE_THRESHOLD)
                    .setName("x")
                    .setValue(c.initial)
                    .setBounds(c.lower, c.upper)
                    .build();
  EXPECT_EQ(p.setValue(c.attempt), c.accepted);
  EXPECT_TRUE(sameValue(p.getValue(), c.accepted ? c.attempt : c.initial));
  EXPECT_TRUE(sameValue(p.lowerBound(), c.lower));
  EXPECT_TRUE(sameValue(p.upperBound(), c.upper));
}

INSTANTIATE_TEST_SUITE_P(Cases, SetValueTest, ::testing::ValuesIn(setValueCases()),
                         [](const ::testing::TestParamInfo<SetValueCase>& param) {
                           return std::string(param.param.name);
                         });

struct PrintCase {
  const char* name;
  ParameterKey key;
  ParameterValue value;
  ParameterValue lower;
  ParameterValue upper;
  bool alphabetic;
  const char* expected;
};

std::vector<PrintCase> printCases() {
  return {
      {"FloatWithBounds", MPI_NOISE_DISTANCE, F(2), F(0), F(10), false, "x: 2 Bounds: [0, 10]"},
      {"SmallFloat", AMPLITUDE_THRESHOLD, F(0.5f), F(0.00015f), F(4095), false,
       "x: 0.5 Bounds: [0.00015, 4095]"},
      {"UnboundedUnsigned", FREQUENCY_1, U(80320000u), E(), E(), false, "x: 80320000"},
      {"NegativeInt", ADAPTIVE_NOISE_FILTER_TYPE, I(-2), I(-3), I(2), false,
       "x: -2 Bounds: [-3, 2]"},
      {"BoolAsDigits", USE_AUTO_EXPOSURE, B(true), B(false), B(true), false, "x: 1 Bounds: [0, 1]"},
      {"BoolAlphabetic", USE_AUTO_EXPOSURE, B(false), B(false), B(true), true,
       "x: false Bounds: [false, true]"},
      {"TerminalBool", USE_AUTO_EXPOSURE, T(true), E(), E(), false, "x: 1"},
      {"EmptyValue", NUM_FREQS, E(), E(), E(), false, "x: ! Empty Variant !"},
      {"EmptyLowerBound", NUM_FREQS, U(1), E(), U(2), false, "x: 1 Bounds: [! Empty Variant !, 2]"},
      {"LoneLowerBoundNotPrinted", NUM_FREQS, U(1), U(0), E(), false, "x: 1"},
      {"KeyZero", INVALID_PARAMETER_KEY, F(2), F(0), F(10), false, "Invalid parameter!"},
      {"KeyPastTheEnd", PARAMETER_KEY_COUNT, F(2), F(0), F(10), false, "Invalid parameter!"},
  };
}

// Failure messages name the case instead of dumping its bytes.
void PrintTo(const PrintCase& c, std::ostream* os) {
  *os << c.name;
}

class ParameterPrintTest : public ::testing::TestWithParam<PrintCase> {};

TEST_P(ParameterPrintTest, PrintsExactText) {
  const PrintCase& c = GetParam();
  Parameter p = ParameterBuilder()
                    .setKey(c.key)
                    .setName("x")
                    .setValue(c.value)
                    .setBounds(c.lower, c.upper)
                    .build();
  std::ostringstream os;
  if (c.alphabetic) os << std::boolalpha;
  os << p;
  EXPECT_EQ(os.str(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, ParameterPrintTest, ::testing::ValuesIn(printCases()),
                         [](const ::testing::TestParamInfo<PrintCase>& param) {
                           return std::string(param.param.name);
                         });

TEST(ParameterTest, ValidityIsDecidedByTheKeyAlone) {
  EXPECT_TRUE(ParameterBuilder().setKey(AMPLITUDE_THRESHOLD).build().isValid());
  EXPECT_TRUE(ParameterBuilder().setKey(EXPOSURE_LIMIT_UPPER).build().isValid());
  EXPECT_FALSE(ParameterBuilder().setKey(PARAMETER_KEY_COUNT).setName("x").build().isValid());
}

TEST(ParameterTest, CopiesAreDeepAndMovesTransferTheImplementation) {
  Parameter original = ParameterBuilder()
                           .setKey(NOISE_THRESHOLD)
                           .setName("noise")
                           .setDescription("text")
                           .setValue(F(0.07f))
                           .setBounds(F(0.03f), F(0.2f))
                           .build();
  Parameter copy(original);
  EXPECT_NE(copy.impl(), original.impl());
  // Each build makes a parameter of its own.
  ParameterBuilder builder;
  EXPECT_NE(builder.build().impl(), builder.build().impl());
  ASSERT_TRUE(copy.setValue(F(0.1f)));
  EXPECT_TRUE(sameValue(original.getValue(), F(0.07f)));
  EXPECT_STREQ(copy.description(), "text");

  Parameter assigned;
  assigned = original;
  EXPECT_NE(assigned.impl(), original.impl());
  EXPECT_EQ(assigned.key(), NOISE_THRESHOLD);

  const ParameterImpl* impl = original.impl();
  Parameter moved(std::move(original));
  EXPECT_EQ(moved.impl(), impl);
  // A moved-from handle reads as an invalid parameter and can be reused.
  EXPECT_FALSE(original.isValid());  // NOLINT(bugprone-use-after-move)
  EXPECT_STREQ(original.name(), "");
  EXPECT_TRUE(original.setValue(E()));
  original = copy;
  EXPECT_TRUE(sameValue(original.getValue(), F(0.1f)));

  Parameter target;
  target = std::move(moved);
  EXPECT_EQ(target.impl(), impl);
}

TEST(ParameterTest, GetValueHandsOutFreshStorage) {
  const Parameter p = ParameterBuilder().setValue(U(4)).build();
  const ParameterValue a = p.getValue();
  const ParameterValue b = p.getValue();
  EXPECT_NE(a.getIf<1>(), b.getIf<1>());
  EXPECT_NE(a.getIf<1>(), p.impl()->value.getIf<1>());
}

// The apply operation writes through the setter of the value's own
// alternative and nothing else.
class ApplyTest : public ::testing::Test {
 protected:
  ApplyTest() { std::memset(&record, 0xA5, sizeof(record)); }
  bool untouched() const {
    KelvoraParameter pattern;
    std::memset(&pattern, 0xA5, sizeof(pattern));
    return std::memcmp(&pattern, &record, sizeof(record)) == 0;
  }
  KelvoraParameter record;
};

TEST_F(ApplyTest, OnlyASetterOfTheValuesOwnTypeWrites) {
  ParameterImpl impl;
  impl.value = B(true);
  impl.functor.emplace<1>([](KelvoraParameter& p, unsigned int v) { p.freq2 = v; });
  EXPECT_FALSE(impl.apply(record));
  impl.value = E();
  impl.functor.emplace<2>([](KelvoraParameter& p, bool v) { p.useAutoExposure = v; });
  EXPECT_FALSE(impl.apply(record));
  impl.value = T(true);
  impl.functor.emplace<4>(true);
  EXPECT_FALSE(impl.apply(record));
  EXPECT_TRUE(untouched());
}

TEST_F(ApplyTest, EmptySetterOfTheRightTypeThrows) {
  ParameterImpl impl;
  impl.value = F(1.0f);
  impl.functor.emplace<0>();
  EXPECT_THROW(impl.apply(record), std::bad_function_call);
}

TEST_F(ApplyTest, WalkStartsAtTheStepItIsGiven) {
  ParameterImpl impl;
  impl.value = I(2);
  impl.functor.emplace<3>(
      [](KelvoraParameter& p, int v) { p.adaptiveNoiseFilterType = static_cast<uint8_t>(v); });
  // TypeList<int, bool> is the walk's fourth step: it covers indices 3 and 4.
  using FromInt = TypeList<int, bool>;
  using FromUnsigned = TypeList<unsigned int, bool, int, bool>;
  EXPECT_TRUE(impl.doApply<FromInt>(record));
  EXPECT_EQ(record.adaptiveNoiseFilterType, 2u);
  impl.value = F(1.0f);
  EXPECT_FALSE(impl.doApply<FromInt>(record));
  EXPECT_FALSE(impl.doApply<FromUnsigned>(record));
}

}  // namespace
}  // namespace kelvora
