// The block format read by the reader called directly: a blob typed byte by
// byte from the layout tables (and the writer checked against it, so that
// writer and reader cannot share a mistake), then calibrations written by the
// writer: whole records in every layout, custom blocks and the date text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/QvCustomFields.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
using testing::customBlock;
using testing::freshRecord;
using testing::readDirect;

// Encoded floats used below (fraction in [0.5, 1) times 2^(E - 127)):
// 0.25 = 0.5*2^-1 -> 3F000000, 0.5 -> 3F800000, 1.0 -> 40000000,
// 1.5 = 0.75*2^1 -> 40400000, 2.0 -> 40800000, 3.0 -> 40C00000,
// 10.0 = 0.625*2^4 -> 41A00000, -1.0 -> C0000000, -0.75 -> C0400000.
const std::vector<uint8_t> kBlob = {
    'Z', 'Y', 'N', 'Q', 'V', 'F', 0x01, 0x00, 0x02, 0x00, 0x02,  // version 1, 2 x 2
    // 0: formatFlag, uint8 x 1
    0x00, 0x00, 0x01, 0x07,
    // 1: lens parameters, float x 9
    0x01, 0x04, 0x09,                                                        //
    0x40, 0x00, 0x00, 0x00, 0x40, 0x80, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00,  //
    0xC0, 0x00, 0x00, 0x00, 0x40, 0x40, 0x00, 0x00, 0x40, 0xC0, 0x00, 0x00,  //
    0x3F, 0x00, 0x00, 0x00, 0xC0, 0x40, 0x00, 0x00, 0x41, 0xA0, 0x00, 0x00,  //
    // 2: mask, packed uint, one per pixel, 11 bits: 0x7FF, 0x001, 0x400, 0x155
    // -> stream word 0 = 0x00000FFF, word 1 = 0x000002AB
    0x02, 0x05, 0x00, 0x0B, 0x00, 0x00, 0x0F, 0xFF, 0x00, 0x00, 0x02, 0xAB,
    // 3: fpn, packed float, one per pixel, 4 bits, scale 0.5, offset -1.0,
    // codes 0, 1, 15, 8 -> word 0x00008F10
    0x03, 0x06, 0x00, 0x04, 0x3F, 0x80, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00,  //
    0x00, 0x00, 0x8F, 0x10,
    // 5: serial "ABC"
    0x05, 0x00, 0x03, 'A', 'B', 'C',
    // 8: aux values, uint16 x 2
    0x08, 0x01, 0x02, 0x12, 0x34, 0xAB, 0xCD,
    // 16: modulation frequency 0x01020304 Hz
    0x10, 0x02, 0x01, 0x01, 0x02, 0x03, 0x04,
    // 17: fppn, float, count given after code 249: 4
    0x11, 0x04, 0xF9, 0x00, 0x00, 0x00, 0x04,  //
    0x3F, 0x00, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x40, 0x80, 0x00, 0x00,
    // 18: temperature compensation 1, 2, 3, 10
    0x12, 0x04, 0x04,  //
    0x40, 0x00, 0x00, 0x00, 0x40, 0x80, 0x00, 0x00, 0x40, 0xC0, 0x00, 0x00, 0x41, 0xA0, 0x00, 0x00,
    // 19: noise parameters 0.5 x 4
    0x13, 0x04, 0x04,  //
    0x3F, 0x80, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00,
    // 21: phase wiggling: offset 0.25, phase 1.5, amplitude 0.5, harmonic 2
    0x15, 0x04, 0x04,  //
    0x3F, 0x00, 0x00, 0x00, 0x40, 0x40, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00, 0x40, 0x80, 0x00, 0x00,
    // 22: amplitude wiggling: offset 1, phase -0.75, amplitude 0.25, harmonic 1
    0x16, 0x04, 0x04,  //
    0x40, 0x00, 0x00, 0x00, 0xC0, 0x40, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00,
    // 128: custom, uint16 x 2
    0x80, 0x01, 0x02, 0xBE, 0xEF, 0x01, 0x02,
    // end marker
    0xFF};

uint32_t readCustomFields(const std::vector<uint8_t>& blob, KelvoraCalibration* c) {
  return kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c);
}

template <class T>
std::vector<T> valuesOf(const T* p, size_t n) {
  return std::vector<T>(p, p + n);
}

