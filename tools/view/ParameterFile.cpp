#include "view/ParameterFile.hpp"

#include <charconv>
#include <nlohmann/json.hpp>

#include "support/InputFile.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

using Json = nlohmann::ordered_json;

// A JSON value as parameter text. A number keeps the digits it was written
// with where that matters: an integer stays an integer (so 1.0 is refused
// for an unsigned parameter), and a decimal is printed with the fewest
// digits that read back as the same double, which a float parameter then
// reads exactly as the file wrote it.
bool valueText(const Json& value, std::string& text) {
  if (value.is_boolean()) {
    text = value.get<bool>() ? "true" : "false";
  } else if (value.is_number()) {
    text = value.dump();
  } else if (value.is_string()) {
    text = value.get<std::string>();
  } else {
    return false;
  }
  return true;
}

std::string shortestFloat(float v) {
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof(buffer), v).ptr;
  return std::string(buffer, end);
}

}  // namespace

std::vector<ParameterSetting> parseParameterFile(const std::string& text,
                                                 const std::string& source) {
  const Json json = Json::parse(text, nullptr, false);
  if (json.is_discarded()) throw ToolError(source + " is not valid JSON");
  if (!json.is_object()) {
    throw ToolError(source + " must hold one JSON object of parameter names and values");
  }
  std::vector<ParameterSetting> settings;
  for (const auto& [name, value] : json.items()) {
    ParameterSetting s{name, {}};
    if (!valueText(value, s.text)) {
      throw ToolError(source + ": the value of " + name + " must be a number or true/false");
    }
    settings.push_back(std::move(s));
  }
  return settings;
}

std::vector<ParameterSetting> readParameterFile(const std::string& path) {
  const std::vector<uint8_t> bytes = readFileBytes(path, "parameter file", "params.json");
  return parseParameterFile(std::string(bytes.begin(), bytes.end()), "parameter file " + path);
}

RefusedSetting applyParameterSettings(Configuration& configuration,
                                      const std::vector<ParameterSetting>& settings) {
  for (const ParameterSetting& s : settings) {
    ParameterSetResult r = setParameterText(configuration, s.name, s.text);
    if (!r.accepted()) return {s.name, std::move(r)};
  }
  return {};
}

void applyParameterFile(Configuration& configuration, const std::string& path) {
  const RefusedSetting refused = applyParameterSettings(configuration, readParameterFile(path));
  if (!refused.result.accepted()) {
    throw ToolError("parameter file " + path + ": " + refused.result.message);
  }
}

std::string parameterFileText(const Configuration& configuration) {
  Json json = Json::object();
  for (const ParameterInfo& info : listParameters(configuration)) {
    const ParameterValue value = configuration.getParameterByName(info.name.c_str()).getValue();
    if (const float* f = value.getIf<0>()) {
      json[info.name] = Json::parse(shortestFloat(*f));
    } else if (const bool* b = value.getIf<2>()) {
      json[info.name] = *b;
    } else if (const unsigned int* u = value.getIf<1>()) {
      json[info.name] = *u;
    } else if (const int* i = value.getIf<3>()) {
      json[info.name] = *i;
    }
  }
  return json.dump(2) + "\n";
}

}  // namespace kelvora::tools
