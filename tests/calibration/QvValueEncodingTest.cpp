// The encoded float of the block format against its definition evaluated in
// double precision. (Typical
// floats, every data type, packed widths up to 31 bits and every kind of count
// code go through the reader in the round trips.)
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "calibration/QvValueEncoding.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

uint32_t floatBits(float v) {
  uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
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

// Words decode as the formula does in double precision, the edges of the
// exponent (code 255) and of the two's complement included.
TEST(QvEncodedFloat, MatchesTheDoublePrecisionDefinition) {
  synth::SplitMix rng(11);
  std::vector<uint32_t> words = {0u,          1u,          0x7FFFFFFFu, 0x80000000u, 0x80000001u,
                                 0xFFFFFFFFu, 0x7F800000u, 0x00800000u, 0x7F7FFFFFu, 0x00000080u};
  for (int i = 0; i < 20000; ++i) words.push_back(static_cast<uint32_t>(rng.next()));
  for (uint32_t w : words) {
    const float got = kelvora_decodeQVFloatWord(w);
    ASSERT_EQ(floatBits(got), floatBits(referenceDecode(w))) << std::hex << w;
    ASSERT_TRUE(std::isfinite(got)) << std::hex << w;
  }
}

}  // namespace
}  // namespace kelvora
