// Bad inputs and what the library does with each: one row per input, checked
// here and printed as the markdown table that docs/RELIABILITY.md carries
// between its bad-input-table markers. A row that changes fails its own check;
// a table that drifts from the document fails the comparison, whose message
// is the table to paste.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "base/StatusCodes.hpp"
#include "calibration/LegacyLayout.hpp"
#include "common/CoreFixtures.hpp"
#include "common/EngineHarness.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/HostSupport.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora {
namespace {

struct Outcome {
  KelvoraStatus::Code code;
  uint32_t detail;
  std::string printed;  // stdout then stderr, trimmed lines joined by " / "
};

std::string joinedLines(const std::string& text) {
  std::istringstream in(text);
  std::string line, joined;
  while (std::getline(in, line)) {
    const size_t b = line.find_first_not_of(" \t\r"), e = line.find_last_not_of(" \t\r");
    if (b == std::string::npos) continue;
    joined += (joined.empty() ? "" : " / ") + line.substr(b, e - b + 1);
  }
  return joined;
}

Outcome captured(const std::function<KelvoraStatus()>& call) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const KelvoraStatus s = call();
  std::fflush(stdout);
  const std::string err = joinedLines(::testing::internal::GetCapturedStderr());
  const std::string out = joinedLines(::testing::internal::GetCapturedStdout());
  return {s.code, s.detail, out + (!out.empty() && !err.empty() ? " / " : "") + err};
}

struct BadInputRow {
  const char* input;
  const char* call;
  std::function<Outcome()> run;
  KelvoraStatus::Code code;
  uint32_t detail;
  const char* printed;  // what the call writes to stdout/stderr, lines joined by " / "
};

// getKelvora on the bytes, with what it prints; an engine comes back
// exactly when the status says so.
std::function<Outcome()> blob(std::function<std::vector<uint8_t>()> make) {
  return [make] {
    const std::vector<uint8_t> bytes = make();
    IKelvora* engine = reinterpret_cast<IKelvora*>(&engine);
    const Outcome o = captured([&] {
      return getKelvora(ArrayReference<unsigned char>(const_cast<uint8_t*>(bytes.data()),
                                                      static_cast<uint32_t>(bytes.size())),
                        &engine);
    });
    EXPECT_EQ(engine != nullptr, o.code == KelvoraStatus::SUCCESS);
    delete engine;
    return o;
  };
}

// The full 224 x 172 sensor in the legacy layout.
std::vector<uint8_t> legacyBlob() {
  testing::CalibrationPtr c(synth::makeSyntheticCalibration({}));
  return synth::writeLegacyCalibration(*c, {});
}

std::vector<uint8_t> container(const synth::ContainerWriterOptions& o = {}) {
  testing::CalibrationPtr c(synth::makeSyntheticCalibration(testing::smallCalibration()));
  return synth::writeContainerCalibration(*c, o);
}
std::vector<uint8_t> containerAnnouncing(uint32_t frequencies) {
  synth::ContainerWriterOptions o;
  o.frequencyCount = frequencies;
  return container(o);
}
// A root header of width x height pixels over the 40 x 30 region of interest.
std::vector<uint8_t> containerClaiming(uint32_t width, uint32_t height) {
  synth::ContainerWriterOptions o;
  o.dimension0 = width;
  o.dimension1 = height;
  return container(o);
}
std::vector<uint8_t> cut(std::vector<uint8_t> bytes, size_t size) {
  bytes.resize(size);
  return bytes;
}
std::vector<uint8_t> half(const std::vector<uint8_t>& bytes) {
  return cut(bytes, bytes.size() / 2);
}
std::vector<uint8_t> withoutLastByte(const std::vector<uint8_t>& bytes) {
  return cut(bytes, bytes.size() - 1);
}
std::vector<uint8_t> text(const char* s, size_t n) {
  return std::vector<uint8_t>(s, s + n);
}
std::vector<uint8_t> randomBytes(size_t n, uint64_t seed) {
  synth::SplitMix rng(seed);
  std::vector<uint8_t> b(n);
  for (uint8_t& v : b) v = static_cast<uint8_t>(rng.next() >> 56);
  return b;
}

