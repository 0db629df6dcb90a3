// Parameters set by name, from values or text, with the reason for a
// refusal in words; the listing shows exactly what the setter accepts.
#include <cctype>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "interface/ParameterRegistry.hpp"
#include "kelvora/HostSupport.hpp"

namespace kelvora {

namespace {

constexpr const char* kTypeNames[] = {"float", "unsigned", "bool", "int"};
// For messages: what text a parameter of each type takes.
constexpr const char* kTypeWords[] = {"a number", "an unsigned integer", "true or false",
                                      "an integer"};

const char* typeName(uint32_t type) {
  return type < 4 ? kTypeNames[type] : "none";
}

const char* typeWords(uint32_t type) {
  return type < 4 ? kTypeWords[type] : "no value";
}

std::string boundsText(const Parameter& p) {
  return "[" + parameterValueText(p.lowerBound()) + ", " + parameterValueText(p.upperBound()) + "]";
}

// Why a registry parameter is missing from an engine's configuration: the
// engine hides what its calibration decides.
const char* hiddenBecause(ParameterKey key) {
  switch (key) {
    case NUM_FREQS:
    case FREQUENCY_2:
    case USE_MPI_FLAG_AVERAGE:
    case USE_MPI_FLAG_AMPLITUDE:
    case USE_MPI_FLAG_DISTANCE:
      return "the calibration holds one modulation frequency";
    case USE_REMOVE_STRAY_LIGHT:
      return "the calibration has no stray-light model";
    default:
      return "the engine does not offer it";
  }
}

// A configuration without numFreqs belongs to an engine whose calibration
// holds one frequency; freq2 is listed there but never used.
bool unusedSecondFrequency(const Configuration& c, ParameterKey key) {
  return key == FREQUENCY_2 && !c.getParameterByKey(NUM_FREQS).isValid();
}

ParameterSetResult refused(ParameterRefusal why, std::string message) {
  ParameterSetResult r;
  r.refusal = why;
  r.message = std::move(message);
  return r;
}

// The parameter called name, or the refusal that says why there is none.
ParameterSetResult findParameter(const Configuration& c, const std::string& name, Parameter& p) {
  p = c.getParameterByName(name.c_str());
  if (p.isValid() && !unusedSecondFrequency(c, p.key())) return {};
  for (const auto& entry : getAllParameters()) {
    if (name == entry.second.name()) {
      return refused(ParameterRefusal::FIXED_BY_CALIBRATION,
                     name + " is fixed by this calibration: " + hiddenBecause(entry.first));
    }
  }
  return refused(ParameterRefusal::UNKNOWN_NAME, "unknown parameter '" + name + "'");
}

std::istringstream classicStream(const std::string& text) {
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  return in;
}

// Reads the whole text as a T; no sign for unsigned values, no spaces.
template <class T>
bool readWhole(const std::string& text, T& value) {
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) != 0) return false;
  if (std::is_unsigned<T>::value && text[0] == '-') return false;
  std::istringstream in = classicStream(text);
  in >> value;
  return !in.fail() && in.peek() == std::char_traits<char>::eof();
}

bool parseValue(uint32_t type, const std::string& text, ParameterValue& out) {
  switch (type) {
    case 0: {
      float v = 0.0f;
      if (!readWhole(text, v)) return false;
      out.emplace<0>(v);
      return true;
    }
    case 1: {
      unsigned long long v = 0;
      if (!readWhole(text, v) || v > 0xFFFFFFFFull) return false;
      out.emplace<1>(static_cast<unsigned int>(v));
      return true;
    }
    case 2:
      for (const char* yes : {"true", "1", "on"}) {
        if (text == yes) {
          out.emplace<2>(true);
          return true;
        }
      }
      for (const char* no : {"false", "0", "off"}) {
        if (text == no) {
          out.emplace<2>(false);
          return true;
        }
      }
      return false;
    case 3: {
      int v = 0;
      if (!readWhole(text, v)) return false;
      out.emplace<3>(v);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

std::string parameterValueText(const ParameterValue& v) {
  std::ostringstream os;
  os.imbue(std::locale::classic());
  if (const float* f = v.getIf<0>()) os << *f;
  if (const unsigned int* u = v.getIf<1>()) os << *u;
  if (const bool* b = v.getIf<2>()) os << (*b ? "true" : "false");
  if (const int* i = v.getIf<3>()) os << *i;
  return os.str();
}

ParameterSetResult setParameterValue(Configuration& configuration, const std::string& name,
                                     const ParameterValue& value) {
  Parameter p;
  ParameterSetResult found = findParameter(configuration, name, p);
  if (!found.accepted()) return found;
  if (value.index() != p.type()) {
    return refused(ParameterRefusal::WRONG_TYPE, name + " takes " + typeWords(p.type()) +
                                                     ", not a value of type " +
                                                     typeName(value.index()));
  }
  if (!p.setValue(value)) {
    return refused(
        ParameterRefusal::OUT_OF_BOUNDS,
        parameterValueText(value) + " is outside the bounds of " + name + ", " + boundsText(p));
  }
  configuration.setParameter(p);
  return {};
}

ParameterSetResult setParameterText(Configuration& configuration, const std::string& name,
                                    const std::string& text) {
  Parameter p;
  ParameterSetResult found = findParameter(configuration, name, p);
  if (!found.accepted()) return found;
  ParameterValue value;
  if (!parseValue(p.type(), text, value)) {
    return refused(ParameterRefusal::WRONG_TYPE,
                   name + " takes " + typeWords(p.type()) + ", not '" + text + "'");
  }
  return setParameterValue(configuration, name, value);
}

std::vector<ParameterInfo> listParameters(const Configuration& configuration) {
  const std::map<ParameterKey, Parameter> defaults = getAllParameters();
  std::vector<ParameterInfo> list;
  const ImmutableField<Parameter> parameters = configuration.getParameters();
  for (uint32_t i = 0; i < parameters.size(); ++i) {
    const Parameter& p = parameters.data()[i];
    if (!p.isValid() || unusedSecondFrequency(configuration, p.key())) continue;
    ParameterInfo info;
    info.name = p.name();
    info.key = p.key();
    info.type = typeName(p.type());
    info.value = parameterValueText(p.getValue());
    const auto d = defaults.find(p.key());
    if (d != defaults.end()) info.defaultValue = parameterValueText(d->second.getValue());
    info.hasBounds = p.hasBounds();
    if (info.hasBounds) {
      info.lowerBound = parameterValueText(p.lowerBound());
      info.upperBound = parameterValueText(p.upperBound());
    }
    info.description = p.description();
    list.push_back(std::move(info));
  }
  return list;
}

}  // namespace kelvora
