// Value encodings of the block format against independent slow paths:
// double-precision decoding and frexp-based encoding of the encoded float,
// bit-by-bit packing, and the single-precision payload size rule. (Every data
// type and kind of count code goes through the reader in the round trips.)
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "base/StatusCodes.hpp"
#include "calibration/QvBlockDecoding.hpp"
#include "calibration/QvValueEncoding.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

uint32_t floatBits(float v) {
  uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

float bitsFloat(uint32_t u) {
  float v;
  std::memcpy(&v, &u, sizeof v);
  return v;
}

// Reference decoding: the layout evaluated exactly in double precision and
// rounded once to float.
float referenceDecode(uint32_t w) {
  if (w == 0) return 0.0f;
  const int64_t signedWord = static_cast<int32_t>(w);
  const int64_t a = signedWord < 0 ? -signedWord : signedWord;
  const int exponent = static_cast<int>((a >> 23) & 255) - 127;
  const double fraction = static_cast<double>((a & 0x7FFFFF) + 0x800000) / 16777216.0;
  const double magnitude = std::ldexp(fraction, exponent);
  return static_cast<float>(signedWord < 0 ? -magnitude : magnitude);
}

// Reference encoding through frexp: fraction in [0.5, 1), exponent + 127.
bool referenceEncode(float x, uint32_t* word) {
  if (x == 0.0f) {
    *word = 0;
    return true;
  }
  int e = 0;
  const double m = std::frexp(std::fabs(static_cast<double>(x)), &e);
  if (e + 127 < 0 || e + 127 > 255) return false;
  const auto mantissa = static_cast<uint32_t>(std::ldexp(m, 24)) - 0x800000u;
  const uint32_t positive = (static_cast<uint32_t>(e + 127) << 23) | mantissa;
  *word = x < 0.0f ? ~positive + 1u : positive;
  return true;
}

// Random words decode as the formula does in double precision; every float
// that has an encoding (the largest needs the exponent code 255; 2^-127 is
// the smallest magnitude, 2^-128 would be word 0) reads back from the
// stream's bytes bit for bit.
TEST(QvEncodedFloat, MatchesTheDoublePrecisionDefinition) {
  synth::SplitMix rng(11);
  std::vector<uint32_t> words = {0u,          1u,          0x7FFFFFFFu, 0x80000000u, 0x80000001u,
                                 0xFFFFFFFFu, 0x7F800000u, 0x00800000u, 0x7F7FFFFFu, 0x00000080u};
  for (int i = 0; i < 20000; ++i) words.push_back(static_cast<uint32_t>(rng.next()));
  int encoded = 0;
  for (uint32_t w : words) {
    const float got = kelvora_decodeQVFloatWord(w);
    ASSERT_EQ(floatBits(got), floatBits(referenceDecode(w))) << std::hex << w;
    ASSERT_TRUE(std::isfinite(got)) << std::hex << w;
    const float x = bitsFloat(w);
    uint32_t e = 0;
    if (x == 0.0f || !std::isfinite(x) || !referenceEncode(x, &e)) continue;  // -0 reads as 0
    ++encoded;
    const uint8_t bytes[4] = {static_cast<uint8_t>(e >> 24), static_cast<uint8_t>(e >> 16),
                              static_cast<uint8_t>(e >> 8), static_cast<uint8_t>(e)};
    ASSERT_EQ(floatBits(kelvora_fromQVFloat(bytes)), w) << x;
  }
  EXPECT_GT(encoded, 19000);
}

// Bit-by-bit reference: item i's bit j is stream bit i*bits + j.
std::vector<uint32_t> referencePack(const std::vector<uint32_t>& v, uint32_t bits) {
  std::vector<bool> stream;
  for (uint32_t x : v) {
    for (uint32_t j = 0; j < bits; ++j) stream.push_back(((x >> j) & 1u) != 0);
  }
  std::vector<uint32_t> words((stream.size() + 31) / 32, 0u);
  for (size_t k = 0; k < stream.size(); ++k) {
    if (stream[k]) words[k / 32] += 1u << (k % 32);
  }
  return words;
}

TEST(QvPacked, UnpacksEveryWidthLikeTheBitStreamReference) {
  const uint32_t few[2] = {1, 2};
  uint32_t unpacked[4];
  EXPECT_EQ(kelvora_unpackQVUint(few, 2, 0, 2, unpacked), status::kInvalidValue);
  EXPECT_EQ(kelvora_unpackQVUint(few, 2, 32, 2, unpacked), status::kInvalidValue);
  EXPECT_EQ(kelvora_unpackQVUint(few, 1, 9, 4, unpacked), status::kStreamTooShort);
  synth::SplitMix rng(5);
  for (uint32_t bits = 1; bits <= 31; ++bits) {
    for (uint32_t count : {1u, 31u, 32u, 33u, 100u}) {
      std::vector<uint32_t> values(count);
      for (auto& v : values) v = static_cast<uint32_t>(rng.next()) & ((1u << bits) - 1u);
      const std::vector<uint32_t> words = referencePack(values, bits);
      std::vector<uint32_t> out(count, 0xDEADBEEFu);
      ASSERT_EQ(kelvora_unpackQVUint(words.data(), words.size(), bits, count, out.data()),
                status::kSuccess);
      ASSERT_EQ(out, values) << "bits " << bits << " count " << count;
      std::vector<float> f(count);
      ASSERT_EQ(
          kelvora_unpackQVFloat(words.data(), words.size(), bits, count, 0.25f, -3.0f, f.data()),
          status::kSuccess);
      for (uint32_t i = 0; i < count; ++i) {
        // Single precision by definition: the item is converted to float first.
        ASSERT_EQ(f[i], -3.0f + static_cast<float>(values[i]) * 0.25f) << i;
      }
    }
  }
}

TEST(QvPacked, SinglePrecisionSizeShortOfTheBitsIsReportedAsTooFewWords) {
  // 541215 x 31 = 2^24 + 449 = 32 * 524302 + 1 bits: the float product rounds
  // down to 32 * 524302, one word short of the bits the count needs.
  const uint64_t count = 541215;
  const uint32_t bits = 31;
  const uint64_t needWords = (count * bits + 31) / 32;
  const uint64_t sizeWords = kelvora_getQVPackedSize(count, bits) / 4;
  ASSERT_EQ(sizeWords + 1, needWords);
  std::vector<uint32_t> words(sizeWords, 0x55555555u);
  std::vector<uint32_t> out(count);
  EXPECT_EQ(kelvora_unpackQVUint(words.data(), words.size(), bits, count, out.data()),
            status::kStreamTooShort);

  // The same block through the decoder: the payload is in the stream, the
  // words are not enough.
  synth::BlockStreamBuilder builder(1, 1);
  builder.appendBlock({3, 5, std::vector<uint32_t>(count, 1u), {}, -1, {}, bits});
  const std::vector<uint8_t>& blob = builder.bytes();
  QvStream stream = kelvora_createStreamFromData(blob.data(), static_cast<uint32_t>(blob.size()));
  stream.position = 11;
  QvBlockHeader header{};
  ASSERT_EQ(kelvora_readQVBlockHeader(&stream, 1, &header), status::kSuccess);
  ASSERT_EQ(header.count, count);
  QvScratch scratch = kelvora_createQVScratch(static_cast<uint32_t>(count));
  uint64_t decoded = 0;
  EXPECT_EQ(kelvora_decodeQVBlock(&stream, &header, out.data(), count * 4, &scratch, &decoded),
            status::kStreamTooShort);
  kelvora_freeQVScratch(&scratch);
}

}  // namespace
}  // namespace kelvora
