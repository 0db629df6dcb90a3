// Out of memory at any single allocation of an operation leaves no block
// behind and, where an object already existed, leaves it unchanged. Copies
// of parameter and redirection holders cover the element copies with their
// setters; building the registry covers every kind of parameter.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "AllocationProbe.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/Configuration.hpp"

namespace kelvora {
namespace {

std::string keysAndNames(const Configuration& c) {
  std::string text;
  for (const Parameter& p : c.getParameters()) text += p.name() + std::to_string(p.key());
  return text;
}

TEST(ExceptionSafetyTest, EveryAllocationMayFail) {
  const std::map<ParameterKey, Parameter> registry = getAllParameters();
  ArrayHolder<Parameter> all(static_cast<uint32_t>(registry.size()));
  uint32_t i = 0;
  for (const auto& entry : registry) all[i++] = entry.second;
  ArrayHolder<Configuration::RedirectionVariant> redirections(6);
  float memory[4];
  OutputRedirector<NOISE> noise;
  noise.setRedirection(ArrayReference<float>(memory, 4));
  for (auto& r : redirections) r.emplace<Configuration::redirectionIndex(NOISE)>(noise);
  Parameter parameter = all[0];
  ArrayHolder<Parameter> few(2);
  few[0] = all[5];
  few[1] = all[1];
  Configuration target(few);
  const std::string before = keysAndNames(target);
  const Configuration source(all);
  Configuration configuration(all);
  const ImmutableField<Parameter> changes(all);
  const auto always = [] { return true; };

  const struct {
    const char* name;
    std::function<void()> run;
    std::function<bool()> unchanged;
  } operations[] = {
      {"copying a parameter holder", [&] { ArrayHolder<Parameter> copy(all); }, always},
      {"a field of parameters", [&] { ImmutableField<Parameter> field(all); }, always},
      {"copying a redirection holder",
       [&] { ArrayHolder<Configuration::RedirectionVariant> copy(redirections); }, always},
      {"building the registry", [] { getAllParameters(); }, always},
      {"assigning a parameter", [&] { parameter = all[3]; },
       [&] { return parameter.key() == all[0].key() && parameter.getValue().getIf<0>(); }},
      {"building a configuration", [&] { Configuration c(all); }, always},
      {"assigning a configuration", [&] { target = source; },
       [&] { return keysAndNames(target) == before; }},
      {"setting parameters", [&] { configuration.setParameters(changes); }, always},
  };
  for (const auto& op : operations) {
    EXPECT_EQ(testing::failEachAllocation(op.run, op.unchanged), "") << op.name;
  }
  EXPECT_EQ(keysAndNames(target), keysAndNames(source));
}

}  // namespace
}  // namespace kelvora
