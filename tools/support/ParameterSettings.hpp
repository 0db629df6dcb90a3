#pragma once
// Processing parameters set by name from the command line ("name=value").
#include <string>
#include <vector>

#include "kelvora/Configuration.hpp"

namespace kelvora::tools {

// Applies each "name=value" to the configuration, parsing the value as the
// parameter's own type (float, unsigned, bool as true/false/1/0/on/off, int).
// Throws ToolError naming the setting for an unknown name, a value that does
// not parse, or one outside the parameter's bounds; the configuration is then
// left partly changed and must not be used.
void applySettings(Configuration& configuration, const std::vector<std::string>& settings);

// The parameter's value as text ("0.5", "true", "400").
std::string parameterValueText(const Parameter& p);
// "[lower, upper]", or "none" for a parameter without bounds.
std::string boundsText(const Parameter& p);

}  // namespace kelvora::tools
