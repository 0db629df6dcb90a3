#include "kelvora/Variant.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "base/KelvoraParameter.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {
namespace {

TEST(VariantTest, DefaultIsEmptyOnePastTheLastAlternative) {
  ParameterValue v;
  EXPECT_EQ(v.index(), 5u);
  EXPECT_TRUE(v.isEmpty());
  EXPECT_EQ(v.getIf<0>(), nullptr);
  Variant<int, char, double, float, short, long> six;
  EXPECT_EQ(six.index(), 6u);
}

TEST(VariantTest, TypedConstructionPicksTheFirstAlternativeOfThatType) {
  EXPECT_EQ(ParameterValue(1.5f).index(), 0u);
  EXPECT_EQ(ParameterValue(7u).index(), 1u);
  EXPECT_EQ(ParameterValue(true).index(), 2u);
  EXPECT_EQ(ParameterValue(-3).index(), 3u);
  ParameterValue terminal;
  terminal.emplace<4>(true);
  EXPECT_EQ(terminal.index(), 4u);
  EXPECT_EQ(terminal.getIf<2>(), nullptr);
  ASSERT_NE(terminal.getIf<4>(), nullptr);
  EXPECT_TRUE(*terminal.getIf<4>());
}

TEST(VariantTest, CopiesHaveTheirOwnStorage) {
  ParameterValue a(-3);
  ParameterValue b(a);
  EXPECT_NE(a.getIf<3>(), b.getIf<3>());
  *b.getIf<3>() = 9;
  EXPECT_EQ(*a.getIf<3>(), -3);
  a = b;
  EXPECT_EQ(*a.getIf<3>(), 9);
  a = ParameterValue();
  EXPECT_TRUE(a.isEmpty());
  a = a;
  EXPECT_TRUE(a.isEmpty());
}

TEST(VariantTest, CopiedSetterKeepsItsCapturedState) {
  auto counter = std::make_shared<int>(0);
  ParameterFunctor f;
  f.emplace<1>([counter](KelvoraParameter&, unsigned int v) { *counter += static_cast<int>(v); });
  EXPECT_EQ(counter.use_count(), 2);
  {
    ParameterFunctor copy(f);
    EXPECT_EQ(counter.use_count(), 3);
    KelvoraParameter record{};
    (*copy.getIf<1>())(record, 4u);
    EXPECT_EQ(*counter, 4);
  }
  // Destroying the copy ran the std::function's destructor.
  EXPECT_EQ(counter.use_count(), 2);
  f.reset();
  EXPECT_EQ(counter.use_count(), 1);
}

TEST(VariantTest, ApplyVisitorMatchesIndexInOrderAndIgnoresOthers) {
  struct Recorder {
    std::string* seen;
    void operator()(const float&) const { *seen += "f"; }
    void operator()(const unsigned int&) const { *seen += "u"; }
    void operator()(const bool& b) const { *seen += b ? "T" : "F"; }
    void operator()(const int&) const { *seen += "i"; }
  };
  alignas(8) char storage[8] = {};
  std::string seen;
  for (uint32_t index = 0; index < 8; ++index) {
    const char* bytes = storage;
    details::apply_visitor<0u, float, unsigned int, bool, int, bool>(index, bytes, Recorder{&seen});
  }
  EXPECT_EQ(seen, "fuFiF");
}

// Printing each alternative is part of the parameter's printing cases. Inside
// the library's namespace the variant's stream operator must not get in the
// way of the standard manipulators.
TEST(VariantPrinting, ManipulatorsStillWork) {
  std::ostringstream os;
  os << ParameterValue(2.5f) << std::endl << std::flush;
  EXPECT_EQ(os.str(), "2.5\n");
}

}  // namespace
}  // namespace kelvora
