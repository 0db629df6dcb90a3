// Blobs written by the synthetic container writer read back to the record.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "HandBuiltCalibration.hpp"
#include "calibration/TavelCalibrationReader.hpp"
#include "core/StatusCodes.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

using synth::ContainerFloatEncoding;
using synth::ContainerQuantiser;
using testing::CalibrationPtr;

constexpr float kLo = -0.5f;
constexpr float kHi = 0.75f;

struct Encoding {
  const char* name;
  uint32_t bits;  // 0: plain (step 0); 24: a step so fine that the width rule stores it plain
};

// A step a little above range / (2^b - 1) needs exactly b bits.
constexpr float stepFor(float lo, float hi, uint32_t bits) {
  return (hi - lo) / (static_cast<float>(1u << bits) - 1.5f);
}
constexpr float stepFor(uint32_t bits) {
  return stepFor(kLo, kHi, bits);
}

// The descriptor of an encoding over the range of the values it stores.
ContainerFloatEncoding encodingFor(const float* values, uint32_t count, const Encoding& e) {
  float lo = values[0];
  float hi = values[0];
  for (uint32_t i = 1; i < count; ++i) {
    lo = std::min(lo, values[i]);
    hi = std::max(hi, values[i]);
  }
  if (!(hi > lo)) hi = lo + 1.0f;
  return {lo, hi, e.bits == 0 ? 0.0f : stepFor(lo, hi, e.bits)};
}

CalibrationPtr syntheticCalibration(uint8_t frequencies, uint32_t width, uint32_t height) {
  synth::SyntheticCalibrationOptions options;
  options.width = width;
  options.height = height;
  options.frequencies.clear();
  for (uint32_t f = 0; f < frequencies; ++f)
    options.frequencies.push_back(100000000u - 20000000u * f);
  options.maskedFraction = 0.1f;
  options.seed = 7u + frequencies;
  return CalibrationPtr(synth::makeSyntheticCalibration(options));
}

struct RoundTripCase {
  uint8_t frequencies;
  Encoding encoding;
  uint32_t width;
  uint32_t height;
};

std::string caseName(const ::testing::TestParamInfo<RoundTripCase>& p) {
  return std::string(p.param.encoding.name) + "_F" + std::to_string(p.param.frequencies) + "_" +
         std::to_string(p.param.width) + "x" + std::to_string(p.param.height);
}

void expectArray(const float* actual, const float* original, uint32_t pixels,
                 const ContainerFloatEncoding& encoding, const char* what) {
  const ContainerQuantiser q(encoding);
  for (uint32_t i = 0; i < pixels; ++i) {
    // Plain arrays come back bit for bit; packed ones as their code's value.
    const float quantised = q.packed ? q.value(q.code(original[i])) : original[i];
    ASSERT_TRUE(testing::sameBits(actual[i], quantised))
        << what << " pixel " << i << ": " << actual[i] << " vs " << quantised;
    if (q.packed) {
      // The code is the nearest one: within half a step of the original.
      ASSERT_LE(std::fabs(static_cast<double>(actual[i]) - original[i]), 0.5 * q.scale + 1e-6);
    }
  }
}

void expectWiggling(const KelvoraWiggling& a, const KelvoraWiggling& b) {
  ASSERT_EQ(a.count, b.count);
  EXPECT_EQ(a.offset, b.offset);
  for (uint32_t k = 0; k < a.count; ++k) {
    EXPECT_EQ(a.amplitude[k], b.amplitude[k]);
    EXPECT_EQ(a.harmonic[k], b.harmonic[k]);
    EXPECT_EQ(a.phase[k], b.phase[k]);
  }
}

class TavelRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(TavelRoundTrip, ReadsBackTheWrittenRecord) {
  const RoundTripCase& rc = GetParam();
  CalibrationPtr original = syntheticCalibration(rc.frequencies, rc.width, rc.height);
  const uint32_t count = rc.width * rc.height;
  synth::ContainerWriterOptions options;
  options.fpn = encodingFor(original->fpn, count, rc.encoding);
  // One descriptor for every frequency's phase noise: over all their values.
  std::vector<float> fppn;
  for (uint32_t f = 0; f < rc.frequencies; ++f) {
    fppn.insert(fppn.end(), original->frequencies[f].fppn, original->frequencies[f].fppn + count);
  }
  options.fppn = encodingFor(fppn.data(), static_cast<uint32_t>(fppn.size()), rc.encoding);
  const ContainerQuantiser q(options.fpn);
  EXPECT_EQ(q.bits, rc.encoding.bits == 0 ? 24u : rc.encoding.bits);
  EXPECT_EQ(q.packed, rc.encoding.bits != 0 && rc.encoding.bits < 24);
  const std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, options);

  const uint32_t size = static_cast<uint32_t>(blob.size());
  const int32_t pixels = kelvora_getTavelNumPixels(blob.data(), size);
  ASSERT_EQ(pixels, static_cast<int32_t>(rc.width * rc.height));
  CalibrationPtr read(allocateCalibration(static_cast<uint32_t>(pixels)));
  ::testing::internal::CaptureStdout();
  const uint32_t s =
      testing::readFromExactCopy(blob, size, read.get(), kelvora_readTavelHandlerCalibration);
  ::testing::internal::GetCapturedStdout();
  ASSERT_EQ(s, status::kSuccess);

  const uint32_t n = static_cast<uint32_t>(pixels);
  EXPECT_STREQ(read->date, original->date);
  EXPECT_STREQ(read->serial, original->serial);
  EXPECT_STREQ(read->sensorSerial, original->sensorSerial);
  for (int k = 0; k < 4; ++k) EXPECT_EQ(read->calibrationROI[k], original->calibrationROI[k]);
  for (int k = 0; k < 9; ++k) EXPECT_EQ(read->lensParameters[k], original->lensParameters[k]);
  for (uint32_t i = 0; i < n; ++i) ASSERT_EQ(read->mask[i], original->mask[i] & 1u) << i;
  expectArray(read->fpn, original->fpn, n, options.fpn, "fpn");
  ASSERT_EQ(read->frequencyCount, rc.frequencies);
  for (uint32_t f = 0; f < rc.frequencies; ++f) {
    SCOPED_TRACE("frequency " + std::to_string(f));
    const KelvoraCalibrationFrequency& a = read->frequencies[f];
    const KelvoraCalibrationFrequency& b = original->frequencies[f];
    EXPECT_EQ(a.modulationFrequency, b.modulationFrequency);
    expectArray(a.fppn, b.fppn, n, options.fppn, "fppn");
    ASSERT_EQ(a.tempCompensationCount, b.tempCompensationCount);
    for (uint32_t k = 0; k < a.tempCompensationCount; ++k) {
      EXPECT_EQ(a.tempCompensation[k], b.tempCompensation[k]);
    }
    for (uint32_t k = 0; k < 4; ++k) EXPECT_EQ(a.noiseParameters[k], b.noiseParameters[k]);
    expectWiggling(a.phaseWiggling, b.phaseWiggling);
    if (rc.frequencies > 1) expectWiggling(a.amplitudeWiggling, b.amplitudeWiggling);
  }
}

