// Out of memory at every single allocation of an operation must leave no
// block behind and, where an object already existed, leave it unchanged.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "AllocationProbe.hpp"
#include "ElementSamples.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/ArrayAllocator.hpp"
#include "kelvora/Configuration.hpp"
#include "kelvora/Field.hpp"
#include "kelvora/ParameterBuilder.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

using testing::ElementSamples;
using testing::failEachAllocation;
using testing::RedirectionVariant;

template <class Op, class After>
void expectFailureSafe(Op op, After after) {
  const char* failure = "";
  const int64_t needed = failEachAllocation(op, after, &failure);
  EXPECT_GE(needed, 1) << failure;
}

template <class Op>
void expectFailureSafe(Op op) {
  expectFailureSafe(op, [] { return true; });
}

ArrayHolder<Parameter> registryList() {
  std::map<ParameterKey, Parameter> all = getAllParameters();
  ArrayHolder<Parameter> list(static_cast<uint32_t>(all.size()));
  uint32_t i = 0;
  for (auto& entry : all) list[i++] = entry.second;
  return list;
}

std::string printed(const Configuration& c) {
  std::string text;
  for (const Parameter& p : c.getParameters()) text += p.name() + std::to_string(p.key());
  return text;
}

TEST(ExceptionSafetyTest, AllocatingParameterArrays) {
  expectFailureSafe([] { freeArray(allocArray<Parameter>(5)); });
}

TEST(ExceptionSafetyTest, AllocatingRedirectionArrays) {
  expectFailureSafe([] { freeArray(allocArray<RedirectionVariant>(7)); });
}

TEST(ExceptionSafetyTest, CopyingParameterHolders) {
  const ArrayHolder<Parameter> source = registryList();
  expectFailureSafe([&] { ArrayHolder<Parameter> copy(source); });
  expectFailureSafe([&] { ImmutableField<Parameter> field(source); });
}

TEST(ExceptionSafetyTest, CopyingRedirectionHolders) {
  ArrayHolder<RedirectionVariant> source(6);
  for (uint32_t i = 0; i < 6; ++i) source[i] = ElementSamples<RedirectionVariant>::make(i);
  expectFailureSafe([&] { ArrayHolder<RedirectionVariant> copy(source); });
}

TEST(ExceptionSafetyTest, CopyingSetterVariants) {
  ParameterFunctor functor;
  functor.emplace<0>([](KelvoraParameter&, float) {});
  expectFailureSafe([&] { ParameterFunctor copy(functor); });
}

TEST(ExceptionSafetyTest, BuildingTheRegistry) {
  expectFailureSafe([] { getAllParameters(); });
}

TEST(ExceptionSafetyTest, BuildingAParameter) {
  expectFailureSafe([] {
    ParameterBuilder()
        .setKey(NOISE_THRESHOLD)
        .setName("a name too long for the small-string buffer")
        .setValue(ParameterValue(1.0f))
        .setBounds(ParameterValue(0.0f), ParameterValue(2.0f))
        .build();
  });
}

TEST(ExceptionSafetyTest, ParameterAssignmentKeepsTheOldValue) {
  const ArrayHolder<Parameter> list = registryList();
  Parameter target = list[0];
  expectFailureSafe([&] { target = list[3]; },
                    [&] { return target.key() == list[0].key() && target.getValue().getIf<0>(); });
}

TEST(ExceptionSafetyTest, BuildingAConfiguration) {
  const ArrayHolder<Parameter> list = registryList();
  expectFailureSafe([&] { Configuration configuration(list); });
}

TEST(ExceptionSafetyTest, ConfigurationAssignmentKeepsTheOldContent) {
  const ArrayHolder<Parameter> all = registryList();
  ArrayHolder<Parameter> few(2);
  few[0] = all[5];
  few[1] = all[1];
  Configuration target(few);
  const std::string before = printed(target);
  const Configuration source(all);
  expectFailureSafe([&] { target = source; }, [&] { return printed(target) == before; });
  EXPECT_EQ(printed(target), printed(source));
}

TEST(ExceptionSafetyTest, SettingParameters) {
  const ArrayHolder<Parameter> all = registryList();
  Configuration configuration(all);
  const ImmutableField<Parameter> changes(all);
  expectFailureSafe([&] { configuration.setParameters(changes); });
}

}  // namespace
}  // namespace kelvora
