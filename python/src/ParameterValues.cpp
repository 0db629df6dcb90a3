#include "ParameterValues.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

#include "kelvora/HostSupport.hpp"

namespace kelvora::python {

namespace {

enum ValueType : uint32_t { kFloat = 0, kUnsigned = 1, kBool = 2, kInt = 3 };

// Shortest %g text with 6 to 9 significant digits that reads back as f; 9
// digits always do for a single-precision value.
double shortestDecimal(float f) {
  char text[32];
  for (int digits = 6; digits <= 9; ++digits) {
    std::snprintf(text, sizeof(text), "%.*g", digits, static_cast<double>(f));
    if (std::strtof(text, nullptr) == f || f != f) break;
  }
  return std::strtod(text, nullptr);
}

bool isBoolLike(py::handle h) {
  if (PyBool_Check(h.ptr())) return true;
  // numpy's boolean scalar is not a subclass of bool.
  const char* name = Py_TYPE(h.ptr())->tp_name;
  return std::strcmp(name, "numpy.bool_") == 0 || std::strcmp(name, "numpy.bool") == 0;
}

const char* typeWords(uint32_t type) {
  switch (type) {
    case kFloat:
      return "a number";
    case kUnsigned:
      return "an unsigned integer";
    case kBool:
      return "True or False";
    default:
      return "an integer";
  }
}

[[noreturn]] void refuse(const Parameter& p, py::handle value) {
  std::string message = std::string(p.name()) + " takes " + typeWords(p.type());
  if (p.hasBounds()) {
    message += " in [" + parameterValueText(p.lowerBound()) + ", " +
               parameterValueText(p.upperBound()) + "]";
  } else if (p.type() == kUnsigned) {
    message += " in [0, 4294967295]";
  }
  const std::string typeName = Py_TYPE(value.ptr())->tp_name;
  throw py::value_error(message + ", not " + typeName + " " + py::repr(value).cast<std::string>());
}

// The integer value of an object that is an integer (int, numpy integers), or
// false. Values beyond 64 bits count as out of range.
bool integerOf(py::handle h, long long& out, bool& inRange) {
  if (isBoolLike(h) || !PyIndex_Check(h.ptr())) return false;
  const py::object index = py::reinterpret_steal<py::object>(PyNumber_Index(h.ptr()));
  if (!index) throw py::error_already_set();
  int overflow = 0;
  out = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
  inRange = overflow == 0;
  return true;
}

}  // namespace

py::object toPython(const ParameterValue& value) {
  if (const float* f = value.getIf<kFloat>()) return py::float_(shortestDecimal(*f));
  if (const unsigned int* u = value.getIf<kUnsigned>()) return py::int_(*u);
  if (const bool* b = value.getIf<kBool>()) return py::bool_(*b);
  if (const int* i = value.getIf<kInt>()) return py::int_(*i);
  return py::none();
}

ParameterValue fromText(uint32_t type, const std::string& text) {
  ParameterValue value;
  if (text.empty()) return value;
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  switch (type) {
    case kFloat: {
      float f = 0.0f;
      in >> f;
      value.emplace<kFloat>(f);
      break;
    }
    case kUnsigned: {
      unsigned int u = 0;
      in >> u;
      value.emplace<kUnsigned>(u);
      break;
    }
    case kBool:
      value.emplace<kBool>(text == "true");
      break;
    case kInt: {
      int i = 0;
      in >> i;
      value.emplace<kInt>(i);
      break;
    }
    default:
      break;
  }
  return value;
}

ParameterValue fromPython(const Parameter& p, py::handle value) {
  ParameterValue out;
  long long integer = 0;
  bool inRange = false;
  switch (p.type()) {
    case kFloat:
      if (isBoolLike(value) || !(PyFloat_Check(value.ptr()) || PyIndex_Check(value.ptr()) ||
                                 py::hasattr(value, "__float__"))) {
        refuse(p, value);
      }
      try {
        // Beyond single precision the value becomes infinite, which no float
        // parameter's bounds admit.
        out.emplace<kFloat>(static_cast<float>(
            py::cast<double>(py::float_(py::reinterpret_borrow<py::object>(value)))));
      } catch (const py::error_already_set&) {
        refuse(p, value);
      }
      return out;
    case kUnsigned:
      if (!integerOf(value, integer, inRange) || !inRange || integer < 0 ||
          integer > std::numeric_limits<unsigned int>::max()) {
        refuse(p, value);
      }
      out.emplace<kUnsigned>(static_cast<unsigned int>(integer));
      return out;
    case kBool:
      if (!isBoolLike(value)) refuse(p, value);
      out.emplace<kBool>(PyObject_IsTrue(value.ptr()) == 1);
      return out;
    case kInt:
      if (!integerOf(value, integer, inRange) || !inRange ||
          integer < std::numeric_limits<int>::min() || integer > std::numeric_limits<int>::max()) {
        refuse(p, value);
      }
      out.emplace<kInt>(static_cast<int>(integer));
      return out;
    default:
      refuse(p, value);
  }
}

}  // namespace kelvora::python