TEST(QvHandBuiltBlob, ReadsEveryFieldAsTyped) {
  CalibrationPtr c = freshRecord(4);
  const QvReadResult r = readDirect(kBlob, c.get(), 4);
  ASSERT_EQ(r.status, status::kSuccess) << std::hex << r.status << " block " << r.identifier;

  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 3);
  EXPECT_EQ(valuesOf(c->calibrationROI, 4), (std::vector<uint32_t>{0, 0, 2, 2}));
  EXPECT_EQ(c->formatFlag, 7);
  EXPECT_EQ(c->lensParameterCount, 9);
  EXPECT_EQ(valuesOf(c->lensParameters, 9),
            (std::vector<float>{1.0f, 2.0f, 0.5f, -1.0f, 1.5f, 3.0f, 0.25f, -0.75f, 10.0f}));
  EXPECT_EQ(valuesOf(c->mask, 4), (std::vector<uint8_t>{0xFF, 0x01, 0x00, 0x55}));
  EXPECT_EQ(valuesOf(c->fpn, 4), (std::vector<float>{-1.0f, -0.5f, 6.5f, 3.0f}));
  EXPECT_STREQ(c->serial, "ABC");
  EXPECT_EQ(valuesOf(c->auxValues, 2), (std::vector<uint16_t>{0x1234, 0xABCD}));

  EXPECT_EQ(c->frequencyCount, 1);
  const KelvoraCalibrationFrequency& f = c->frequencies[0];
  EXPECT_EQ(f.modulationFrequency, 0x01020304u);
  EXPECT_EQ(valuesOf(f.fppn, 4), (std::vector<float>{0.25f, 0.5f, 1.0f, 2.0f}));
  EXPECT_EQ(valuesOf(f.tempCompensation, 4), (std::vector<float>{1.0f, 2.0f, 3.0f, 10.0f}));
  EXPECT_EQ(valuesOf(f.noiseParameters, 4), (std::vector<float>(4, 0.5f)));
  EXPECT_TRUE(std::isnan(f.frequencyScalar));
  const KelvoraWiggling& p = f.phaseWiggling;
  EXPECT_EQ(p.count, 1);
  EXPECT_EQ((std::vector<float>{p.offset, p.phase[0], p.amplitude[0]}),
            (std::vector<float>{0.25f, 1.5f, 0.5f}));
  EXPECT_EQ(p.harmonic[0], 2u);
  const KelvoraWiggling& a = f.amplitudeWiggling;
  EXPECT_EQ(a.count, 1);
  EXPECT_EQ((std::vector<float>{a.offset, a.phase[0], a.amplitude[0]}),
            (std::vector<float>{1.0f, -0.75f, 0.25f}));
  EXPECT_EQ(a.harmonic[0], 1u);
  EXPECT_TRUE(std::isnan(c->psfScale));

  EXPECT_EQ(c->customFieldCount, 1);
  EXPECT_EQ(c->firstCustomFieldId, 128);
  ASSERT_EQ(readCustomFields(kBlob, c.get()), status::kSuccess);
  testing::expectCustomField(c->customFields[0], std::vector<uint16_t>{0xBEEF, 0x0102});
  // The custom field is reachable through field access under id 128.
  EXPECT_EQ(kelvora_getFieldSize(128, c.get()), 4u);
}

// The writer, given the same blocks, must produce the hand-typed bytes.
TEST(QvHandBuiltBlob, WriterProducesTheTypedBytes) {
  auto mask = customBlock(2, 5, {0x7FF, 0x001, 0x400, 0x155}, {}, 11);
  mask.countCode = 0;
  auto fpn = customBlock(3, 6, {0, 1, 15, 8}, {}, 4);
  fpn.countCode = 0;
  fpn.scale = 0.5f;
  fpn.offset = -1.0f;
  auto fppn = customBlock(17, 4, {}, {0.25f, 0.5f, 1.0f, 2.0f});
  fppn.countCode = 249;
  const std::vector<synth::BlockSpec> blocks = {
      customBlock(0, 0, {7}),
      customBlock(1, 4, {}, {1.0f, 2.0f, 0.5f, -1.0f, 1.5f, 3.0f, 0.25f, -0.75f, 10.0f}),
      mask,
      fpn,
      customBlock(5, 0, {'A', 'B', 'C'}),
      customBlock(8, 1, {0x1234, 0xABCD}),
      customBlock(16, 2, {0x01020304u}),
      fppn,
      customBlock(18, 4, {}, {1.0f, 2.0f, 3.0f, 10.0f}),
      customBlock(19, 4, {}, {0.5f, 0.5f, 0.5f, 0.5f}),
      customBlock(21, 4, {}, {0.25f, 1.5f, 0.5f, 2.0f}),
      customBlock(22, 4, {}, {1.0f, -0.75f, 0.25f, 1.0f}),
      customBlock(128, 1, {0xBEEF, 0x0102}),
  };
  EXPECT_EQ(synth::assembleBlockCalibration(2, 2, 1, blocks), kBlob);
}

