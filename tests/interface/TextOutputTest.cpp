// What a parameter prints on a stream, to the character: hosts log them.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "ValueHelpers.hpp"
#include "kelvora/Configuration.hpp"
#include "kelvora/ParameterBuilder.hpp"

namespace kelvora {
namespace {

using testing::B;
using testing::E;
using testing::F;
using testing::I;
using testing::U;

struct PrintCase {
  ParameterKey key;
  ParameterValue value, lower, upper;
  bool alphabetic;
  const char* expected;
};

TEST(TextOutput, ParameterPrintsNameValueAndBounds) {
  const PrintCase cases[] = {
      {MPI_NOISE_DISTANCE, F(2), F(0), F(10), false, "x: 2 Bounds: [0, 10]"},
      {AMPLITUDE_THRESHOLD, F(0.5f), F(0.00015f), F(4095), false, "x: 0.5 Bounds: [0.00015, 4095]"},
      {FREQUENCY_1, U(80320000u), E(), E(), false, "x: 80320000"},
      {ADAPTIVE_NOISE_FILTER_TYPE, I(-2), I(-3), I(2), false, "x: -2 Bounds: [-3, 2]"},
      {USE_AUTO_EXPOSURE, B(true), B(false), B(true), false, "x: 1 Bounds: [0, 1]"},
      {USE_AUTO_EXPOSURE, B(false), B(false), B(true), true, "x: false Bounds: [false, true]"},
      {NUM_FREQS, U(1), E(), U(2), false, "x: 1 Bounds: [! Empty Variant !, 2]"},
      {NUM_FREQS, U(1), U(0), E(), false, "x: 1"},  // a lone lower bound is no bound
      {INVALID_PARAMETER_KEY, F(2), F(0), F(10), false, "Invalid parameter!"},
  };
  for (const PrintCase& c : cases) {
    std::ostringstream os;
    if (c.alphabetic) os << std::boolalpha;
    os << ParameterBuilder()
              .setKey(c.key)
              .setName("x")
              .setValue(c.value)
              .setBounds(c.lower, c.upper)
              .build();
    EXPECT_EQ(os.str(), c.expected);
  }
}

}  // namespace
}  // namespace kelvora
