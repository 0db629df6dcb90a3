#pragma once
// Assembles a Parameter step by step. Nothing is validated: mismatched types
// between value, bounds and setter are stored as given and show up only in
// Parameter::setValue and in the apply operation.
#include <string>

#include "kelvora/Export.hpp"
#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterImpl.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

class KELVORA_API ParameterBuilder {
 public:
  ParameterBuilder();
  ParameterBuilder& setKey(ParameterKey key);
  ParameterBuilder& setName(const std::string& name);
  ParameterBuilder& setDescription(const std::string& description);
  ParameterBuilder& setValue(const ParameterValue& value);
  ParameterBuilder& setBounds(const ParameterValue& lower, const ParameterValue& upper);
  ParameterBuilder& setFunctor(const ParameterFunctor& functor);
  // A new Parameter owning a copy of everything set so far.
  Parameter build() const;

 private:
  ParameterImpl impl_;
};

}  // namespace kelvora
