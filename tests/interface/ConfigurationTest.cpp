#include "kelvora/Configuration.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "ValueHelpers.hpp"
#include "kelvora/ParameterBuilder.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

using testing::F;
using testing::sameValue;
using testing::U;

Parameter named(uint32_t key, const std::string& name) {
  return ParameterBuilder()
      .setKey(static_cast<ParameterKey>(key))
      .setName(name)
      .setValue(U(key))
      .build();
}

ArrayHolder<Parameter> listOf(const std::vector<uint32_t>& keys) {
  ArrayHolder<Parameter> list(static_cast<uint32_t>(keys.size()));
  for (uint32_t i = 0; i < list.size(); ++i)
    list[i] = named(keys[i], "p" + std::to_string(keys[i]));
  return list;
}

std::vector<uint32_t> keysOf(const Configuration& c) {
  std::vector<uint32_t> keys;
  for (const Parameter& p : c.getParameters()) keys.push_back(p.key());
  return keys;
}

// Alternative i of the redirection variant holds the redirector of the
// result kind listed at position i.
static_assert(Configuration::redirectionIndex(POINT_CLOUD) == 1);
static_assert(Configuration::redirectionIndex(AMPLITUDE) == 0);
static_assert(Configuration::redirectionIndex(FLAGS) == 3);
static_assert(Configuration::redirectionIndex(NOISE) == 2);
static_assert(Configuration::redirectionIndex(INTENSITY) == 4);
static_assert(Configuration::redirectionIndex(DISTANCE) == 5);
using RV = Configuration::RedirectionVariant;
static_assert(std::is_same_v<RV::Alternative<0>, OutputRedirector<AMPLITUDE>>);
static_assert(std::is_same_v<RV::Alternative<1>, OutputRedirector<POINT_CLOUD>>);
static_assert(std::is_same_v<RV::Alternative<2>, OutputRedirector<NOISE>>);
static_assert(std::is_same_v<RV::Alternative<3>, OutputRedirector<FLAGS>>);
static_assert(std::is_same_v<RV::Alternative<4>, OutputRedirector<INTENSITY>>);
static_assert(std::is_same_v<RV::Alternative<5>, OutputRedirector<DISTANCE>>);
static_assert(std::is_same_v<OutputRedirector<FLAGS>::value_type, unsigned int>);
static_assert(std::is_same_v<OutputRedirector<POINT_CLOUD>::value_type, float>);

// Exposes the redirection table, which only the configuration itself edits.
class TableAccess : public Configuration {
 public:
  using Configuration::Configuration;
  using Configuration::redirectionTable;
};

TEST(ConfigurationTest, EmptyListHasNoParametersButAllRedirectors) {
  TableAccess c{ArrayHolder<Parameter>()};
  EXPECT_EQ(c.getParameters().size(), 0u);
  EXPECT_FALSE(c.getParameterByKey(AMPLITUDE_THRESHOLD).isValid());
  EXPECT_FALSE(c.getParameterByKey(INVALID_PARAMETER_KEY).isValid());
  EXPECT_FALSE(c.getParameterByName("numFreqs").isValid());
  EXPECT_FALSE(c.setParameter(named(3, "x")));

  ASSERT_EQ(c.redirectionTable().size(), 7u);
  EXPECT_FALSE(c.getOutputRedirection<POINT_CLOUD>().hasRedirection());
  EXPECT_FALSE(c.getOutputRedirection<AMPLITUDE>().hasRedirection());
  EXPECT_FALSE(c.getOutputRedirection<FLAGS>().hasRedirection());
  EXPECT_FALSE(c.getOutputRedirection<NOISE>().hasRedirection());
  EXPECT_FALSE(c.getOutputRedirection<INTENSITY>().hasRedirection());
  EXPECT_EQ(c.getOutputRedirection<DISTANCE>().target().data(), nullptr);
}

TEST(ConfigurationTest, ParametersComeOutSortedByKey) {
  EXPECT_EQ(keysOf(Configuration(listOf({28, 20, 9, 4, 1}))),
            (std::vector<uint32_t>{1, 4, 9, 20, 28}));
}

TEST(ConfigurationTest, KeySearchAgreesWithALinearScan) {
  std::mt19937 random(20261123u);
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<uint32_t> pool(48);
    for (uint32_t k = 0; k < pool.size(); ++k) pool[k] = k;
    std::shuffle(pool.begin(), pool.end(), random);
    pool.resize(random() % 30);
    const Configuration c(listOf(pool));
    for (uint32_t key = 0; key < 52; ++key) {
      const bool present = std::find(pool.begin(), pool.end(), key) != pool.end();
      const Parameter found = c.getParameterByKey(static_cast<ParameterKey>(key));
      ASSERT_EQ(found.key() == key && found.type() == 1u, present)
          << "key " << key << " among " << pool.size();
      if (present) {
        EXPECT_EQ(*found.getValue().getIf<1>(), key);
      }
    }
  }
}

