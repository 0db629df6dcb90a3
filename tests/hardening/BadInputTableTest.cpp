// Bad inputs through the public calls and what the library does with each:
// the status, its detail and what the call prints. docs/RELIABILITY.md lists
// the same rows for users.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "base/StatusCodes.hpp"
#include "calibration/LegacyLayout.hpp"
#include "common/CoreFixtures.hpp"
#include "common/EngineHarness.hpp"
#include "interface/ParameterRegistry.hpp"
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

// getKelvora on the bytes; an engine comes back exactly when the status
// says so.
std::function<Outcome()> blob(std::vector<uint8_t> bytes) {
  return [bytes] {
    IKelvora* engine = reinterpret_cast<IKelvora*>(&engine);  // must be overwritten
    const Outcome o = captured([&] {
      return getKelvora(ArrayReference<unsigned char>(const_cast<uint8_t*>(bytes.data()),
                                                      static_cast<uint32_t>(bytes.size())),
                        &engine);
    });
    EXPECT_EQ(engine, o.code == KelvoraStatus::SUCCESS ? engine : nullptr);
    if (o.code == KelvoraStatus::SUCCESS) delete engine;
    return o;
  };
}

// An engine call on an engine made from `options`.
std::function<Outcome()> onEngine(
    std::function<KelvoraStatus(IKelvora&)> call,
    synth::SyntheticCalibrationOptions options = testing::smallCalibration()) {
  return [call, options] {
    testing::EnginePtr e = testing::makeEngine(testing::containerBlobFor(options));
    return e ? captured([&] { return call(*e); }) : Outcome{KelvoraStatus::SUCCESS, 0, "no engine"};
  };
}

KelvoraStatus redirectPointCloudOneShort(IKelvora& e) {
  static std::vector<float> target;
  target.assign(4 * e.getWidth() * e.getHeight() - 1, 0.0f);
  Configuration c = e.configuration();
  OutputRedirector<POINT_CLOUD> r;
  r.setRedirection(ArrayReference<float>(target.data(), static_cast<uint32_t>(target.size())));
  c.setOutputRedirection(r);
  return e.reconfigure(c);
}

KelvoraStatus setUncalibratedFrequency(IKelvora& e) {
  Configuration c = e.configuration();
  Parameter p = c.getParameterByKey(FREQUENCY_1);
  p.setValue(ParameterValue(12345u));
  c.setParameter(p);
  return e.reconfigure(c);
}

KelvoraStatus setNumFreqs(IKelvora& e) {
  ArrayHolder<Parameter> one(1);
  one[0] = getAllParameters().at(NUM_FREQS);
  return e.configuration().setParameters(ImmutableField<Parameter>(one));
}

KelvoraStatus copyCustomField128(IKelvora& e) {
  ArrayHolder<unsigned char> out;
  return e.copyCalibrationFieldImpl(CUSTOM, out, 128);
}

std::vector<uint8_t> container(uint16_t frequencies = 0, uint32_t width = 0, uint32_t height = 0) {
  testing::CalibrationPtr c(synth::makeSyntheticCalibration(testing::smallCalibration()));
  synth::ContainerWriterOptions o;
  o.frequencyCount = frequencies;
  o.dimension0 = width;  // of the root header, over the 40 x 30 region of interest
  o.dimension1 = height;
  return synth::writeContainerCalibration(*c, o);
}

std::vector<uint8_t> cut(std::vector<uint8_t> bytes, size_t size) {
  bytes.resize(size);
  return bytes;
}

TEST(BadInput, EachGivesTheStatusAndMessageOfItsRow) {
  testing::CalibrationPtr sensor(synth::makeSyntheticCalibration({}));
  const std::vector<uint8_t> legacy = synth::writeLegacyCalibration(*sensor, {});
  std::vector<uint8_t> emptyRegion = legacy;
  emptyRegion[legacy::kRoiWidth] = emptyRegion[legacy::kRoiWidth + 1] = 0;
  std::vector<uint8_t> noise(1u << 20);
  synth::SplitMix rng(5);
  for (uint8_t& v : noise) v = static_cast<uint8_t>(rng.next() >> 56);
  const std::vector<uint8_t> whole = container();
  const std::string body = "enter =====  kelvora_readTavelCalibrationBody ============";
  const std::string converting = "Start converting!";
  using S = KelvoraStatus;

  const struct {
    const char* input;
    std::function<Outcome()> run;
    S::Code code;
    uint32_t detail;
    std::string printed;
  } rows[] = {
      {"empty blob", blob({}), S::CALIBRATION_ERROR, status::kStreamTooShort, ""},
      {"ZYNSCL without its terminator", blob({'Z', 'Y', 'N', 'S', 'C', 'L'}), S::CALIBRATION_ERROR,
       status::kStreamTooShort, ""},
      {"container cut in half", blob(cut(whole, whole.size() / 2)), S::CALIBRATION_ERROR,
       status::kStreamTooShort, body},
      {"container without its last byte", blob(cut(whole, whole.size() - 1)), S::CALIBRATION_ERROR,
       status::kStreamTooShort, body},
      {"container announcing 65535 frequencies", blob(container(0xFFFF)), S::CALIBRATION_ERROR,
       status::kUnsupported, ""},
      {"container announcing 4 frequencies", blob(container(4)), S::CALIBRATION_ERROR,
       status::kUnsupported, ""},
      {"container claiming 65535 x 65535 pixels", blob(container(0, 65535, 65535)),
       S::CALIBRATION_ERROR, status::kStreamTooShort, ""},
      {"container header of 1 pixel", blob(container(0, 1, 1)), S::CALIBRATION_ERROR,
       status::kUnsupported, body},
      {"legacy blob cut in half", blob(cut(legacy, legacy.size() / 2)), S::CALIBRATION_ERROR,
       status::kStreamTooShort, converting},
      {"legacy blob without its last byte", blob(cut(legacy, legacy.size() - 1)),
       S::CALIBRATION_ERROR, status::kStreamTooShort, converting},
      {"legacy region 0 pixels wide", blob(emptyRegion), S::CALIBRATION_ERROR, status::kUnsupported,
       converting},
      {"complete block-format blob", blob(synth::writeBlockCalibration(*sensor)),
       S::CALIBRATION_ERROR, status::kUnsupported, converting},
      {"1 MiB of random bytes", blob(noise), S::CALIBRATION_ERROR, status::kUnsupported,
       converting},
      {"redirected point cloud one element short", onEngine(redirectPointCloudOneShort),
       S::OUTPUT_TARGET_TOO_SMALL, 0, ""},
      {"first frequency one the calibration lacks", onEngine(setUncalibratedFrequency),
       S::INITIALIZATION_FAILED, uint32_t(status::kInitFrequencyNotCalibrated), ""},
      {"key the engine hides (NUM_FREQS, one frequency)",
       onEngine(setNumFreqs, testing::smallCalibration({60240000u})), S::UNKNOWN_PARAMETER,
       uint32_t(NUM_FREQS), ""},
      {"custom field 128 of a container", onEngine(copyCustomField128), S::CALIBRATION_ERROR,
       status::kUnknownField, ""},
  };
  for (const auto& row : rows) {
    const Outcome got = row.run();
    EXPECT_EQ(got.code, row.code) << row.input;
    EXPECT_EQ(got.detail, row.detail) << row.input << std::hex << " got 0x" << got.detail;
    EXPECT_EQ(got.printed, row.printed) << row.input;
  }
}

}  // namespace
}  // namespace kelvora
