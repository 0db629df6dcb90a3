#include "kelvora/ParameterBuilder.hpp"

namespace kelvora {

ParameterBuilder::ParameterBuilder() = default;

ParameterBuilder& ParameterBuilder::setKey(ParameterKey key) {
  impl_.key = key;
  return *this;
}

ParameterBuilder& ParameterBuilder::setName(const std::string& name) {
  impl_.name = name;
  return *this;
}

ParameterBuilder& ParameterBuilder::setDescription(const std::string& description) {
  impl_.description = description;
  return *this;
}

ParameterBuilder& ParameterBuilder::setValue(const ParameterValue& value) {
  impl_.value = value;
  return *this;
}

ParameterBuilder& ParameterBuilder::setBounds(const ParameterValue& lower,
                                              const ParameterValue& upper) {
  impl_.lowerBound = lower;
  impl_.upperBound = upper;
  return *this;
}

ParameterBuilder& ParameterBuilder::setFunctor(const ParameterFunctor& functor) {
  impl_.functor = functor;
  return *this;
}

Parameter ParameterBuilder::build() const {
  return Parameter(new ParameterImpl(impl_));
}

}  // namespace kelvora
