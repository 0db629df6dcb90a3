#pragma once
// The one kind of failure the tool reports: a sentence for the user, printed
// as a single line on standard error by main, which then exits nonzero.
#include <stdexcept>
#include <string>

namespace kelvora::tools {

class ToolError : public std::runtime_error {
 public:
  explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace kelvora::tools