// Identifier 10 has no table entry. The reader takes only its header (the next
// header follows right after it), while the custom-field pass skips its
// payload; with a nonzero count the two passes therefore part ways.
TEST(QvHandBuiltBlob, UnknownLowIdentifierConsumesOnlyItsHeader) {
  std::vector<uint8_t> blob = kBlob;
  const uint8_t unknown[3] = {0x0A, 0x00, 0x05};
  const uint8_t block16[4] = {0x10, 0x02, 0x01, 0x01};
  const size_t at = std::search(blob.begin(), blob.end(), block16, block16 + 4) - blob.begin();
  ASSERT_LT(at, blob.size());
  blob.insert(blob.begin() + static_cast<std::ptrdiff_t>(at), unknown, unknown + 3);
  CalibrationPtr c = freshRecord(4);
  ASSERT_EQ(readDirect(blob, c.get(), 4).status, status::kSuccess);
  EXPECT_EQ(c->frequencies[0].modulationFrequency, 0x01020304u);
  // The custom pass skips 5 bytes into block 16 and meets identifier 3.
  EXPECT_EQ(readCustomFields(blob, c.get()), status::kInvalidValue);
}

TEST(QvHandBuiltBlob, HandlerAcceptsItAndReportsItsPixelCount) {
  const auto size = static_cast<uint32_t>(kBlob.size());
  EXPECT_EQ(kelvora_supportsQVCalibration(kBlob.data(), size), 1);
  EXPECT_EQ(kelvora_getQVNumPixels(kBlob.data(), size), 4);
  CalibrationPtr c = freshRecord(4);
  EXPECT_EQ(kelvora_readQVHandlerCalibration(kBlob.data(), size, c.get()), status::kSuccess);
  EXPECT_EQ(c->fpn[2], 6.5f);

  std::vector<uint8_t> v2 = kBlob;
  v2[6] = 2;
  EXPECT_EQ(kelvora_supportsQVCalibration(v2.data(), size), 0);
  CalibrationPtr d = freshRecord(4);
  EXPECT_EQ(kelvora_readQVHandlerCalibration(v2.data(), size, d.get()), status::kUnsupported);
}

// ---------------------------------------------------------------------------
// Whole records through writer and reader.

struct RoundTripCase {
  const char* name;
  uint32_t frequencies;
  uint8_t fpnType, fpnBits, fppnType, fppnBits, maskBits;
  int perPixelCountCode;
};

// Largest error of a type-6 block: half a quantisation step, plus the
// rounding of offset + v * scale in single precision.
void expectPerPixel(const float* got, const float* want, uint32_t n, uint8_t type, uint8_t bits,
                    const char* what) {
  float tol = 0.0f;
  if (type == 6) {
    const auto [lo, hi] = std::minmax_element(want, want + n);
    const double step = (static_cast<double>(*hi) - *lo) / (std::ldexp(1.0, bits) - 1.0);
    tol = static_cast<float>(0.5 * step + 4e-7 * (std::fabs(*lo) + std::fabs(*hi)));
  }
  for (uint32_t i = 0; i < n; ++i) ASSERT_NEAR(got[i], want[i], tol) << what << " pixel " << i;
}

class QvRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(QvRoundTrip, RecordSurvivesWriterAndReader) {
  const RoundTripCase& p = GetParam();
  std::vector<uint32_t> frequencies;
  for (uint32_t f = 0; f < p.frequencies; ++f) frequencies.push_back(20000000u + 10000000u * f);
  CalibrationPtr src = testing::syntheticRecord(7, 5, frequencies, true);
  const uint32_t n = 35;
  src->formatFlag = 0;
  src->auxValues[0] = 0x0102;
  for (uint32_t i = 0; i < 32; ++i) src->auxBytes[i] = static_cast<uint8_t>(3 * i + 1);
  src->frequencies[0].frequencyScalar = 1.25f;  // only the first frequency carries one

