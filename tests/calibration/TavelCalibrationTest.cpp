// The container format: a blob typed byte by byte from the format's layout
// (so that the reader and the synthetic writer cannot share a mistake), its
// faults, and blobs of the writer read back field by field. (The packed
// arrays are checked against a slow reading by their fuzz target, cut blobs
// by the container fuzz target and the bad-input table, as are oversized
// headers.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/TavelCalibrationReader.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

uint32_t readHandler(const std::vector<uint8_t>& blob, KelvoraCalibration* record) {
  return testing::readExactCopy(blob, blob.size(), record, kelvora_readTavelHandlerCalibration);
}

// 3 x 2 pixels, one frequency.
std::vector<uint8_t> handTypedBlob() {
  std::vector<uint8_t> b = {
      // Root header: magic, unused u32, F = 1, unused u16, dimensions 3 and 2 (big-endian).
      'Z', 'Y', 'N', 'S', 'C', 'L', 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x03, 0x00, 0x00, 0x00, 0x02,
      // Date: code 1, 19 characters.
      0x00, 0x01, '2', '0', '2', '4', '-', '0', '1', '-', '0', '2', ' ', '0', '3', ':', '0', '4',
      ':', '0', '5',
      // Serial: code 1, 9 characters.
      0x00, 0x01, 'S', 'N', '1', '2', '3', '4', '5', '6', '7',
      // Sensor serial: code 1, 19 characters.
      0x00, 0x01, 'S', 'E', 'N', 'S', 'O', 'R', '-', '0', '0', '0', '0', '0', '0', '0', '0', '0',
      '0', '0', '1',
      // ROI {1, 2, 3, 2}: code 8, two little-endian words of 16-bit items.
      0x00, 0x08, 0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x02, 0x00,
      // Mask {1, 0, 1, 1, 0, 0}: code 6, one word of 1-bit items = 0x0D.
      0x00, 0x06, 0x0D, 0x00, 0x00, 0x00,
      // FPN descriptor min 1.0, max 4.0, step 1.0 (2 bits, scale 1), then code 10 and
      // codes {0, 1, 2, 3, 3, 1} packed into 0x000007E4.
      0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x80, 0x40, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x0A, 0xE4,
      0x07, 0x00, 0x00,
      // Lens parameters: code 10, {8, 8, 1, 0.5, 0.25, -1, 0, 0, 2}.
      0x00, 0x0A, 0x00, 0x00, 0x00, 0x41, 0x00, 0x00, 0x00, 0x41, 0x00, 0x00, 0x80, 0x3F, 0x00,
      0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3E, 0x00, 0x00, 0x80, 0xBF, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40,
      // Empty float item.
      0x00, 0x0A,
      // Frequency 0: code 8, 20000000 Hz.
      0x00, 0x08, 0x00, 0x2D, 0x31, 0x01,
      // FPPN descriptor min -1, max 1, step 0 (plain), code 10,
      // {0.5, -0.5, 0.25, 2, -1, 0}.
      0x00, 0x00, 0x80, 0xBF, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x00,
      0x00, 0x00, 0x3F, 0x00, 0x00, 0x00, 0xBF, 0x00, 0x00, 0x80, 0x3E, 0x00, 0x00, 0x00, 0x40,
      0x00, 0x00, 0x80, 0xBF, 0x00, 0x00, 0x00, 0x00,
      // Two temperature coefficients {0.5, 0.25}.
      0x00, 0x00, 0x00, 0x02, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3E,
      // Noise parameters {1, 2, 0.5, 0.25}.
      0x00, 0x0A, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x3F, 0x00,
      0x00, 0x80, 0x3E,
      // Phase wiggling: offset 0.25; one term: amplitude 0.5, harmonic 3, phase -1; footer.
      0x00, 0x0A, 0x00, 0x00, 0x80, 0x3E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x0A, 0x00, 0x00, 0x00,
      0x3F, 0x00, 0x00, 0x00, 0x01, 0x00, 0x08, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,
      0x00, 0x0A, 0x00, 0x00, 0x80, 0xBF, 0x00, 0x00,
      // Frequency footer, then the two closing footers.
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
  return b;
}

// Offsets into handTypedBlob() of items the failure tests alter.
constexpr int kFrequencyCountAt = 10;
constexpr int kFpnDescriptorAt = 22 + 21 + 11 + 21 + 10 + 6;
constexpr int kTempCountAt = kFpnDescriptorAt + 18 + 38 + 2 + 6 + 38;
constexpr int kHarmonicCountAt = kTempCountAt + 14 + 18 + 6 + 4 + 6;

TEST(TavelLayout, HandTypedBlobReadsToTheTypedValues) {
  const std::vector<uint8_t> blob = handTypedBlob();
  ASSERT_EQ(kelvora_getTavelNumPixels(blob.data(), static_cast<uint32_t>(blob.size())), 6);
  CalibrationPtr c = testing::freshRecord(6);
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(
      kelvora_readTavelHandlerCalibration(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
      status::kSuccess);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "enter =====  kelvora_readTavelCalibrationBody ============\n");

  const KelvoraCalibrationFrequency& f = c->frequencies[0];
  const KelvoraWiggling& w = f.phaseWiggling;
  // version, type, custom fields, frequencies, temperature coefficients,
  // phase terms and its harmonic; one frequency reads no amplitude model.
  EXPECT_EQ((std::vector<uint32_t>{c->version, c->type, c->customFieldCount, c->frequencyCount,
                                   f.tempCompensationCount, w.count, w.harmonic[0],
                                   f.amplitudeWiggling.count, f.modulationFrequency}),
            (std::vector<uint32_t>{1, 2, 0, 1, 2, 1, 3, kWigglingCapacity, 20000000}));
  EXPECT_EQ(std::string(c->date) + "|" + c->serial + "|" + c->sensorSerial,
            "2024-01-02 03:04:05|SN1234567|SENSOR-000000000001");
  EXPECT_EQ(testing::valuesOf(c->calibrationROI, 4), (std::vector<uint32_t>{1, 2, 3, 2}));
  EXPECT_EQ(testing::valuesOf(c->mask, 6), (std::vector<uint8_t>{1, 0, 1, 1, 0, 0}));
  EXPECT_EQ(testing::valuesOf(c->fpn, 6), (std::vector<float>{1, 2, 3, 4, 4, 2}));
  EXPECT_EQ(testing::valuesOf(c->lensParameters, 9),
            (std::vector<float>{8, 8, 1, 0.5f, 0.25f, -1, 0, 0, 2}));
  EXPECT_EQ(testing::valuesOf(f.fppn, 6), (std::vector<float>{0.5f, -0.5f, 0.25f, 2, -1, 0}));
  // Coefficients beyond those stored are zero: the per-pixel stage uses all four.
  EXPECT_EQ(testing::valuesOf(f.tempCompensation, 4), (std::vector<float>{0.5f, 0.25f, 0, 0}));
  EXPECT_EQ(testing::valuesOf(f.noiseParameters, 4), (std::vector<float>{1, 2, 0.5f, 0.25f}));
  EXPECT_EQ((std::vector<float>{w.offset, w.amplitude[0], w.phase[0]}),
            (std::vector<float>{0.25f, 0.5f, -1}));
}

TEST(TavelLayout, EachFaultReturnsItsCode) {
  const struct {
    const char* name;
    int at;  // negative: counted from the end
    std::vector<uint8_t> bytes;
    uint32_t expected;
  } cases[] = {
      {"wrong magic", 0, {'z'}, status::kUnsupported},
      {"no frequency", kFrequencyCountAt, {0, 0}, status::kUnsupported},
      // ROI 3 x 3 disagrees with the root header's 3 x 2 pixels.
      {"ROI area differs", kFpnDescriptorAt - 8, {0x03}, status::kUnsupported},
      {"empty descriptor range", kFpnDescriptorAt, {0, 0, 0x80, 0x40}, status::kInvalidValue},
      {"five temperature coefficients", kTempCountAt, {0, 0, 0, 5}, status::kCapacityExceeded},
      {"six wiggling terms", kHarmonicCountAt - 10, {0, 0, 0, 6}, status::kCapacityExceeded},
      {"harmonic count differs", kHarmonicCountAt, {0, 0, 0, 2}, status::kUnsupported},
      {"nonzero frequency footer", -6, {0x00, 0x01}, status::kUnsupported},
  };
  for (const auto& k : cases) {
    std::vector<uint8_t> blob = handTypedBlob();
    const size_t at = k.at < 0 ? blob.size() - static_cast<size_t>(-k.at) : size_t(k.at);
    std::copy(k.bytes.begin(), k.bytes.end(), blob.begin() + static_cast<std::ptrdiff_t>(at));
    EXPECT_EQ(readHandler(blob, testing::freshRecord(6).get()), k.expected) << k.name;
  }
}

// ---------------------------------------------------------------------------
// Blobs of the synthetic writer.

// The descriptor over the values' range that packs them into `bits` bits (a
// step a little above range / (2^bits - 1)); 0 stores them plain (step 0),
// 24 needs so fine a step that the width rule stores them plain too.
synth::ContainerFloatEncoding encodingFor(const float* values, size_t n, uint32_t bits) {
  const auto [lo, hi] = std::minmax_element(values, values + n);
  const float top = *hi > *lo ? *hi : *lo + 1.0f;  // a descriptor needs a range
  return {*lo, top, bits == 0 ? 0.0f : (top - *lo) / (static_cast<float>(1u << bits) - 1.5f)};
}

// Plain arrays come back bit for bit; packed ones as their code's value,
// within half a step of the original.
void expectArray(const float* got, const float* original, uint32_t pixels,
                 const synth::ContainerFloatEncoding& encoding) {
  const synth::ContainerQuantiser q(encoding);
  for (uint32_t i = 0; i < pixels; ++i) {
    const float want = q.packed ? q.value(q.code(original[i])) : original[i];
    ASSERT_EQ(got[i], want) << "pixel " << i;
    ASSERT_LE(std::fabs(double{got[i]} - original[i]), 0.5 * q.scale + 1e-6) << "pixel " << i;
  }
}

TEST(TavelRoundTrip, WrittenRecordsReadBackInEveryEncoding) {
  const struct {
    uint8_t frequencies;
    uint32_t bits, width, height;
  } cases[] = {{1, 0, 7, 5}, {2, 0, 7, 5},  {3, 0, 1, 1},  {1, 1, 7, 5},
               {3, 8, 7, 5}, {2, 13, 9, 4}, {3, 23, 9, 4}, {2, 24, 9, 4}};
  for (const auto& rc : cases) {
    SCOPED_TRACE(::testing::Message() << int(rc.frequencies) << " frequencies, " << rc.bits
                                      << " bits, " << rc.width << " x " << rc.height);
    std::vector<uint32_t> frequencies;
    for (uint32_t f = 0; f < rc.frequencies; ++f) frequencies.push_back(100000000u - 20000000u * f);
    CalibrationPtr original =
        testing::syntheticRecord(rc.width, rc.height, frequencies, false, 7u + rc.frequencies);
    const uint32_t n = rc.width * rc.height;
    synth::ContainerWriterOptions options;
    options.fpn = encodingFor(original->fpn, n, rc.bits);
    // One descriptor for every frequency's phase noise, over all of them.
    std::vector<float> fppn;
    for (uint32_t f = 0; f < rc.frequencies; ++f) {
      fppn.insert(fppn.end(), original->frequencies[f].fppn, original->frequencies[f].fppn + n);
    }
    options.fppn = encodingFor(fppn.data(), fppn.size(), rc.bits);
    const std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, options);

    CalibrationPtr read = testing::freshRecord(n);
    ASSERT_EQ(readHandler(blob, read.get()), status::kSuccess);
    testing::expectSameRecord(*read, *original, {true, true, rc.frequencies > 1});
    expectArray(read->fpn, original->fpn, n, options.fpn);
    for (uint32_t f = 0; f < rc.frequencies; ++f) {
      expectArray(read->frequencies[f].fppn, original->frequencies[f].fppn, n, options.fppn);
    }
  }
}

}  // namespace
}  // namespace kelvora
