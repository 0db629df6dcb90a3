#pragma once
/// \file
/// \brief Assembles a Parameter step by step.
#include <string>

#include "kelvora/Export.hpp"
#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterImpl.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

/// \brief Assembles a Parameter step by step; every setter returns the
/// builder, so calls chain.
///
/// Nothing is validated: mismatched types between value, bounds and setter
/// are stored as given and show up only in Parameter::setValue() and in the
/// apply operation. Hosts normally take parameters from an engine's
/// Configuration instead of building them.
class KELVORA_API ParameterBuilder {
 public:
  /// Starts from an invalid parameter (empty strings and variants, key 0).
  ParameterBuilder();
  /// \brief Sets the key.
  /// \param key the parameter's identity.
  /// \return this builder.
  ParameterBuilder& setKey(ParameterKey key);
  /// \brief Sets the name.
  /// \param name short identifier.
  /// \return this builder.
  ParameterBuilder& setName(const std::string& name);
  /// \brief Sets the description.
  /// \param description one-sentence help text.
  /// \return this builder.
  ParameterBuilder& setDescription(const std::string& description);
  /// \brief Sets the value; its alternative is the parameter's type.
  /// \param value the value.
  /// \return this builder.
  ParameterBuilder& setValue(const ParameterValue& value);
  /// \brief Sets both bounds (inclusive); empty variants mean no bounds.
  /// \param lower the lower bound.
  /// \param upper the upper bound.
  /// \return this builder.
  ParameterBuilder& setBounds(const ParameterValue& lower, const ParameterValue& upper);
  /// \brief Sets the setter that writes the value into the core's record.
  /// \param functor the setter, of the value's alternative.
  /// \return this builder.
  ParameterBuilder& setFunctor(const ParameterFunctor& functor);
  /// \brief A new Parameter owning a copy of everything set so far.
  /// \return the parameter.
  Parameter build() const;

 private:
  ParameterImpl impl_;
};

}  // namespace kelvora
