#pragma once
/// \file
/// \brief The data behind a Parameter handle.
#include <cstdint>
#include <string>

#include "kelvora/Export.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

/// \brief The data behind a Parameter handle.
struct KELVORA_API ParameterImpl {
  /// Short identifier.
  std::string name;
  /// One-sentence help text.
  std::string description;
  /// Current value; its alternative index is the parameter's type.
  ParameterValue value;
  /// Upper bound (inclusive); empty: no bounds.
  ParameterValue upperBound;
  /// Lower bound (inclusive).
  ParameterValue lowerBound;
  /// Writes a value of the matching type into the core's record.
  ParameterFunctor functor;
  /// The parameter's identity.
  ParameterKey key = INVALID_PARAMETER_KEY;

  /// \brief Writes the value into target through the setter of the same
  /// alternative.
  /// \param target the core's parameter record.
  /// \return true when written; false without writing when the setter's
  ///   alternative differs or the value is empty.
  /// \throws std::bad_function_call for an empty setter of the right
  ///   alternative.
  bool apply(KelvoraParameter& target) const {
    return doApply<TypeList<float, unsigned int, bool, int, bool>>(target);
  }

  /// \brief One step of the walk over the value's alternative types.
  /// \tparam Types the tail of the type list still to try, so its first
  ///   type has index 5 - size.
  /// \param target the core's parameter record.
  /// \return as apply().
  template <class Types>
  bool doApply(KelvoraParameter& target) const {
    return step(target, Types{});
  }

 private:
  static bool step(KelvoraParameter&, TypeList<>) { return false; }

  template <class T, class... Rest>
  bool step(KelvoraParameter& target, TypeList<T, Rest...>) const {
    constexpr uint32_t i = ParameterValue::kEmpty - 1u - sizeof...(Rest);
    if (value.index() != i) return doApply<TypeList<Rest...>>(target);
    if (functor.index() != i) return false;
    if constexpr (i + 1u < ParameterValue::kEmpty) {
      (*functor.getIf<i>())(target, *value.getIf<i>());
      return true;
    } else {
      // The terminal alternatives hold no setter: nothing can be written.
      return false;
    }
  }
};

}  // namespace kelvora
