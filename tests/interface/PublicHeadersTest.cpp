// The public headers show the interface and nothing of the core: no private
// include, no core record beyond the forward declaration of the parameter
// record that the setter type names.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path publicHeaderDir() {
  return fs::path(__FILE__).parent_path().parent_path().parent_path() / "include" / "kelvora";
}

std::vector<fs::path> publicHeaders() {
  std::vector<fs::path> headers;
  for (const auto& entry : fs::directory_iterator(publicHeaderDir())) {
    if (entry.path().extension() == ".hpp") headers.push_back(entry.path());
  }
  return headers;
}

std::string contentOf(const fs::path& p) {
  std::ifstream in(p);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(PublicHeadersTest, ExposeNoCoreRecordOrPrivateHeader) {
  const std::vector<fs::path> headers = publicHeaders();
  ASSERT_GE(headers.size(), 12u) << publicHeaderDir();
  const std::regex include(R"(#\s*include\s*([<"])([^>"]+)[>"])");
  const std::regex coreRecord(R"(\bKelvora(Input|Output|Calibration|Intermediate)\w*)");
  const std::regex parameterRecord(R"(\bKelvoraParameter\b)");
  const std::regex definition(R"((struct|class)\s+KelvoraParameter\s*\{)");
  for (const fs::path& header : headers) {
    SCOPED_TRACE(header.filename().string());
    const std::string text = contentOf(header);
    EXPECT_EQ(text.rfind("#pragma once", 0), 0u);
    for (std::sregex_iterator it(text.begin(), text.end(), include), end; it != end; ++it) {
      const std::string path = (*it)[2];
      if ((*it)[1] == "\"") {
        EXPECT_EQ(path.rfind("kelvora/", 0), 0u) << path;
      }
    }
    EXPECT_FALSE(std::regex_search(text, coreRecord));
    EXPECT_FALSE(std::regex_search(text, definition));
    // The parameter record may appear, as an incomplete type, only where the
    // setter type is spelled.
    if (header.filename() != "ParameterTypes.hpp" && header.filename() != "ParameterImpl.hpp") {
      EXPECT_FALSE(std::regex_search(text, parameterRecord));
    }
  }
}

}  // namespace
