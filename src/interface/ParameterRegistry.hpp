#pragma once
// The registry of every processing parameter.
#include <map>

#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterKey.hpp"

namespace kelvora {

// A fresh, independent set of all 28 parameters with their defaults, ordered
// by key. Each setter writes exactly one field of KelvoraParameter, the one
// bearing the parameter's name, truncated to that field's width.
std::map<ParameterKey, Parameter> getAllParameters();

}  // namespace kelvora
