// The configuration: parameters kept sorted and found by the start-at-the-key
// search, and edits that stop at the first unknown key. (The redirectors are
// exercised for every result kind by the engine tests.)
#include "kelvora/Configuration.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ValueHelpers.hpp"
#include "kelvora/ParameterBuilder.hpp"

namespace kelvora {
namespace {

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

TEST(Configuration, KeySearchAgreesWithALinearScanOverSortedLists) {
  std::mt19937 random(20261123u);
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<uint32_t> pool(48);
    for (uint32_t k = 0; k < pool.size(); ++k) pool[k] = k;
    std::shuffle(pool.begin(), pool.end(), random);
    pool.resize(random() % 30);  // empty lists included
    Configuration c(listOf(pool));
    for (uint32_t key = 0; key < 52; ++key) {
      const bool present = std::find(pool.begin(), pool.end(), key) != pool.end();
      const Parameter found = c.getParameterByKey(static_cast<ParameterKey>(key));
      ASSERT_EQ(found.key() == key && testing::sameValue(found.getValue(), U(key)), present)
          << "key " << key << " among " << pool.size();
      ASSERT_EQ(c.setParameter(named(key, "x")), present) << "key " << key;
    }
  }
}

TEST(Configuration, SetParametersStopsAtTheFirstUnknownKeyWithoutUndo) {
  Configuration c(listOf({1, 2, 3, 5}));
  ArrayHolder<Parameter> changes(3);
  changes[0] = named(2, "first");
  changes[1] = named(4, "unknown");
  changes[2] = named(3, "third");
  const KelvoraStatus refused = c.setParameters(ImmutableField<Parameter>(changes));
  EXPECT_EQ(refused.code, KelvoraStatus::UNKNOWN_PARAMETER);
  EXPECT_EQ(refused.detail, 4u);
  EXPECT_STREQ(c.getParameterByKey(CONSISTENCY_TOLERANCE).name(), "first");
  EXPECT_STREQ(c.getParameterByKey(NOISE_THRESHOLD).name(), "p3");

  changes[1] = named(5, "fifth");
  const KelvoraStatus ok = c.setParameters(ImmutableField<Parameter>(changes));
  EXPECT_EQ(ok.code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(ok.detail, 0u);
  EXPECT_STREQ(c.getParameterByKey(NOISE_THRESHOLD).name(), "third");
}

}  // namespace
}  // namespace kelvora
