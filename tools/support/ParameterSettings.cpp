#include "support/ParameterSettings.hpp"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

std::string valueText(const ParameterValue& v) {
  std::ostringstream os;
  if (const float* f = v.getIf<0>()) os << *f;
  if (const unsigned int* u = v.getIf<1>()) os << *u;
  if (const bool* b = v.getIf<2>()) os << (*b ? "true" : "false");
  if (const int* i = v.getIf<3>()) os << *i;
  return os.str();
}

// Parses text as the type of alternative `type`; false when it is not one.
bool parseValue(uint32_t type, const std::string& text, ParameterValue& out) {
  if (text.empty()) return false;
  const char* s = text.c_str();
  char* end = nullptr;
  errno = 0;
  switch (type) {
    case 0: {
      const float v = std::strtof(s, &end);
      if (*end != '\0' || errno != 0 || !std::isfinite(v)) return false;
      out.emplace<0>(v);
      return true;
    }
    case 1: {
      if (text[0] == '-') return false;
      const unsigned long long v = std::strtoull(s, &end, 10);
      if (*end != '\0' || errno != 0 || v > 0xFFFFFFFFull) return false;
      out.emplace<1>(static_cast<unsigned int>(v));
      return true;
    }
    case 2:
      if (text == "true" || text == "1" || text == "on") {
        out.emplace<2>(true);
      } else if (text == "false" || text == "0" || text == "off") {
        out.emplace<2>(false);
      } else {
        return false;
      }
      return true;
    case 3: {
      const long long v = std::strtoll(s, &end, 10);
      if (*end != '\0' || errno != 0 || v < -2147483648LL || v > 2147483647LL) return false;
      out.emplace<3>(static_cast<int>(v));
      return true;
    }
    default:
      return false;
  }
}

const char* typeName(uint32_t type) {
  static const char* const kNames[] = {"a number", "an unsigned integer", "true or false",
                                       "an integer"};
  return type < 4 ? kNames[type] : "a value";
}

}  // namespace

std::string parameterValueText(const Parameter& p) {
  return valueText(p.getValue());
}

std::string boundsText(const Parameter& p) {
  if (!p.hasBounds()) return "none";
  return "[" + valueText(p.lowerBound()) + ", " + valueText(p.upperBound()) + "]";
}

void applySettings(Configuration& configuration, const std::vector<std::string>& settings) {
  for (const std::string& setting : settings) {
    const size_t eq = setting.find('=');
    if (eq == std::string::npos || eq == 0) {
      throw ToolError("--set " + setting + ": expected name=value");
    }
    const std::string name = setting.substr(0, eq);
    const std::string text = setting.substr(eq + 1);
    Parameter p = configuration.getParameterByName(name.c_str());
    if (!p.isValid()) {
      throw ToolError("--set " + setting + ": unknown parameter '" + name +
                      "' (kelvora process --list-parameters shows them all)");
    }
    ParameterValue value;
    if (!parseValue(p.type(), text, value)) {
      throw ToolError("--set " + setting + ": " + name + " takes " + typeName(p.type()));
    }
    if (!p.setValue(value)) {
      throw ToolError("--set " + setting + ": " + text + " is outside " + name + "'s bounds " +
                      boundsText(p));
    }
    configuration.setParameter(p);
  }
}

}  // namespace kelvora::tools