TEST(ConfigurationTest, NameSearchIsExactAndTakesTheFirstInKeyOrder) {
  ArrayHolder<Parameter> list(3);
  list[0] = named(9, "twin");
  list[1] = named(4, "twin");
  list[2] = named(6, "numFreqs");
  const Configuration c(list);
  EXPECT_EQ(c.getParameterByName("twin").key(), 4u);
  EXPECT_EQ(c.getParameterByName("numFreqs").key(), 6u);
  EXPECT_FALSE(c.getParameterByName("numfreqs").isValid());
  EXPECT_FALSE(c.getParameterByName("numFreqs ").isValid());
  EXPECT_FALSE(c.getParameterByName("").isValid());
  EXPECT_FALSE(c.getParameterByName(nullptr).isValid());
}

TEST(ConfigurationTest, LookupsHandOutCopies) {
  Configuration c(listOf({1, 2, 3}));
  Parameter p = c.getParameterByKey(CONSISTENCY_TOLERANCE);
  ASSERT_TRUE(p.setValue(U(77)));
  EXPECT_TRUE(sameValue(c.getParameterByKey(CONSISTENCY_TOLERANCE).getValue(), U(2)));

  const Configuration& view = c;
  ImmutableField<Parameter> snapshot = view.getParameters();
  c.getParameters()[0] = named(1, "edited in place");
  EXPECT_STREQ(c.getParameterByKey(AMPLITUDE_THRESHOLD).name(), "edited in place");
  EXPECT_STREQ(snapshot[0].name(), "p1");
}

TEST(ConfigurationTest, SetParameterReplacesEverythingUnvalidated) {
  Configuration c(listOf({1, 2, 3}));
  ParameterFunctor setter;
  setter.emplace<0>([](KelvoraParameter&, float) {});
  const Parameter replacement = ParameterBuilder()
                                    .setKey(CONSISTENCY_TOLERANCE)
                                    .setName("other")
                                    .setDescription("new")
                                    .setValue(F(99.0f))
                                    .setBounds(F(0.0f), F(1.0f))
                                    .setFunctor(setter)
                                    .build();
  EXPECT_TRUE(c.setParameter(replacement));
  const Parameter stored = c.getParameterByKey(CONSISTENCY_TOLERANCE);
  EXPECT_STREQ(stored.name(), "other");
  EXPECT_STREQ(stored.description(), "new");
  EXPECT_TRUE(sameValue(stored.getValue(), F(99.0f)));
  EXPECT_TRUE(sameValue(stored.upperBound(), F(1.0f)));
  EXPECT_EQ(stored.impl()->functor.index(), 0u);
  EXPECT_EQ(keysOf(c), (std::vector<uint32_t>{1, 2, 3}));
  EXPECT_FALSE(c.setParameter(named(4, "absent")));
}

