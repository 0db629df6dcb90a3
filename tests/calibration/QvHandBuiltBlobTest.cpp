// A blob typed byte by byte from the layout tables, not produced by the
// writer, so that writer and reader cannot share a mistake.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "QvTestSupport.hpp"
#include "calibration/QvCustomFields.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using qvtest::freshRecord;
using qvtest::readDirect;

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

TEST(QvHandBuiltBlob, ReadsEveryFieldAsTyped) {
  auto c = freshRecord(4);
  const QvReadResult r = readDirect(kBlob, c.get(), 4);
  ASSERT_EQ(r.status, status::kSuccess) << std::hex << r.status << " block " << r.identifier;

  EXPECT_EQ(c->version, 1);
  EXPECT_EQ(c->type, 3);
  const uint32_t roi[4] = {0, 0, 2, 2};
  EXPECT_EQ(0, std::memcmp(c->calibrationROI, roi, sizeof roi));
  EXPECT_EQ(c->formatFlag, 7);
  EXPECT_EQ(c->lensParameterCount, 9);
  const float lens[9] = {1.0f, 2.0f, 0.5f, -1.0f, 1.5f, 3.0f, 0.25f, -0.75f, 10.0f};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(c->lensParameters[i], lens[i]) << i;
  const uint8_t mask[4] = {0xFF, 0x01, 0x00, 0x55};
  EXPECT_EQ(0, std::memcmp(c->mask, mask, 4));
  const float fpn[4] = {-1.0f, -0.5f, 6.5f, 3.0f};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(c->fpn[i], fpn[i]) << i;
  EXPECT_STREQ(c->serial, "ABC");
  EXPECT_EQ(c->auxValues[0], 0x1234);
  EXPECT_EQ(c->auxValues[1], 0xABCD);

  EXPECT_EQ(c->frequencyCount, 1);
  const KelvoraCalibrationFrequency& f = c->frequencies[0];
  EXPECT_EQ(f.modulationFrequency, 0x01020304u);
  const float fppn[4] = {0.25f, 0.5f, 1.0f, 2.0f};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(f.fppn[i], fppn[i]) << i;
  const float temp[4] = {1.0f, 2.0f, 3.0f, 10.0f};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(f.tempCompensation[i], temp[i]) << i;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(f.noiseParameters[i], 0.5f) << i;
  EXPECT_TRUE(std::isnan(f.frequencyScalar));
  EXPECT_EQ(f.phaseWiggling.count, 1);
  EXPECT_EQ(f.phaseWiggling.offset, 0.25f);
  EXPECT_EQ(f.phaseWiggling.phase[0], 1.5f);
  EXPECT_EQ(f.phaseWiggling.amplitude[0], 0.5f);
  EXPECT_EQ(f.phaseWiggling.harmonic[0], 2u);
  EXPECT_EQ(f.amplitudeWiggling.count, 1);
  EXPECT_EQ(f.amplitudeWiggling.offset, 1.0f);
  EXPECT_EQ(f.amplitudeWiggling.phase[0], -0.75f);
  EXPECT_EQ(f.amplitudeWiggling.amplitude[0], 0.25f);
  EXPECT_EQ(f.amplitudeWiggling.harmonic[0], 1u);
  EXPECT_TRUE(std::isnan(c->psfScale));

  EXPECT_EQ(c->customFieldCount, 1);
  EXPECT_EQ(c->firstCustomFieldId, 128);
  EXPECT_EQ(c->customFields[0].size, 4);
  ASSERT_EQ(kelvora_readQVCustomFields(kBlob.data(), static_cast<uint32_t>(kBlob.size()), c.get()),
            status::kSuccess);
  uint16_t custom[2];
  std::memcpy(custom, c->customFields[0].data, sizeof custom);
  EXPECT_EQ(custom[0], 0xBEEF);
  EXPECT_EQ(custom[1], 0x0102);
  // The custom field is reachable through field access under id 128.
  EXPECT_EQ(kelvora_getFieldSize(128, c.get()), 4u);
}

// The writer, given the same blocks, must produce the hand-typed bytes.
TEST(QvHandBuiltBlob, WriterProducesTheTypedBytes) {
  using qvtest::customBlock;
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
  auto c = freshRecord(4);
  ASSERT_EQ(readDirect(blob, c.get(), 4).status, status::kSuccess);
  EXPECT_EQ(c->frequencies[0].modulationFrequency, 0x01020304u);
  // The custom pass skips 5 bytes into block 16 and meets identifier 3.
  EXPECT_EQ(kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
            status::kInvalidValue);
}

TEST(QvHandBuiltBlob, HandlerAcceptsItAndReportsItsPixelCount) {
  const auto size = static_cast<uint32_t>(kBlob.size());
  EXPECT_EQ(kelvora_supportsQVCalibration(kBlob.data(), size), 1);
  EXPECT_EQ(kelvora_getQVNumPixels(kBlob.data(), size), 4);
  auto c = freshRecord(4);
  EXPECT_EQ(kelvora_readQVHandlerCalibration(kBlob.data(), size, c.get()), status::kSuccess);
  EXPECT_EQ(c->fpn[2], 6.5f);

  std::vector<uint8_t> v2 = kBlob;
  v2[6] = 2;
  EXPECT_EQ(kelvora_supportsQVCalibration(v2.data(), size), 0);
  auto d = freshRecord(4);
  EXPECT_EQ(kelvora_readQVHandlerCalibration(v2.data(), size, d.get()), status::kUnsupported);
}

}  // namespace
}  // namespace kelvora
