// Out of memory at every single allocation of an operation must leave no
// block behind and, where an object already existed, leave it unchanged.
// Copying holders of parameters and redirections covers their arrays'
// allocation (and each element's copy, with its setter); building the
// registry covers building every kind of parameter.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "AllocationProbe.hpp"
#include "ElementSamples.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/Configuration.hpp"
#include "kelvora/Field.hpp"

namespace kelvora {
namespace {

using testing::ElementSamples;
using testing::RedirectionVariant;

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

struct Operation {
  const char* name;
  std::function<void()> run;
  std::function<bool()> unchanged;  // the state a failed run must leave
};

TEST(ExceptionSafetyTest, EveryAllocationMayFail) {
  const ArrayHolder<Parameter> all = registryList();
  ArrayHolder<RedirectionVariant> redirections(6);
  for (uint32_t i = 0; i < 6; ++i) redirections[i] = ElementSamples<RedirectionVariant>::make(i);
  Parameter parameter = all[0];
  ArrayHolder<Parameter> few(2);
  few[0] = all[5];
  few[1] = all[1];
  Configuration target(few);
  const std::string before = printed(target);
  const Configuration source(all);
  Configuration configuration(all);
  const ImmutableField<Parameter> changes(all);
  auto always = [] { return true; };

  const Operation operations[] = {
      {"copying a parameter holder", [&] { ArrayHolder<Parameter> copy(all); }, always},
      {"a field of parameters", [&] { ImmutableField<Parameter> field(all); }, always},
      {"copying a redirection holder", [&] { ArrayHolder<RedirectionVariant> c(redirections); },
       always},
      {"building the registry", [] { getAllParameters(); }, always},
      {"assigning a parameter", [&] { parameter = all[3]; },
       [&] { return parameter.key() == all[0].key() && parameter.getValue().getIf<0>(); }},
      {"building a configuration", [&] { Configuration c(all); }, always},
      {"assigning a configuration", [&] { target = source; },
       [&] { return printed(target) == before; }},
      {"setting parameters", [&] { configuration.setParameters(changes); }, always},
  };
  for (const Operation& op : operations) {
    const char* failure = "";
    EXPECT_GE(testing::failEachAllocation(op.run, op.unchanged, &failure), 1)
        << op.name << ": " << failure;
  }
  EXPECT_EQ(printed(target), printed(source));
}

}  // namespace
}  // namespace kelvora
