#pragma once
// The data behind a Parameter handle.
#include <cstdint>
#include <string>

#include "kelvora/Export.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

struct KELVORA_API ParameterImpl {
  std::string name;
  std::string description;
  ParameterValue value;       // its index is the parameter's type
  ParameterValue upperBound;  // empty: no bounds
  ParameterValue lowerBound;
  ParameterFunctor functor;  // writes a value of the matching type into the record
  ParameterKey key = INVALID_PARAMETER_KEY;

  // Writes the value into target through the setter of the same index and
  // returns true; returns false without writing when the setter's index
  // differs or the value is empty. An empty std::function of the right index
  // throws std::bad_function_call.
  bool apply(KelvoraParameter& target) const {
    return doApply<TypeList<float, unsigned int, bool, int, bool>>(target);
  }

  // One step of the walk over the value's alternative types: Types is the
  // tail of the list still to try, so its first type has index 5 - size.
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
