#pragma once
/// \file
/// \brief The value and setter types of a parameter.
///
/// Both lists end in a bool alternative no parameter uses, so both have five
/// alternatives and setter alternative i accepts value alternative i.
#include <functional>

#include "kelvora/Variant.hpp"

namespace kelvora {

/// \brief The core's parameter record; only the library sees its fields.
struct KelvoraParameter;

/// \brief A parameter's value. Alternatives: 0 float, 1 unsigned int,
/// 2 bool, 3 int, 4 terminal bool (unused); e.g. ParameterValue(0.8f),
/// ParameterValue(3750u), ParameterValue(false).
using ParameterValue = Variant<float, unsigned int, bool, int, bool>;

/// \brief A parameter's setter; alternative i takes value alternative i.
using ParameterFunctor = Variant<std::function<void(KelvoraParameter&, float)>,
                                 std::function<void(KelvoraParameter&, unsigned int)>,
                                 std::function<void(KelvoraParameter&, bool)>,
                                 std::function<void(KelvoraParameter&, int)>, bool>;

/// \brief Compile-time list of types; the apply operation walks it one step
/// per type.
/// \tparam Ts the types.
template <class... Ts>
struct TypeList {};

}  // namespace kelvora