  synth::BlockWriterOptions o;
  o.fpnType = p.fpnType;
  o.fpnBits = p.fpnBits;
  o.fppnType = p.fppnType;
  o.fppnBits = p.fppnBits;
  o.maskBits = p.maskBits;
  o.perPixelCountCode = p.perPixelCountCode;
  o.auxBytes = true;
  o.auxValues = true;
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*src, o);

  CalibrationPtr c = freshRecord(n);
  const QvReadResult r = readDirect(blob, c.get(), n);
  ASSERT_EQ(r.status, status::kSuccess)
      << std::hex << r.status << " block " << std::dec << r.identifier;
  testing::expectSameRecord(*c, *src, {/*date=*/false, true, true});
  EXPECT_EQ(c->formatFlag, 0);
  expectPerPixel(c->fpn, src->fpn, n, p.fpnType, p.fpnBits, "fpn");
  EXPECT_EQ(0, std::memcmp(c->auxBytes, src->auxBytes, 32));
  EXPECT_EQ(valuesOf(c->auxValues, 2), (std::vector<uint16_t>{0x0102, 0xFFFF}));

  // Stray-light block: 32 floats into psfScale .. psfHeight.
  EXPECT_EQ(c->psfScale, src->psfScale);
  EXPECT_EQ(0, std::memcmp(c->psfRadii, src->psfRadii, 13 * sizeof(float)));
  EXPECT_EQ(0, std::memcmp(c->psfValues, src->psfValues, 13 * sizeof(float)));
  EXPECT_EQ((std::vector<float>{c->psfExponent, c->psfOffset, c->psfCentre}),
            (std::vector<float>{src->psfExponent, src->psfOffset, src->psfCentre}));
  EXPECT_EQ(c->psfWidth, src->psfWidth);
  EXPECT_EQ(c->psfHeight, src->psfHeight);
  EXPECT_EQ(c->psfPointCount, 13);

  for (uint32_t f = 0; f < p.frequencies; ++f) {
    const KelvoraCalibrationFrequency& g = c->frequencies[f];
    expectPerPixel(g.fppn, src->frequencies[f].fppn, n, p.fppnType, p.fppnBits, "fppn");
    if (f == 0) {
      EXPECT_EQ(g.frequencyScalar, 1.25f);
    } else {
      EXPECT_TRUE(std::isnan(g.frequencyScalar)) << f;
    }
  }
  EXPECT_EQ(c->customFieldCount, 0);
  EXPECT_EQ(c->firstCustomFieldId, 128);
}

INSTANTIATE_TEST_SUITE_P(Layouts, QvRoundTrip,
                         ::testing::Values(RoundTripCase{"floats", 2, 4, 0, 4, 0, 1, -1},
                                           RoundTripCase{"packed16", 2, 6, 16, 6, 16, 8, -1},
                                           RoundTripCase{"packedNarrow", 1, 6, 3, 6, 5, 31, -1},
                                           RoundTripCase{"packedWide", 3, 6, 31, 6, 24, 2, -1},
                                           RoundTripCase{"fiveFrequencies", 5, 4, 0, 6, 12, 1, -1},
                                           RoundTripCase{"countsFollow", 2, 6, 9, 4, 0, 3, 249},
                                           RoundTripCase{"countPerPixel", 2, 4, 0, 6, 20, 7, 0}),
                         [](const ::testing::TestParamInfo<RoundTripCase>& i) {
                           return std::string(i.param.name);
                         });

// ---------------------------------------------------------------------------
// Custom blocks: sizes from the reader, contents from the custom-field pass.

CalibrationPtr smallSynthetic() {
  return testing::syntheticRecord(8, 5, {80320000u, 60240000u}, true, 3);
}