// An engine call on an engine made from `options`.
std::function<Outcome()> onEngine(
    std::function<KelvoraStatus(IKelvora&)> call,
    synth::SyntheticCalibrationOptions options = testing::smallCalibration()) {
  return [call, options] {
    testing::EnginePtr e = testing::makeEngine(testing::containerBlobFor(options));
    if (!e) return Outcome{KelvoraStatus::CALIBRATION_ERROR, 0xFFFFFFFFu, "no engine"};
    return captured([&] { return call(*e); });
  };
}

Configuration withUnsigned(Configuration c, ParameterKey key, unsigned int value) {
  Parameter p = c.getParameterByKey(key);
  p.setValue(ParameterValue(value));
  c.setParameter(p);
  return c;
}

// The container reader announces its body on stdout.
constexpr const char* kBodyMessage = "enter =====  kelvora_readTavelCalibrationBody ============";

const std::vector<BadInputRow>& rows() {
  static const std::vector<BadInputRow> table = {
      {"empty blob", "getKelvora", blob([] { return std::vector<uint8_t>{}; }),
       KelvoraStatus::CALIBRATION_ERROR, status::kStreamTooShort, ""},
      {"one byte", "getKelvora", blob([] { return std::vector<uint8_t>{0x5A}; }),
       KelvoraStatus::CALIBRATION_ERROR, status::kStreamTooShort, ""},
      {"`ZYNSCL` without its terminator (6 bytes)", "getKelvora",
       blob([] { return text("ZYNSCL", 6); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kStreamTooShort, ""},
      {"container magic alone (7 bytes)", "getKelvora", blob([] { return text("ZYNSCL", 7); }),
       KelvoraStatus::CALIBRATION_ERROR, status::kStreamTooShort, ""},
      {"container cut after 100 bytes", "getKelvora", blob([] { return cut(container(), 100); }),
       KelvoraStatus::CALIBRATION_ERROR, status::kStreamTooShort, ""},
      {"container cut in half", "getKelvora", blob([] { return half(container()); }),
       KelvoraStatus::CALIBRATION_ERROR, status::kStreamTooShort, kBodyMessage},
      {"container without its last byte", "getKelvora",
       blob([] { return withoutLastByte(container()); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kStreamTooShort, kBodyMessage},
      {"container announcing 65535 frequencies", "getKelvora",
       blob([] { return containerAnnouncing(0xFFFF); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kUnsupported, ""},
      {"container announcing 4 frequencies", "getKelvora",
       blob([] { return containerAnnouncing(4); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kUnsupported, ""},
      {"container whose root header claims 65535 x 65535 pixels", "getKelvora",
       blob([] { return containerClaiming(65535, 65535); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kStreamTooShort, ""},
      {"container whose root header (1 pixel) disagrees with its region of interest", "getKelvora",
       blob([] { return containerClaiming(1, 1); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kUnsupported, kBodyMessage},
      {"legacy blob cut in half", "getKelvora", blob([] { return half(legacyBlob()); }),
       KelvoraStatus::CALIBRATION_ERROR, status::kStreamTooShort, "Start converting!"},
      {"legacy blob without its last byte", "getKelvora",
       blob([] { return withoutLastByte(legacyBlob()); }), KelvoraStatus::CALIBRATION_ERROR,
       status::kStreamTooShort, "Start converting!"},
      {"legacy blob with a region of interest 0 pixels wide", "getKelvora", blob([] {
         std::vector<uint8_t> b = legacyBlob();
         b[legacy::kRoiWidth] = 0;
         b[legacy::kRoiWidth + 1] = 0;
         return b;
       }),
       KelvoraStatus::CALIBRATION_ERROR, status::kUnsupported, "Start converting!"},
      {"complete block-format blob (the catch-all legacy handler comes first)", "getKelvora",
       blob([] {
         testing::CalibrationPtr c(synth::makeSyntheticCalibration(testing::smallCalibration()));
         return synth::writeBlockCalibration(*c);
       }),
       KelvoraStatus::CALIBRATION_ERROR, status::kUnsupported, "Start converting!"},
      {"1 MiB of random bytes", "getKelvora", blob([] { return randomBytes(1u << 20, 5); }),
       KelvoraStatus::CALIBRATION_ERROR, status::kUnsupported, "Start converting!"},
      {"redirected point cloud one element short", "reconfigure", onEngine([](IKelvora& e) {
         static std::vector<float> target;
         const uint32_t need = 4 * e.getWidth() * e.getHeight() - 1;
         target.assign(need, 0.0f);
         Configuration c = e.configuration();
         Configuration::OutputRedirector<POINT_CLOUD> r;
         r.setRedirection(ArrayReference<float>(target.data(), need));
         c.setOutputRedirection(r);
         return e.reconfigure(c);
       }),
       KelvoraStatus::OUTPUT_TARGET_TOO_SMALL, 0, ""},
      {"first frequency set to one the calibration lacks", "reconfigure", onEngine([](IKelvora& e) {
         return e.reconfigure(withUnsigned(e.configuration(), FREQUENCY_1, 12345u));
       }),
       KelvoraStatus::INITIALIZATION_FAILED,
       static_cast<uint32_t>(status::kInitFrequencyNotCalibrated), ""},
      {"key the engine hides (`NUM_FREQS`, one-frequency calibration)",
       "Configuration::setParameters",
       onEngine(
           [](IKelvora& e) {
             Configuration c = e.configuration();
             ArrayHolder<Parameter> one(1);
             one[0] = getAllParameters().at(NUM_FREQS);
             return c.setParameters(ImmutableField<Parameter>(one));
           },
           testing::smallCalibration({60240000u})),
       KelvoraStatus::UNKNOWN_PARAMETER, static_cast<uint32_t>(NUM_FREQS), ""},
      {"custom field 128 of a container calibration (it has none)",
       "copyCalibrationFieldImpl(CUSTOM)", onEngine([](IKelvora& e) {
         ArrayHolder<unsigned char> out;
         return e.copyCalibrationFieldImpl(CUSTOM, out, 128);
       }),
       KelvoraStatus::CALIBRATION_ERROR, status::kUnknownField, ""},
  };
  return table;
}

std::string detailText(uint32_t detail) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, status::isError(detail) ? "0x%08X" : "%u", detail);
  return buffer;
}

std::string markdownTable() {
  std::ostringstream s;
  s << "| Input | Call | Status | Detail | Printed |\n";
  s << "|---|---|---|---|---|\n";
  for (const BadInputRow& r : rows()) {
    s << "| " << r.input << " | `" << r.call << "` | `" << describeStatusCode(r.code).name << "` | "
      << detailText(r.detail) << " | " << (*r.printed != 0 ? r.printed : "(nothing)") << " |\n";
  }
  return s.str();
}

class BadInput : public ::testing::TestWithParam<size_t> {};

TEST_P(BadInput, GivesTheStatusAndMessageOfItsRow) {
  const BadInputRow& row = rows()[GetParam()];
  const Outcome got = row.run();
  EXPECT_EQ(got.code, row.code) << row.input;
  EXPECT_EQ(detailText(got.detail), detailText(row.detail)) << row.input;
  EXPECT_EQ(got.printed, row.printed) << row.input;
}

INSTANTIATE_TEST_SUITE_P(Rows, BadInput, ::testing::Range<size_t>(0, rows().size()));

TEST(BadInputTable, MatchesTheReliabilityDocument) {
  const std::string path = std::string(KELVORA_SOURCE_DIR) + "/docs/RELIABILITY.md";
  std::ifstream in(path);
  ASSERT_TRUE(in) << path;
  std::stringstream whole;
  whole << in.rdbuf();
  const std::string doc = whole.str();
  const std::string begin = "<!-- bad-input-table:begin -->\n";
  const std::string end = "<!-- bad-input-table:end -->";
  const size_t b = doc.find(begin);
  const size_t e = doc.find(end);
  ASSERT_NE(b, std::string::npos);
  ASSERT_NE(e, std::string::npos);
  const std::string inDoc = doc.substr(b + begin.size(), e - b - begin.size());
  EXPECT_EQ(inDoc, markdownTable()) << "table for " << path << ":\n" << markdownTable();
}

}  // namespace
}  // namespace kelvora
