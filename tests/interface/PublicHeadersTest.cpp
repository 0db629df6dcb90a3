// The public headers show the interface and nothing of the core: no private
// include, no core record beyond the forward declaration of the parameter
// record that the setter type names. (That each compiles on its own is
// checked by the build: tests/CMakeLists.txt.)
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST(PublicHeaders, ExposeNoCoreRecordOrPrivateHeader) {
  const fs::path dir = fs::path(__FILE__).parent_path().parent_path().parent_path() / "include";
  const std::regex privateInclude(R"(#\s*include\s*"(?!kelvora/))");
  const std::regex coreRecord(R"(\bKelvora(Input|Output|Calibration|Intermediate)\w*)");
  const std::regex parameterRecord(R"(\bKelvoraParameter\b)");
  const std::regex definition(R"((struct|class)\s+KelvoraParameter\s*\{)");
  int headers = 0;
  for (const auto& entry : fs::directory_iterator(dir / "kelvora")) {
    const std::string name = entry.path().filename().string();
    std::ostringstream text;
    text << std::ifstream(entry.path()).rdbuf();
    const std::string s = text.str();
    ++headers;
    EXPECT_EQ(s.rfind("#pragma once", 0), 0u) << name;
    EXPECT_FALSE(std::regex_search(s, privateInclude)) << name;
    EXPECT_FALSE(std::regex_search(s, coreRecord)) << name;
    EXPECT_FALSE(std::regex_search(s, definition)) << name;
    if (name != "ParameterTypes.hpp" && name != "ParameterImpl.hpp") {
      EXPECT_FALSE(std::regex_search(s, parameterRecord)) << name;
    }
  }
  EXPECT_GE(headers, 12) << dir;
}

}  // namespace