TEST(QvCustomBlocks, FiveBlocksOfEveryTypeAreKeptAndDecoded) {
  synth::BlockWriterOptions o;
  o.extraBlocks = {
      customBlock(128, 0, {1, 2, 250}),        customBlock(131, 1, {0xBEEF, 7}),
      customBlock(140, 2, {0xDEADBEEFu}),      customBlock(200, 3, {0xFFFFFFF6u, 5}),  // -10, 5
      customBlock(254, 4, {}, {-2.5f, 1e-3f}),
  };
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*smallSynthetic(), o);
  CalibrationPtr c = freshRecord(40);
  ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
  ASSERT_EQ(c->customFieldCount, 5);
  EXPECT_EQ(c->firstCustomFieldId, 128);
  const uint8_t sizes[5] = {3, 4, 4, 8, 8};
  uint8_t copy[8];
  for (int k = 0; k < 5; ++k) {
    EXPECT_EQ(c->customFields[k].size, sizes[k]) << k;
    // Until the custom-field pass the sizes are known but there is no data.
    EXPECT_EQ(kelvora_getField(128 + k, c.get(), copy), status::kNoData) << k;
  }

  ASSERT_EQ(readCustomFields(blob, c.get()), status::kSuccess);
  testing::expectCustomField(c->customFields[0], std::vector<uint8_t>{1, 2, 250});
  testing::expectCustomField(c->customFields[1], std::vector<uint16_t>{0xBEEF, 7});
  testing::expectCustomField(c->customFields[2], std::vector<uint32_t>{0xDEADBEEFu});
  testing::expectCustomField(c->customFields[3], std::vector<int32_t>{-10, 5});
  testing::expectCustomField(c->customFields[4], std::vector<float>{-2.5f, 1e-3f});
  // Field access answers to 128 + k for the k-th custom block.
  EXPECT_EQ(kelvora_getField(128 + 3, c.get(), copy), status::kSuccess);
  EXPECT_EQ(0, std::memcmp(copy, c->customFields[3].data, 8));
}

TEST(QvCustomBlocks, PackedAndPerPixelCustomBlocks) {
  // 2 items of 31 bits need 2 words: 8 payload bytes, 8 decoded bytes.
  auto packed = customBlock(129, 5, {0x7FFFFFFFu, 0x12345678u}, {}, 31);
  auto packedFloat = customBlock(130, 6, {3u}, {}, 31);
  packedFloat.scale = 0.5f;
  packedFloat.offset = 10.0f;
  // Code 250: two bytes per pixel.
  std::vector<uint32_t> twoPerPixel(80);
  for (uint32_t i = 0; i < 80; ++i) twoPerPixel[i] = i;
  auto perPixel = customBlock(150, 0, twoPerPixel);
  perPixel.countCode = 250;
  synth::BlockWriterOptions o;
  o.extraBlocks = {packed, packedFloat, perPixel};
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*smallSynthetic(), o);
  CalibrationPtr c = freshRecord(40);
  ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
  ASSERT_EQ(c->customFieldCount, 3);
  EXPECT_EQ(c->customFields[2].size, 80);
  ASSERT_EQ(readCustomFields(blob, c.get()), status::kSuccess);
  testing::expectCustomField(c->customFields[0], std::vector<uint32_t>{0x7FFFFFFFu, 0x12345678u});
  testing::expectCustomField(c->customFields[1], std::vector<float>{11.5f});
  testing::expectCustomField(c->customFields[2],
                             std::vector<uint8_t>(twoPerPixel.begin(), twoPerPixel.end()));
}

// ---------------------------------------------------------------------------
// Date block: the standard date text in local time, then the seconds.

class QvDate : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* tz = std::getenv("TZ");
    hadTz_ = tz != nullptr;
    if (hadTz_) oldTz_ = tz;
    setenv("TZ", "UTC", 1);
    tzset();
  }
  void TearDown() override {
    if (hadTz_) {
      setenv("TZ", oldTz_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  bool hadTz_ = false;
  std::string oldTz_;
};

TEST_F(QvDate, TextIsTheCalendarDateFollowedByTheSeconds) {
  // Calendar facts: 1970-01-01 was a Thursday, 2023-11-14 22:13:20 UTC is
  // 1700000000 s, and 2106-02-07 06:28:15 UTC is the last uint32 second.
  struct Case {
    uint32_t seconds;
    const char* text;
  };
  const Case cases[] = {{0u, "Thu Jan  1 00:00:00 1970\n (0)"},
                        {1700000000u, "Tue Nov 14 22:13:20 2023\n (1700000000)"},
                        {4294967295u, "Sun Feb  7 06:28:15 2106\n (4294967295)"}};
  CalibrationPtr src = smallSynthetic();
  for (const Case& k : cases) {
    if (sizeof(time_t) < 8 && k.seconds > 0x7FFFFFFFu) continue;
    synth::BlockWriterOptions o;
    o.dateSeconds = k.seconds;
    const auto blob = synth::writeBlockCalibration(*src, o);
    CalibrationPtr c = freshRecord(40);
    ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
    EXPECT_STREQ(c->date, k.text);
  }
}

}  // namespace
}  // namespace kelvora
