// The block format read by the reader called directly: whole records through
// the synthetic writer (which shares no code with the reader) and the reader
// in every layout with custom blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/QvCustomFields.hpp"

namespace kelvora {
namespace {

using testing::block;
using testing::CalibrationPtr;
using testing::freshRecord;
using testing::readDirect;
using testing::valuesOf;

uint32_t readCustomFields(const std::vector<uint8_t>& blob, KelvoraCalibration* c) {
  return kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c);
}

// The custom field's bytes are exactly those of `values`.
template <class T>
void expectCustomField(const KelvoraCustomField& field, const std::vector<T>& values) {
  ASSERT_EQ(field.size, values.size() * sizeof(T));
  ASSERT_NE(field.data, nullptr);
  EXPECT_EQ(0, std::memcmp(field.data, values.data(), field.size));
}

// ---------------------------------------------------------------------------
// Whole records through writer and reader.

// Largest error of a type-6 block: half a quantisation step, plus the
// rounding of offset + v * scale in single precision.
void expectPerPixel(const float* got, const float* want, uint32_t n, uint8_t type, uint8_t bits) {
  float tol = 0.0f;
  if (type == 6) {
    const auto [lo, hi] = std::minmax_element(want, want + n);
    const double step = (static_cast<double>(*hi) - *lo) / (std::ldexp(1.0, bits) - 1.0);
    tol = static_cast<float>(0.5 * step + 4e-7 * (std::fabs(*lo) + std::fabs(*hi)));
  }
  for (uint32_t i = 0; i < n; ++i) ASSERT_NEAR(got[i], want[i], tol) << "pixel " << i;
}

TEST(QvRoundTrip, RecordSurvivesWriterAndReaderInEveryLayout) {
  // Five custom blocks, as many as a record holds, of the less common kinds.
  auto packedFloat = block(130, 6, {3u}, {}, 31);
  packedFloat.scale = 0.5f;
  packedFloat.offset = 10.0f;
  auto perPixel = block(150, 0, std::vector<uint32_t>(70, 9));
  perPixel.countCode = 250;  // two values per pixel
  const std::vector<synth::BlockSpec> customBlocks = {
      block(128, 3, {0xFFFFFFF6u, 5}),  // int32 -10, 5
      block(129, 5, {0x7FFFFFFFu, 0x12345678u}, {}, 31), packedFloat, perPixel,
      block(254, 4, {}, {-2.5f, 1e-3f})};
  const struct {
    const char* name;
    uint32_t frequencies;
    uint8_t fpnType, fpnBits, fppnType, fppnBits, maskBits;
    int perPixelCountCode;
  } cases[] = {{"floats", 2, 4, 0, 4, 0, 1, -1},
               {"packed 16", 2, 6, 16, 6, 16, 8, -1},
               {"packed narrow", 1, 6, 3, 6, 5, 31, -1},
               {"packed wide", 3, 6, 31, 6, 24, 2, -1},
               {"five frequencies", 5, 4, 0, 6, 12, 1, -1},
               {"counts follow", 2, 6, 9, 4, 0, 3, 249},
               {"count per pixel", 2, 4, 0, 6, 20, 7, 0}};
  for (const auto& p : cases) {
    SCOPED_TRACE(p.name);
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
    o.auxBytes = o.auxValues = true;
    o.extraBlocks = customBlocks;
    const std::vector<uint8_t> blob = synth::writeBlockCalibration(*src, o);
    CalibrationPtr c = freshRecord(n);
    const QvReadResult r = readDirect(blob, c.get(), n);
    ASSERT_EQ(r.status, status::kSuccess) << std::hex << r.status << " block " << r.identifier;

    testing::expectSameRecord(*c, *src, {/*date=*/false, true, true});
    expectPerPixel(c->fpn, src->fpn, n, p.fpnType, p.fpnBits);
    EXPECT_EQ(c->formatFlag, 0);
    EXPECT_EQ(valuesOf(c->auxBytes, 32), valuesOf(src->auxBytes, 32));
    EXPECT_EQ(valuesOf(c->auxValues, 2), (std::vector<uint16_t>{0x0102, 0xFFFF}));
    // Stray-light block: 32 floats into psfScale .. psfHeight.
    EXPECT_EQ(valuesOf(c->psfRadii, 13), valuesOf(src->psfRadii, 13));
    EXPECT_EQ(valuesOf(c->psfValues, 13), valuesOf(src->psfValues, 13));
    EXPECT_EQ(
        (std::vector<float>{c->psfScale, c->psfExponent, c->psfOffset, c->psfCentre}),
        (std::vector<float>{src->psfScale, src->psfExponent, src->psfOffset, src->psfCentre}));
    EXPECT_EQ((std::vector<uint32_t>{c->psfWidth, c->psfHeight, c->psfPointCount}),
              (std::vector<uint32_t>{src->psfWidth, src->psfHeight, 13}));
    for (uint32_t f = 0; f < p.frequencies; ++f) {
      expectPerPixel(c->frequencies[f].fppn, src->frequencies[f].fppn, n, p.fppnType, p.fppnBits);
      EXPECT_EQ(std::isnan(c->frequencies[f].frequencyScalar), f != 0) << f;
    }
    EXPECT_EQ(c->frequencies[0].frequencyScalar, 1.25f);

    // Custom blocks: sizes from the first pass, contents from the second,
    // reachable under 128 + k.
    ASSERT_EQ(c->customFieldCount, 5);
    uint8_t copy[80];
    EXPECT_EQ(kelvora_getField(128 + 3, c.get(), copy), status::kNoData);
    ASSERT_EQ(readCustomFields(blob, c.get()), status::kSuccess);
    expectCustomField(c->customFields[0], std::vector<int32_t>{-10, 5});
    expectCustomField(c->customFields[1], std::vector<uint32_t>{0x7FFFFFFFu, 0x12345678u});
    expectCustomField(c->customFields[2], std::vector<float>{11.5f});
    expectCustomField(c->customFields[3], std::vector<uint8_t>(70, 9));
    expectCustomField(c->customFields[4], std::vector<float>{-2.5f, 1e-3f});
    EXPECT_EQ(kelvora_getField(128 + 3, c.get(), copy), status::kSuccess);
    EXPECT_EQ(0, std::memcmp(copy, c->customFields[3].data, 70));
  }
}

}  // namespace
}  // namespace kelvora
