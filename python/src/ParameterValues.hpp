#pragma once
// Parameter values between Python and the library: a float parameter shows as
// the shortest decimal that reads back as the same single-precision value
// (0.07, not 0.07000000029802322), unsigned and int parameters as int, switches
// as bool. Python values are taken only when their type fits the parameter's:
// a bool never passes for a number, nor a float for an integer.
#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora::python {

namespace py = pybind11;

// None for an empty value.
py::object toPython(const ParameterValue& value);

// A value of the parameter's type (Parameter::type()) read from text as
// parameterValueText writes it; empty for empty text.
ParameterValue fromText(uint32_t type, const std::string& text);

// The Python value as a value of parameter p's type. Throws
// pybind11::value_error naming the parameter, the type it takes and its bounds
// when the value is of another type or outside what that type can hold.
ParameterValue fromPython(const Parameter& p, py::handle value);

}  // namespace kelvora::python
