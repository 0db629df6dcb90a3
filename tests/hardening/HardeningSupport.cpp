#include "hardening/HardeningSupport.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

#include "common/CoreFixtures.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::hardening {

std::vector<uint8_t> legacyBlob() {
  testing::CalibrationPtr c(synth::makeSyntheticCalibration({}));
  synth::LegacyWriterOptions o;
  o.fpnOffset = -0.02f;
  o.fpnStep = 0.01f;
  o.frequency[0] = {-0.1f, 0.1f, false};
  o.frequency[1] = {-0.1f, 0.1f, true};
  return synth::writeLegacyCalibration(*c, o);
}

namespace {

std::string joinedLines(const std::string& text) {
  std::istringstream in(text);
  std::string line, joined;
  while (std::getline(in, line)) {
    const size_t b = line.find_first_not_of(" \t\r");
    if (b == std::string::npos) continue;
    const size_t e = line.find_last_not_of(" \t\r");
    if (!joined.empty()) joined += " / ";
    joined += line.substr(b, e - b + 1);
  }
  return joined;
}

}  // namespace

Outcome captured(const std::function<KelvoraStatus()>& call) {
  std::fflush(stdout);
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const KelvoraStatus s = call();
  std::fflush(stdout);
  std::fflush(stderr);
  const std::string err = ::testing::internal::GetCapturedStderr();
  const std::string out = ::testing::internal::GetCapturedStdout();
  std::string printed = joinedLines(out);
  const std::string e = joinedLines(err);
  if (!printed.empty() && !e.empty()) printed += " / ";
  printed += e;
  return {s.code, s.detail, printed};
}

Outcome getKelvoraOutcome(const std::vector<uint8_t>& bytes) {
  IKelvora* engine = reinterpret_cast<IKelvora*>(&engine);
  const Outcome o = captured([&] {
    return getKelvora(ArrayReference<unsigned char>(const_cast<uint8_t*>(bytes.data()),
                                                    static_cast<uint32_t>(bytes.size())),
                      &engine);
  });
  if (o.code == KelvoraStatus::SUCCESS) {
    EXPECT_NE(engine, nullptr);
    delete engine;
  } else {
    EXPECT_EQ(engine, nullptr) << "a refused calibration leaves no engine";
  }
  return o;
}

}  // namespace kelvora::hardening
