#include "support/InputFile.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "support/ToolError.hpp"

namespace fs = std::filesystem;

namespace kelvora::tools {

void requireInputFile(const std::string& path, const char* what, const char* usualName) {
  std::error_code ec;
  if (!fs::exists(path, ec)) throw ToolError(std::string("cannot open ") + what + " " + path);
  if (fs::is_directory(path, ec)) {
    const fs::path inside = fs::path(path) / usualName;
    throw ToolError(std::string(what) + " " + path + " is a folder, not a file" +
                    (fs::is_regular_file(inside, ec) ? "; did you mean " + inside.string() + "?"
                                                     : std::string()));
  }
}

std::vector<uint8_t> readFileBytes(const std::string& path, const char* what,
                                   const char* usualName) {
  requireInputFile(path, what, usualName);
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError(std::string("cannot open ") + what + " " + path);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
  if (in.bad()) throw ToolError(std::string("cannot read ") + what + " " + path);
  if (bytes.empty()) throw ToolError(std::string(what) + " " + path + " is empty");
  return bytes;
}

}  // namespace kelvora::tools