TEST(ConfigurationTest, SetParametersStopsAtTheFirstUnknownKey) {
  Configuration c(listOf({1, 2, 3, 5}));
  ArrayHolder<Parameter> changes(3);
  changes[0] = named(2, "first");
  changes[1] = named(4, "unknown");
  changes[2] = named(3, "third");
  const KelvoraStatus status = c.setParameters(ImmutableField<Parameter>(changes));
  EXPECT_EQ(status.code, KelvoraStatus::UNKNOWN_PARAMETER);
  EXPECT_EQ(status.code, 3u);
  EXPECT_EQ(status.detail, 4u);
  EXPECT_STREQ(c.getParameterByKey(CONSISTENCY_TOLERANCE).name(), "first");
  EXPECT_STREQ(c.getParameterByKey(NOISE_THRESHOLD).name(), "p3");

  changes[1] = named(5, "fifth");
  const KelvoraStatus ok = c.setParameters(ImmutableField<Parameter>(changes));
  EXPECT_EQ(ok.code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(ok.detail, 0u);
  EXPECT_STREQ(c.getParameterByKey(NOISE_THRESHOLD).name(), "third");
  EXPECT_STREQ(c.getParameterByKey(EXPOSURE_REFERENCE_AMPLITUDE).name(), "fifth");
}

template <ResultType RT>
void expectRedirectionRoundTrip(Configuration& c) {
  using T = typename OutputRedirector<RT>::value_type;
  static T memory[8];
  OutputRedirector<RT> r;
  EXPECT_EQ(r.type(), RT);
  r.setRedirection(ArrayReference<T>(memory, 8));
  c.setOutputRedirection<RT>(r);
  const OutputRedirector<RT> back = c.getOutputRedirection<RT>();
  EXPECT_TRUE(back.hasRedirection());
  EXPECT_EQ(back.target().data(), memory);
  EXPECT_EQ(back.target().size(), 8u);

  r.clearRedirection();
  c.setOutputRedirection<RT>(r);
  EXPECT_FALSE(c.getOutputRedirection<RT>().hasRedirection());
  EXPECT_EQ(c.getOutputRedirection<RT>().target().data(), memory);
}

TEST(ConfigurationTest, RedirectionsRoundTripPerResultKind) {
  TableAccess c(listOf({1}));
  expectRedirectionRoundTrip<POINT_CLOUD>(c);
  expectRedirectionRoundTrip<AMPLITUDE>(c);
  expectRedirectionRoundTrip<FLAGS>(c);
  expectRedirectionRoundTrip<NOISE>(c);
  expectRedirectionRoundTrip<INTENSITY>(c);
  expectRedirectionRoundTrip<DISTANCE>(c);
  for (uint32_t rt = 0; rt < 6; ++rt) {
    EXPECT_EQ(c.redirectionTable()[rt].index(),
              Configuration::redirectionIndex(static_cast<ResultType>(rt)));
  }
  EXPECT_TRUE(c.redirectionTable()[6].isEmpty());
}

TEST(ConfigurationTest, CopiesAreDeep) {
  float memory[4];
  Configuration original(listOf({1, 2}));
  OutputRedirector<NOISE> r;
  r.setRedirection(ArrayReference<float>(memory, 4));
  original.setOutputRedirection(r);

  Configuration copy(original);
  EXPECT_NE(copy.getParameters().data(), original.getParameters().data());
  EXPECT_EQ(copy.getOutputRedirection<NOISE>().target().data(), memory);
  copy.setParameter(named(2, "changed"));
  copy.setOutputRedirection(OutputRedirector<NOISE>());
  EXPECT_STREQ(original.getParameterByKey(CONSISTENCY_TOLERANCE).name(), "p2");
  EXPECT_TRUE(original.getOutputRedirection<NOISE>().hasRedirection());

  Configuration assigned(listOf({}));
  assigned = original;
  EXPECT_EQ(keysOf(assigned), (std::vector<uint32_t>{1, 2}));
  EXPECT_TRUE(assigned.getOutputRedirection<NOISE>().hasRedirection());
}

TEST(OutputRedirectorTest, PrintsExactText) {
  std::ostringstream plain;
  plain << OutputRedirector<FLAGS>();
  EXPECT_EQ(plain.str(), "Redirection for 2 (hasRedirection: 0)");

  float memory[12];
  OutputRedirector<DISTANCE> r;
  r.setRedirection(ArrayReference<float>(memory, 12));
  std::ostringstream pointer;
  pointer << static_cast<const void*>(memory);
  std::ostringstream redirected;
  redirected << std::boolalpha << r;
  EXPECT_EQ(redirected.str(),
            "Redirection for 5 (hasRedirection: true; Target: " + pointer.str() + " of size: 12)");

  r.clearRedirection();
  std::ostringstream cleared;
  cleared << r;
  EXPECT_EQ(cleared.str(), "Redirection for 5 (hasRedirection: 0)");
}

// Corrupts the table the way a broken mapping would and reads result kind RT.
template <ResultType RT>
void readCorrupted(uint32_t slotContent) {
  TableAccess c(listOf({1}));
  ArrayHolder<RV>& table = c.redirectionTable();
  if (slotContent < 6) {
    table[RT] = table[slotContent];
  } else {
    table[RT] = RV();
  }
  c.getOutputRedirection<RT>();
}

const char* const kCorrupt =
    "^Internal error\\. Enumeration to redirection mapping is corrupt\\.\n";

TEST(ConfigurationDeathTest, CorruptTableAbortsWithTheFixedMessage) {
  // Slot 0 holding the redirector of result kind 1: the order of the variant's
  // alternatives makes this the easy mistake.
  EXPECT_EXIT(readCorrupted<POINT_CLOUD>(AMPLITUDE), ::testing::KilledBySignal(SIGABRT), kCorrupt);
  EXPECT_EXIT(readCorrupted<AMPLITUDE>(POINT_CLOUD), ::testing::KilledBySignal(SIGABRT), kCorrupt);
  EXPECT_EXIT(readCorrupted<FLAGS>(NOISE), ::testing::KilledBySignal(SIGABRT), kCorrupt);
  EXPECT_EXIT(readCorrupted<NOISE>(6), ::testing::KilledBySignal(SIGABRT), kCorrupt);
  EXPECT_EXIT(readCorrupted<INTENSITY>(DISTANCE), ::testing::KilledBySignal(SIGABRT), kCorrupt);
  EXPECT_EXIT(readCorrupted<DISTANCE>(6), ::testing::KilledBySignal(SIGABRT), kCorrupt);
}

}  // namespace
}  // namespace kelvora
