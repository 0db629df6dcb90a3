#pragma once
// Parameter files: processing settings as one JSON object with a member per
// parameter, each value in the parameter's own type, e.g.
//   {"amplitudeThreshold": 0.8, "useAdaptiveNoiseFilter": false, "numFreqs": 2}
// `kelvora view` saves and loads them; `kelvora process --params` reads them.
#include <string>
#include <vector>

#include "kelvora/Configuration.hpp"
#include "kelvora/HostSupport.hpp"

namespace kelvora::tools {

// One member of a parameter file: the value as the text setParameterText
// reads ("0.8", "false", "2").
struct ParameterSetting {
  std::string name;
  std::string text;
};

// The members of a parameter file's text, in file order. Throws ToolError,
// naming `source`, when the text is not a JSON object or a value is not a
// number, true/false or a string.
std::vector<ParameterSetting> parseParameterFile(const std::string& text,
                                                 const std::string& source);
std::vector<ParameterSetting> readParameterFile(const std::string& path);

// A setting that the configuration refused, and why.
struct RefusedSetting {
  std::string name;
  ParameterSetResult result;
};

// Applies the settings in order and stops at the first refusal, which it
// returns (`result.accepted()` when every setting was taken). After a
// refusal the configuration is partly changed and must not be used.
RefusedSetting applyParameterSettings(Configuration& configuration,
                                      const std::vector<ParameterSetting>& settings);

// Reads and applies a parameter file; throws ToolError naming the file and
// the refused member.
void applyParameterFile(Configuration& configuration, const std::string& path);

// Every parameter the configuration accepts with its current value, as a
// parameter file. Floats are written with the fewest digits that read back
// as the same float, so a saved file reproduces the settings to the bit.
std::string parameterFileText(const Configuration& configuration);

}  // namespace kelvora::tools
