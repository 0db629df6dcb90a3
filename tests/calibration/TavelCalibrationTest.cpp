// The container format: a blob typed byte by byte from the format's layout
// (so that the reader and the synthetic writer cannot share a mistake), blobs
// of the synthetic writer read back, faults and truncations, and the packed
// integer arrays the format stores per-pixel values in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/PackedArray.hpp"
#include "calibration/TavelCalibrationReader.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"

namespace kelvora {
namespace {

using synth::ContainerFloatEncoding;
using synth::ContainerQuantiser;
using testing::CalibrationPtr;

// The handler on the first `length` bytes (all by default), what it prints
// stored in *printed.
uint32_t readHandler(const std::vector<uint8_t>& blob, KelvoraCalibration* record,
                     uint32_t length = UINT32_MAX, std::string* printed = nullptr) {
  ::testing::internal::CaptureStdout();
  const uint32_t s =
      testing::readFromExactCopy(blob, std::min(length, static_cast<uint32_t>(blob.size())), record,
                                 kelvora_readTavelHandlerCalibration);
  const std::string out = ::testing::internal::GetCapturedStdout();
  if (printed != nullptr) *printed = out;
  return s;
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
  std::string printed;
  ASSERT_EQ(readHandler(blob, c.get(), UINT32_MAX, &printed), status::kSuccess);
  EXPECT_EQ(printed, "enter =====  kelvora_readTavelCalibrationBody ============\n");

  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 2);
  EXPECT_EQ(c->customFieldCount, 0);
  EXPECT_EQ(c->frequencyCount, 1);
  EXPECT_STREQ(c->date, "2024-01-02 03:04:05");
  EXPECT_STREQ(c->serial, "SN1234567");
  EXPECT_STREQ(c->sensorSerial, "SENSOR-000000000001");
  EXPECT_EQ(std::vector<uint32_t>(c->calibrationROI, c->calibrationROI + 4),
            (std::vector<uint32_t>{1, 2, 3, 2}));
  EXPECT_EQ(std::vector<uint8_t>(c->mask, c->mask + 6), (std::vector<uint8_t>{1, 0, 1, 1, 0, 0}));
  EXPECT_EQ(std::vector<float>(c->fpn, c->fpn + 6),
            (std::vector<float>{1.0f, 2.0f, 3.0f, 4.0f, 4.0f, 2.0f}));
  EXPECT_EQ(std::vector<float>(c->lensParameters, c->lensParameters + 9),
            (std::vector<float>{8, 8, 1, 0.5f, 0.25f, -1, 0, 0, 2}));
  const KelvoraCalibrationFrequency& f = c->frequencies[0];
  EXPECT_EQ(f.modulationFrequency, 20000000u);
  EXPECT_EQ(std::vector<float>(f.fppn, f.fppn + 6),
            (std::vector<float>{0.5f, -0.5f, 0.25f, 2.0f, -1.0f, 0.0f}));
  EXPECT_EQ(f.tempCompensationCount, 2);
  // Coefficients beyond those stored are zero: the per-pixel stage uses all four.
  EXPECT_EQ(std::vector<float>(f.tempCompensation, f.tempCompensation + 4),
            (std::vector<float>{0.5f, 0.25f, 0.0f, 0.0f}));
  EXPECT_EQ(std::vector<float>(f.noiseParameters, f.noiseParameters + 4),
            (std::vector<float>{1, 2, 0.5f, 0.25f}));
  EXPECT_EQ(f.phaseWiggling.offset, 0.25f);
  EXPECT_EQ(f.phaseWiggling.count, 1);
  EXPECT_EQ(f.phaseWiggling.amplitude[0], 0.5f);
  EXPECT_EQ(f.phaseWiggling.harmonic[0], 3u);
  EXPECT_EQ(f.phaseWiggling.phase[0], -1.0f);
  // One frequency: no amplitude model is read.
  EXPECT_EQ(f.amplitudeWiggling.count, kWigglingCapacity);
}

TEST(TavelLayout, SupportAndPixelCountComeFromTheRootHeader) {
  std::vector<uint8_t> blob = handTypedBlob();
  EXPECT_TRUE(kelvora_supportsTavelCalibration(blob.data(), 7));
  EXPECT_FALSE(kelvora_supportsTavelCalibration(blob.data(), 6));  // magic alone is too short
  blob[2] = 'M';
  EXPECT_FALSE(kelvora_supportsTavelCalibration(blob.data(), static_cast<uint32_t>(blob.size())));
  EXPECT_EQ(static_cast<uint32_t>(kelvora_getTavelNumPixels(blob.data(), 22)),
            status::kUnsupported);
  blob[2] = 'N';
  EXPECT_EQ(static_cast<uint32_t>(kelvora_getTavelNumPixels(blob.data(), 21)),
            status::kStreamTooShort);
  // The header alone answers, whatever follows it; a product past the signed
  // range is reported as the largest count (the registry refuses both before
  // allocating, as no blob this size could describe them).
  EXPECT_EQ(kelvora_getTavelNumPixels(blob.data(), 22), 6);
  blob[14] = 0x10;  // 0x10000003 x 2
  EXPECT_EQ(kelvora_getTavelNumPixels(blob.data(), 22), 0x20000006);
  for (int i : {16, 17, 20, 21}) blob[i] = 0xFF;  // 0x1000FFFF x 0xFFFF
  EXPECT_EQ(kelvora_getTavelNumPixels(blob.data(), 22), 0x7FFFFFFF);
}

struct Corruption {
  const char* name;
  int at;  // negative: counted from the end
  std::vector<uint8_t> bytes;
  uint32_t expected;
};

class TavelFailure : public ::testing::TestWithParam<Corruption> {};

TEST_P(TavelFailure, ReturnsItsCode) {
  const Corruption& k = GetParam();
  std::vector<uint8_t> blob = handTypedBlob();
  const size_t at = k.at < 0 ? blob.size() - static_cast<size_t>(-k.at) : static_cast<size_t>(k.at);
  std::copy(k.bytes.begin(), k.bytes.end(), blob.begin() + static_cast<std::ptrdiff_t>(at));
  CalibrationPtr c = testing::freshRecord(6);
  EXPECT_EQ(readHandler(blob, c.get()), k.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, TavelFailure,
    ::testing::Values(
        Corruption{"WrongMagic", 0, {'z'}, status::kUnsupported},
        Corruption{"NoFrequency", kFrequencyCountAt, {0, 0}, status::kUnsupported},
        Corruption{"FourFrequencies", kFrequencyCountAt, {0, 4}, status::kUnsupported},
        Corruption{"WrongDateCode", 22, {0x00, 0x0A}, status::kUnsupported},
        Corruption{"WrongMaskCode", kFpnDescriptorAt - 6, {0x00, 0x08}, status::kUnsupported},
        // ROI 3 x 3 disagrees with the root header's 3 x 2 pixels.
        Corruption{"RoiAreaDiffers", kFpnDescriptorAt - 8, {0x03}, status::kUnsupported},
        // Descriptor minimum 4.0 equal to its maximum.
        Corruption{"EmptyRange", kFpnDescriptorAt, {0, 0, 0x80, 0x40}, status::kInvalidValue},
        // Step -1: no width can hold the range.
        Corruption{"NegativeStep", kFpnDescriptorAt + 8, {0, 0, 0x80, 0xBF}, status::kInvalidValue},
        Corruption{"FiveTempCoefficients", kTempCountAt, {0, 0, 0, 5}, status::kCapacityExceeded},
        Corruption{
            "SixWigglingTerms", kHarmonicCountAt - 10, {0, 0, 0, 6}, status::kCapacityExceeded},
        Corruption{"HarmonicCountDiffers", kHarmonicCountAt, {0, 0, 0, 2}, status::kUnsupported},
        Corruption{"NonzeroFooter", -6, {0x00, 0x01}, status::kUnsupported},
        Corruption{"NonzeroClosingFooter", -2, {0x01, 0x00}, status::kUnsupported}),
    [](const ::testing::TestParamInfo<Corruption>& p) { return p.param.name; });

// ---------------------------------------------------------------------------
// Blobs of the synthetic writer.

constexpr float kLo = -0.5f;
constexpr float kHi = 0.75f;

// A step a little above range / (2^b - 1) needs exactly b bits.
constexpr float stepFor(float lo, float hi, uint32_t bits) {
  return (hi - lo) / (static_cast<float>(1u << bits) - 1.5f);
}

// The descriptor of `bits` (0: plain, step 0; 24: a step so fine that the
// width rule stores it plain) over the range of the values it stores.
ContainerFloatEncoding encodingFor(const std::vector<float>& values, uint32_t bits) {
  const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
  const float top = *hi > *lo ? *hi : *lo + 1.0f;
  return {*lo, top, bits == 0 ? 0.0f : stepFor(*lo, top, bits)};
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

struct RoundTripCase {
  uint8_t frequencies;
  uint32_t bits;
  uint32_t width;
  uint32_t height;
};

class TavelRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(TavelRoundTrip, ReadsBackTheWrittenRecord) {
  const RoundTripCase& rc = GetParam();
  std::vector<uint32_t> frequencies;
  for (uint32_t f = 0; f < rc.frequencies; ++f) frequencies.push_back(100000000u - 20000000u * f);
  CalibrationPtr original =
      testing::syntheticRecord(rc.width, rc.height, frequencies, false, 7u + rc.frequencies);
  const uint32_t n = rc.width * rc.height;
  synth::ContainerWriterOptions options;
  options.fpn = encodingFor({original->fpn, original->fpn + n}, rc.bits);
  // One descriptor for every frequency's phase noise: over all their values.
  std::vector<float> fppn;
  for (uint32_t f = 0; f < rc.frequencies; ++f) {
    fppn.insert(fppn.end(), original->frequencies[f].fppn, original->frequencies[f].fppn + n);
  }
  options.fppn = encodingFor(fppn, rc.bits);
  const ContainerQuantiser q(options.fpn);
  EXPECT_EQ(q.bits, rc.bits == 0 ? 24u : rc.bits);
  EXPECT_EQ(q.packed, rc.bits != 0 && rc.bits < 24);
  const std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, options);

  ASSERT_EQ(kelvora_getTavelNumPixels(blob.data(), static_cast<uint32_t>(blob.size())),
            static_cast<int32_t>(n));
  CalibrationPtr read = testing::freshRecord(n);
  ASSERT_EQ(readHandler(blob, read.get()), status::kSuccess);
  testing::expectSameRecord(*read, *original, {true, true, rc.frequencies > 1});
  expectArray(read->fpn, original->fpn, n, options.fpn, "fpn");
  for (uint32_t f = 0; f < rc.frequencies; ++f) {
    expectArray(read->frequencies[f].fppn, original->frequencies[f].fppn, n, options.fppn, "fppn");
  }
}

INSTANTIATE_TEST_SUITE_P(Encodings, TavelRoundTrip,
                         ::testing::Values(RoundTripCase{1, 0, 7, 5}, RoundTripCase{2, 0, 7, 5},
                                           RoundTripCase{3, 0, 7, 5}, RoundTripCase{1, 1, 7, 5},
                                           RoundTripCase{2, 5, 7, 5}, RoundTripCase{3, 8, 7, 5},
                                           RoundTripCase{2, 13, 9, 4}, RoundTripCase{1, 16, 9, 4},
                                           RoundTripCase{3, 23, 9, 4}, RoundTripCase{2, 24, 9, 4},
                                           RoundTripCase{2, 8, 64, 48}, RoundTripCase{1, 0, 1, 1}),
                         [](const ::testing::TestParamInfo<RoundTripCase>& p) {
                           return "Bits" + std::to_string(p.param.bits) + "_F" +
                                  std::to_string(p.param.frequencies) + "_" +
                                  std::to_string(p.param.width) + "x" +
                                  std::to_string(p.param.height);
                         });

TEST(TavelRoundTrip, OneFrequencyBlobRelabelledAsTwoLacksTheAmplitudeModel) {
  CalibrationPtr original = testing::makeHandBuiltCalibration(4, 3, 1);
  std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, {});
  blob[11] = 2;  // frequency count in the root header
  CalibrationPtr read = testing::freshRecord(12);
  EXPECT_NE(readHandler(blob, read.get()), status::kSuccess);
}

// Every prefix of a packed three-frequency blob, each in an exact-size copy.
TEST(TavelRoundTrip, EveryTruncationFailsCleanly) {
  CalibrationPtr original = testing::makeHandBuiltCalibration(6, 5, 3);
  synth::ContainerWriterOptions options;
  options.fpn = {kLo, kHi, stepFor(kLo, kHi, 7)};
  options.fppn = {kLo, kHi, stepFor(kLo, kHi, 11)};
  const std::vector<uint8_t> blob = synth::writeContainerCalibration(*original, options);
  for (uint32_t length = 0; length < blob.size(); ++length) {
    CalibrationPtr read = testing::freshRecord(30);
    ASSERT_EQ(readHandler(blob, read.get(), length),
              length < 7 ? status::kUnsupported : status::kStreamTooShort)
        << "length " << length;
  }
}

// ---------------------------------------------------------------------------
// Packed integer arrays.

// Slow reference: item i gathered bit by bit from the little-endian stream.
uint32_t naiveItem(const uint32_t* words, uint32_t bits, uint64_t index) {
  uint32_t value = 0;
  for (uint32_t b = 0; b < bits; ++b) {
    const uint64_t k = index * bits + b;
    value |= ((words[k / 32] >> (k % 32)) & 1u) << b;
  }
  return value;
}

struct PackedDeleter {
  void operator()(PackedArray* a) const { PackedArray_destroy(a); }
};
using PackedPtr = std::unique_ptr<PackedArray, PackedDeleter>;

class PackedArrayWidth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(PackedArrayWidth, UnpacksEveryOffsetAndLengthLikeTheBitStream) {
  const uint32_t bits = GetParam();
  // Long enough for several whole 32-item blocks plus ragged heads and tails.
  const uint32_t count = 32 * 5 + 7;
  PackedPtr a(PackedArray_create(bits, count));
  std::mt19937 rng(1000 + bits);
  for (uint32_t w = 0; w < PackedArray_bufferSize(a.get()); ++w) a->buffer[w] = rng();
  for (uint32_t offset : {0u, 1u, 3u, 17u, 31u, 32u, 33u, 64u, 95u, count - 1}) {
    for (uint32_t n : {0u, 1u, 5u, 31u, 32u, 33u, 64u, 100u, count}) {
      if (offset + n > count) continue;
      std::vector<uint32_t> out(n + 1, 0xDEADBEEFu);
      PackedArray_unpack(a.get(), offset, out.data(), n);
      for (uint32_t i = 0; i < n; ++i) {
        ASSERT_EQ(out[i], naiveItem(a->buffer, bits, offset + i))
            << "bits " << bits << " offset " << offset << " n " << n << " item " << i;
      }
      EXPECT_EQ(out[n], 0xDEADBEEFu) << "wrote past n";
    }
  }
  // A request running past the last stored item stops there.
  std::vector<uint32_t> out(20, 0xDEADBEEFu);
  PackedArray_unpack(a.get(), count - 10, out.data(), 20);
  EXPECT_EQ(out[9], naiveItem(a->buffer, bits, count - 1));
  EXPECT_EQ(out[10], 0xDEADBEEFu);
}

INSTANTIATE_TEST_SUITE_P(AllWidths, PackedArrayWidth, ::testing::Range(1u, 33u));

TEST(PackedArray, BufferSizeIsWholeWordsOfTheBitCount) {
  struct Case {
    uint32_t bits, count, words;
  };
  for (const Case& c : {Case{16, 4, 2}, Case{1, 38528, 1204}, Case{3, 11, 2}, Case{32, 5, 5},
                        Case{7, 0, 0}, Case{31, 33, 32}, Case{32, 0x7FFFFFFF, 0x7FFFFFFF}}) {
    PackedArray header{c.bits, c.count, {0, 0}, nullptr};
    EXPECT_EQ(PackedArray_bufferSize(&header), c.words) << c.bits << " x " << c.count;
  }
}

TEST(PackedArray, CreateRefusesWidthsOutsideOneToThirtyTwoAndZeroesTheLastWord) {
  EXPECT_EQ(PackedArray_create(0, 10), nullptr);
  EXPECT_EQ(PackedArray_create(33, 10), nullptr);
  PackedPtr empty(PackedArray_create(5, 0));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(PackedArray_bufferSize(empty.get()), 0u);
  PackedPtr a(PackedArray_create(3, 11));  // 33 bits: the last word holds one bit
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->bitsPerItem, 3u);
  EXPECT_EQ(a->count, 11u);
  EXPECT_EQ(a->buffer[1], 0u);
}

}  // namespace
}  // namespace kelvora