constexpr Encoding kPlain{"Plain", 0};
constexpr Encoding kBits1{"Packed1", 1};
constexpr Encoding kBits5{"Packed5", 5};
constexpr Encoding kBits8{"Packed8", 8};
constexpr Encoding kBits13{"Packed13", 13};
constexpr Encoding kBits16{"Packed16", 16};
constexpr Encoding kBits23{"Packed23", 23};
constexpr Encoding kBits24{"PlainByWidth24", 24};

INSTANTIATE_TEST_SUITE_P(
    Encodings, TavelRoundTrip,
    ::testing::Values(RoundTripCase{1, kPlain, 7, 5}, RoundTripCase{2, kPlain, 7, 5},
                      RoundTripCase{3, kPlain, 7, 5}, RoundTripCase{1, kBits1, 7, 5},
                      RoundTripCase{2, kBits5, 7, 5}, RoundTripCase{3, kBits8, 7, 5},
                      RoundTripCase{2, kBits13, 9, 4}, RoundTripCase{1, kBits16, 9, 4},
                      RoundTripCase{3, kBits23, 9, 4}, RoundTripCase{2, kBits24, 9, 4},
                      RoundTripCase{2, kBits8, 64, 48}, RoundTripCase{3, kBits13, 64, 48},
                      RoundTripCase{1, kPlain, 1, 1}),
    caseName);

TEST(TavelRoundTrip, OneFrequencyBlobRelabelledAsTwoLacksTheAmplitudeModel) {
  CalibrationPtr original = testing::makeHandBuiltCalibration(4, 3, 1);
  std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, {});
  blob[11] = 2;  // frequency count in the root header
  CalibrationPtr read(allocateCalibration(12));
  ::testing::internal::CaptureStdout();
  EXPECT_NE(testing::readFromExactCopy(blob, static_cast<uint32_t>(blob.size()), read.get(),
                                       kelvora_readTavelHandlerCalibration),
            status::kSuccess);
  ::testing::internal::GetCapturedStdout();
}

TEST(TavelRoundTrip, HeaderPixelCountOtherThanTheRoiIsRefused) {
  CalibrationPtr original = testing::makeHandBuiltCalibration(4, 3, 2);
  for (uint32_t d0 : {5u, 3u}) {
    synth::ContainerWriterOptions options;
    options.dimension0 = d0;  // 5 x 3 or 3 x 3 against a 4 x 3 region of interest
    const std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, options);
    const uint32_t size = static_cast<uint32_t>(blob.size());
    const int32_t pixels = kelvora_getTavelNumPixels(blob.data(), size);
    ASSERT_EQ(pixels, static_cast<int32_t>(d0 * 3));
    CalibrationPtr read(allocateCalibration(static_cast<uint32_t>(pixels)));
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(
        testing::readFromExactCopy(blob, size, read.get(), kelvora_readTavelHandlerCalibration),
        status::kUnsupported);
    ::testing::internal::GetCapturedStdout();
  }
}

TEST(TavelRoundTrip, EveryTruncationOfAPackedThreeFrequencyBlobFails) {
  CalibrationPtr original = testing::makeHandBuiltCalibration(6, 5, 3);
  synth::ContainerWriterOptions options;
  options.fpn = {kLo, kHi, stepFor(7)};
  options.fppn = {kLo, kHi, stepFor(11)};
  const std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, options);
  ::testing::internal::CaptureStdout();
  for (uint32_t length = 7; length < blob.size(); ++length) {
    CalibrationPtr read(allocateCalibration(30));
    ASSERT_EQ(
        testing::readFromExactCopy(blob, length, read.get(), kelvora_readTavelHandlerCalibration),
        status::kStreamTooShort)
        << "length " << length;
  }
  ::testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace kelvora
