// Calibrations written by the block writer and read back by the reader called
// directly: whole records, every data type with every count code, custom
// blocks, the stray-light and wiggling blocks and the date text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "QvTestSupport.hpp"
#include "calibration/QvBlockDecoding.hpp"
#include "calibration/QvCustomFields.hpp"
#include "calibration/QvHeader.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using qvtest::customBlock;
using qvtest::freshRecord;
using qvtest::readDirect;
using qvtest::RecordPtr;

struct RoundTripCase {
  const char* name;
  uint32_t frequencies;
  uint8_t fpnType, fpnBits, fppnType, fppnBits, maskBits;
  int perPixelCountCode;
};

class QvRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

// Largest error of a type-6 block: half a quantisation step, plus the
// rounding of offset + v * scale in single precision.
float packedTolerance(const float* v, uint32_t n, uint8_t bits) {
  float lo = v[0], hi = v[0];
  for (uint32_t i = 0; i < n; ++i) {
    lo = std::min(lo, v[i]);
    hi = std::max(hi, v[i]);
  }
  const double step = (static_cast<double>(hi) - lo) / (std::ldexp(1.0, bits) - 1.0);
  return static_cast<float>(0.5 * step + 4e-7 * (std::fabs(lo) + std::fabs(hi)));
}

void expectPerPixel(const float* got, const float* want, uint32_t n, uint8_t type, uint8_t bits,
                    const char* what) {
  const float tol = type == 6 ? packedTolerance(want, n, bits) : 0.0f;
  for (uint32_t i = 0; i < n; ++i) {
    ASSERT_NEAR(got[i], want[i], tol) << what << " pixel " << i;
  }
}

void expectWiggling(const KelvoraWiggling& got, const KelvoraWiggling& want) {
  ASSERT_EQ(got.count, want.count);
  EXPECT_EQ(got.offset, want.offset);
  for (uint32_t k = 0; k < want.count; ++k) {
    EXPECT_EQ(got.phase[k], want.phase[k]);
    EXPECT_EQ(got.amplitude[k], want.amplitude[k]);
    EXPECT_EQ(got.harmonic[k], want.harmonic[k]);
  }
}

