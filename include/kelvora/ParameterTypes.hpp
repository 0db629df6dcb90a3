#pragma once
// The value and setter types of a parameter. Both lists end in a bool
// alternative no parameter uses, so both have five alternatives and setter
// alternative i accepts value alternative i.
#include <functional>

#include "kelvora/Variant.hpp"

namespace kelvora {

// The core's parameter record; only the library sees its fields.
struct KelvoraParameter;

// Value alternatives: 0 float, 1 unsigned int, 2 bool, 3 int, 4 terminal bool.
using ParameterValue = Variant<float, unsigned int, bool, int, bool>;

// Setter alternatives, index for index matching ParameterValue.
using ParameterFunctor = Variant<std::function<void(KelvoraParameter&, float)>,
                                 std::function<void(KelvoraParameter&, unsigned int)>,
                                 std::function<void(KelvoraParameter&, bool)>,
                                 std::function<void(KelvoraParameter&, int)>, bool>;

// Compile-time list of types; the apply operation walks it one step per type.
template <class... Ts>
struct TypeList {};

}  // namespace kelvora
