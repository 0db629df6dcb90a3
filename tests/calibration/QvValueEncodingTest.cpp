// Value encodings of the block format checked against independent slow
// paths: double-precision decoding and frexp-based encoding of the encoded
// float, bit-by-bit packing, the single-precision payload size rule, and
// every data type with every count code through the block decoder.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "base/StatusCodes.hpp"
#include "calibration/QvBlockDecoding.hpp"
#include "calibration/QvHeader.hpp"
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

TEST(QvEncodedFloat, DecodesEveryWordLikeTheDoublePrecisionFormula) {
  synth::SplitMix rng(11);
  std::vector<uint32_t> words = {0u,          1u,          0x7FFFFFFFu, 0x80000000u, 0x80000001u,
                                 0xFFFFFFFFu, 0x7F800000u, 0x00800000u, 0x3F800000u, 0xC0000000u};
  for (int i = 0; i < 200000; ++i) words.push_back(static_cast<uint32_t>(rng.next()));
  for (uint32_t w : words) {
    const float got = kelvora_decodeQVFloatWord(w);
    ASSERT_EQ(floatBits(got), floatBits(referenceDecode(w))) << std::hex << w;
    ASSERT_TRUE(std::isfinite(got)) << std::hex << w;
  }
}

// The writer encodes every float as the frexp reference does, and the reader
// (from the stream's bytes) gives the float back. Extremes: the largest float
// needs the exponent code 255; 2^-127 is the smallest magnitude (2^-128 would
// be word 0).
TEST(QvEncodedFloat, WriterEncodingOfEveryRepresentableFloatReadsBack) {
  synth::SplitMix rng(12);
  std::vector<float> values = {3.4028235e38f, -3.4028235e38f, 1.1754944e-38f, 5.8774718e-39f};
  for (int i = 0; i < 200000; ++i) values.push_back(bitsFloat(static_cast<uint32_t>(rng.next())));
  int checked = 0;
  for (float x : values) {
    uint32_t w = 0;
    if (!std::isfinite(x) || !referenceEncode(x, &w)) continue;
    ++checked;
    ASSERT_EQ(synth::encodeBlockFloat(x), w) << x;
    const uint8_t bytes[4] = {static_cast<uint8_t>(w >> 24), static_cast<uint8_t>(w >> 16),
                              static_cast<uint8_t>(w >> 8), static_cast<uint8_t>(w)};
    ASSERT_EQ(floatBits(kelvora_fromQVFloat(bytes)), floatBits(x));
  }
  EXPECT_GT(checked, 190000);
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
  synth::SplitMix rng(5);
  for (uint32_t bits = 1; bits <= 31; ++bits) {
    for (uint32_t count : {1u, 31u, 32u, 33u, 100u}) {
      std::vector<uint32_t> values(count);
      for (auto& v : values) v = static_cast<uint32_t>(rng.next()) & ((1u << bits) - 1u);
      const std::vector<uint32_t> words = referencePack(values, bits);
      ASSERT_EQ(synth::packBlockBits(values, bits), words);
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

TEST(QvPacked, RefusesWidthsOutsideOneTo31AndTooFewWords) {
  const uint32_t words[4] = {1, 2, 3, 4};
  uint32_t out[4];
  EXPECT_EQ(kelvora_unpackQVUint(words, 4, 0, 4, out), status::kInvalidValue);
  EXPECT_EQ(kelvora_unpackQVUint(words, 4, 32, 4, out), status::kInvalidValue);
  EXPECT_EQ(kelvora_unpackQVUint(words, 1, 9, 4, out), status::kStreamTooShort);
  EXPECT_EQ(kelvora_unpackQVUint(words, 2, 16, 4, out), status::kSuccess);
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
  synth::BlockSpec block;
  block.id = 3;
  block.type = 5;
  block.bits = bits;
  block.integers.assign(count, 1u);
  synth::BlockStreamBuilder builder(1, 1);
  builder.appendBlock(block);
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
      // Decoded: bytes, 16-bit words, 32-bit words, or floats (scaled for type 6).
      const size_t width = type == 0 ? 1 : type == 1 ? 2 : 4;
      const uint32_t mask = width < 4   ? (1u << (8 * width)) - 1u
                            : type >= 5 ? (1u << b.bits) - 1u
                                        : 0xFFFFFFFFu;
      std::vector<uint8_t> want;
      for (uint64_t i = 0; i < n; ++i) {
        uint32_t word = static_cast<uint32_t>(rng.next()) & mask;
        float value = -2.0f + static_cast<float>(word) * 0.125f;
        if (type == 4) {
          value = rng.uniform(-1000.f, 1000.f);
          b.floats.push_back(value);
        } else {
          b.integers.push_back(word);
        }
        if (type == 4 || type == 6) std::memcpy(&word, &value, 4);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&word);  // little-endian host
        want.insert(want.end(), bytes, bytes + width);
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
      out.pop_back();
      ASSERT_EQ(out, want);
    }
  }
}

}  // namespace
}  // namespace kelvora