TEST_P(QvRoundTrip, RecordSurvivesWriterAndReader) {
  const RoundTripCase& p = GetParam();
  synth::SyntheticCalibrationOptions so;
  so.width = 7;
  so.height = 5;
  so.strayLight = true;
  so.maskedFraction = 0.3f;
  so.frequencies.clear();
  for (uint32_t f = 0; f < p.frequencies; ++f) so.frequencies.push_back(20000000u + 10000000u * f);
  RecordPtr src(synth::makeSyntheticCalibration(so));
  const uint32_t n = 35;
  src->formatFlag = 0;
  src->auxValues[0] = 0x0102;
  src->auxValues[1] = 0xFFFF;
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

  auto c = freshRecord(n);
  const QvReadResult r = readDirect(blob, c.get(), n);
  ASSERT_EQ(r.status, status::kSuccess)
      << std::hex << r.status << " block " << std::dec << r.identifier;
  EXPECT_EQ(c->calibrationROI[2], 7u);
  EXPECT_EQ(c->calibrationROI[3], 5u);
  EXPECT_EQ(c->formatFlag, 0);
  EXPECT_EQ(0, std::memcmp(c->lensParameters, src->lensParameters, 9 * sizeof(float)));
  EXPECT_EQ(0, std::memcmp(c->mask, src->mask, n));
  expectPerPixel(c->fpn, src->fpn, n, p.fpnType, p.fpnBits, "fpn");
  EXPECT_STREQ(c->serial, src->serial);
  EXPECT_STREQ(c->sensorSerial, src->sensorSerial);
  EXPECT_EQ(0, std::memcmp(c->auxBytes, src->auxBytes, 32));
  EXPECT_EQ(c->auxValues[0], 0x0102);
  EXPECT_EQ(c->auxValues[1], 0xFFFF);

  // Stray-light block: 32 floats into psfScale .. psfHeight.
  EXPECT_EQ(c->psfScale, src->psfScale);
  EXPECT_EQ(0, std::memcmp(c->psfRadii, src->psfRadii, 13 * sizeof(float)));
  EXPECT_EQ(0, std::memcmp(c->psfValues, src->psfValues, 13 * sizeof(float)));
  EXPECT_EQ(c->psfExponent, src->psfExponent);
  EXPECT_EQ(c->psfOffset, src->psfOffset);
  EXPECT_EQ(c->psfCentre, src->psfCentre);
  EXPECT_EQ(c->psfWidth, src->psfWidth);
  EXPECT_EQ(c->psfHeight, src->psfHeight);
  EXPECT_EQ(c->psfPointCount, 13);

  ASSERT_EQ(c->frequencyCount, p.frequencies);
  for (uint32_t f = 0; f < p.frequencies; ++f) {
    SCOPED_TRACE(f);
    const KelvoraCalibrationFrequency& g = c->frequencies[f];
    const KelvoraCalibrationFrequency& w = src->frequencies[f];
    EXPECT_EQ(g.modulationFrequency, w.modulationFrequency);
    expectPerPixel(g.fppn, w.fppn, n, p.fppnType, p.fppnBits, "fppn");
    EXPECT_EQ(0, std::memcmp(g.tempCompensation, w.tempCompensation, 4 * sizeof(float)));
    EXPECT_EQ(0, std::memcmp(g.noiseParameters, w.noiseParameters, 4 * sizeof(float)));
    if (f == 0) {
      EXPECT_EQ(g.frequencyScalar, 1.25f);
    } else {
      EXPECT_TRUE(std::isnan(g.frequencyScalar));
    }
    expectWiggling(g.phaseWiggling, w.phaseWiggling);
    expectWiggling(g.amplitudeWiggling, w.amplitudeWiggling);
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
// Every data type with every count code, one block at a time.

uint64_t expectedCount(uint8_t code, uint32_t pixels) {
  if (code == 0) return pixels;
  if (code <= 248) return code;
  if (code == 249) return 300;
  return static_cast<uint64_t>(code - 248) * pixels;
}

TEST(QvBlockCodes, EveryTypeWithEveryCountCodeDecodes) {
  constexpr uint32_t kPixels = 3;
  synth::SplitMix rng(9);
  for (uint8_t type = 0; type < 7; ++type) {
    for (int code = 0; code < 256; ++code) {
      SCOPED_TRACE(::testing::Message() << "type " << int(type) << " code " << code);
      const uint64_t n = expectedCount(static_cast<uint8_t>(code), kPixels);
      synth::BlockSpec b;
      b.id = 40;
      b.type = type;
      b.countCode = code;
      b.bits = static_cast<uint8_t>(1 + code % 31);
      b.scale = 0.125f;
      b.offset = -2.0f;
      const uint32_t mask = type == 0   ? 0xFFu
                            : type == 1 ? 0xFFFFu
                            : type >= 5 ? (1u << b.bits) - 1u
                                        : 0xFFFFFFFFu;
      for (uint64_t i = 0; i < n; ++i) {
        if (type == 4) {
          b.floats.push_back(rng.uniform(-1000.f, 1000.f));
        } else {
          b.integers.push_back(static_cast<uint32_t>(rng.next()) & mask);
        }
      }
      synth::BlockStreamBuilder builder(1, kPixels);
      builder.appendBlock(b);
      builder.appendEnd();
      const std::vector<uint8_t>& blob = builder.bytes();

      QvStream s = kelvora_createStreamFromData(blob.data(), static_cast<uint32_t>(blob.size()));
      QvHeader h{};
      ASSERT_EQ(kelvora_readQVHeader(&s, &h), status::kSuccess);
      QvBlockHeader bh{};
      ASSERT_EQ(kelvora_readQVBlockHeader(&s, kPixels, &bh), status::kSuccess);
      ASSERT_EQ(bh.count, n);
      ASSERT_EQ(bh.type, type);
      std::vector<uint8_t> out(kelvora_getQVUnpackedBlockSize(&bh) + 1, 0xAA);
      QvScratch scratch = kelvora_createQVScratch(1000);
      uint64_t decoded = 0;
      ASSERT_EQ(kelvora_decodeQVBlock(&s, &bh, out.data(), out.size() - 1, &scratch, &decoded),
                status::kSuccess);
      kelvora_freeQVScratch(&scratch);
      ASSERT_EQ(decoded, out.size() - 1);
      ASSERT_EQ(out.back(), 0xAA);  // nothing past the decoded size
      // The stream stands on the end marker.
      ASSERT_EQ(s.position + 1, blob.size());
      for (uint64_t i = 0; i < n; ++i) {
        switch (type) {
          case 0:
            ASSERT_EQ(out[i], b.integers[i]);
            break;
          case 1: {
            uint16_t v;
            std::memcpy(&v, &out[2 * i], 2);
            ASSERT_EQ(v, b.integers[i]);
            break;
          }
          case 4:
          case 6: {
            float v;
            std::memcpy(&v, &out[4 * i], 4);
            const float want =
                type == 4 ? b.floats[i] : -2.0f + static_cast<float>(b.integers[i]) * 0.125f;
            ASSERT_EQ(v, want) << i;
            break;
          }
          default: {
            uint32_t v;
            std::memcpy(&v, &out[4 * i], 4);
            ASSERT_EQ(v, b.integers[i]) << i;
          }
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Custom blocks: sizes from the reader, contents from the custom-field pass.

std::vector<synth::BlockSpec> customBlocksOfEveryType() {
  return {
      customBlock(128, 0, {1, 2, 250}),        customBlock(131, 1, {0xBEEF, 7}),
      customBlock(140, 2, {0xDEADBEEFu}),      customBlock(200, 3, {0xFFFFFFF6u, 5}),  // -10, 5
      customBlock(254, 4, {}, {-2.5f, 1e-3f}),
  };
}

TEST(QvCustomBlocks, FiveBlocksOfEveryTypeAreKeptAndDecoded) {
  auto src = qvtest::smallSynthetic();
  synth::BlockWriterOptions o;
  o.extraBlocks = customBlocksOfEveryType();
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*src, o);
  auto c = freshRecord(40);
  ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
  ASSERT_EQ(c->customFieldCount, 5);
  EXPECT_EQ(c->firstCustomFieldId, 128);
  const uint8_t sizes[5] = {3, 4, 4, 8, 8};
  for (int k = 0; k < 5; ++k) EXPECT_EQ(c->customFields[k].size, sizes[k]) << k;

  ASSERT_EQ(kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
            status::kSuccess);
  const auto* b0 = static_cast<const uint8_t*>(c->customFields[0].data);
  EXPECT_EQ(b0[0], 1);
  EXPECT_EQ(b0[2], 250);
  uint16_t u16[2];
  std::memcpy(u16, c->customFields[1].data, 4);
  EXPECT_EQ(u16[0], 0xBEEF);
  EXPECT_EQ(u16[1], 7);
  uint32_t u32;
  std::memcpy(&u32, c->customFields[2].data, 4);
  EXPECT_EQ(u32, 0xDEADBEEFu);
  int32_t i32[2];
  std::memcpy(i32, c->customFields[3].data, 8);
  EXPECT_EQ(i32[0], -10);
  EXPECT_EQ(i32[1], 5);
  float f[2];
  std::memcpy(f, c->customFields[4].data, 8);
  EXPECT_EQ(f[0], -2.5f);
  EXPECT_EQ(f[1], 1e-3f);
  // Field access answers to 128 + k for the k-th custom block.
  uint8_t copy[8];
  EXPECT_EQ(kelvora_getField(128 + 3, c.get(), copy), status::kSuccess);
  EXPECT_EQ(0, std::memcmp(copy, c->customFields[3].data, 8));
}

TEST(QvCustomBlocks, PackedCustomBlocksFitWhenTheirWordsCoverTheDecodedSize) {
  // 2 items of 31 bits need 2 words: 8 payload bytes, 8 decoded bytes.
  auto src = qvtest::smallSynthetic();
  synth::BlockWriterOptions o;
  auto packed = customBlock(129, 5, {0x7FFFFFFFu, 0x12345678u}, {}, 31);
  auto packedFloat = customBlock(130, 6, {3u}, {}, 31);
  packedFloat.scale = 0.5f;
  packedFloat.offset = 10.0f;
  o.extraBlocks = {packed, packedFloat};
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*src, o);
  auto c = freshRecord(40);
  ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
  ASSERT_EQ(kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
            status::kSuccess);
  uint32_t u[2];
  std::memcpy(u, c->customFields[0].data, 8);
  EXPECT_EQ(u[0], 0x7FFFFFFFu);
  EXPECT_EQ(u[1], 0x12345678u);
  float v;
  std::memcpy(&v, c->customFields[1].data, 4);
  EXPECT_EQ(v, 11.5f);
}

TEST(QvCountCodes, PerPixelCodesThroughTheReader) {
  // Code 0: the fpn block holds one value per pixel; code 250: a custom block
  // of two bytes per pixel.
  auto src = qvtest::smallSynthetic();
  synth::BlockWriterOptions o;
  o.perPixelCountCode = 0;
  std::vector<uint32_t> twoPerPixel(80);
  for (uint32_t i = 0; i < 80; ++i) twoPerPixel[i] = i;
  auto custom = customBlock(150, 0, twoPerPixel);
  custom.countCode = 250;
  o.extraBlocks = {custom};
  const std::vector<uint8_t> blob = synth::writeBlockCalibration(*src, o);
  auto c = freshRecord(40);
  ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
  EXPECT_EQ(0, std::memcmp(c->fpn, src->fpn, 40 * sizeof(float)));
  ASSERT_EQ(c->customFieldCount, 1);
  EXPECT_EQ(c->customFields[0].size, 80);
  ASSERT_EQ(kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
            status::kSuccess);
  EXPECT_EQ(0,
            std::memcmp(c->customFields[0].data,
                        std::vector<uint8_t>(twoPerPixel.begin(), twoPerPixel.end()).data(), 80));
}

TEST(QvWiggling, ThirteenFloatsGiveFourTerms) {
  auto src = qvtest::smallSynthetic();
  std::vector<synth::BlockSpec> blocks = synth::blockCalibrationBlocks(*src);
  const std::vector<float> w = {0.5f, 1, 2, 3, 4, 10, 20, 30, 40, 1, 2, 3, 5};
  for (auto& b : blocks) {
    if (b.id == 21) b.floats = w;
  }
  const auto blob = synth::assembleBlockCalibration(8, 5, 1, blocks);
  auto c = freshRecord(40);
  ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
  const KelvoraWiggling& g = c->frequencies[0].phaseWiggling;
  ASSERT_EQ(g.count, 4);
  EXPECT_EQ(g.offset, 0.5f);
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(g.phase[k], w[1 + k]);
    EXPECT_EQ(g.amplitude[k], w[5 + k]);
    EXPECT_EQ(g.harmonic[k], static_cast<uint32_t>(w[9 + k]));
  }
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
  auto src = qvtest::smallSynthetic();
  for (const Case& k : cases) {
    if (sizeof(time_t) < 8 && k.seconds > 0x7FFFFFFFu) continue;
    synth::BlockWriterOptions o;
    o.dateSeconds = k.seconds;
    const auto blob = synth::writeBlockCalibration(*src, o);
    auto c = freshRecord(40);
    ASSERT_EQ(readDirect(blob, c.get(), 40).status, status::kSuccess);
    EXPECT_STREQ(c->date, k.text);
  }
}

}  // namespace
}  // namespace kelvora
