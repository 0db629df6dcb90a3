#include "calibration/QvValueEncoding.hpp"

#include <cmath>
#include <cstring>

#include "base/StatusCodes.hpp"

namespace kelvora {

uint16_t kelvora_fromQVUint16(const uint8_t* bytes) {
  return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}

uint32_t kelvora_fromQVUint32(const uint8_t* bytes) {
  return (static_cast<uint32_t>(bytes[0]) << 24) | (static_cast<uint32_t>(bytes[1]) << 16) |
         (static_cast<uint32_t>(bytes[2]) << 8) | static_cast<uint32_t>(bytes[3]);
}

int32_t kelvora_fromQVInt32(const uint8_t* bytes) {
  const uint32_t u = kelvora_fromQVUint32(bytes);
  int32_t v;
  std::memcpy(&v, &u, sizeof v);
  return v;
}

float kelvora_decodeQVFloatWord(uint32_t word) {
  if (word == 0u) return 0.0f;
  const bool negative = (word & 0x80000000u) != 0u;
  const uint32_t a = negative ? 0u - word : word;
  const int32_t biased = static_cast<int32_t>((a >> 23) & 255u);
  const uint32_t mantissa = a & 0x7FFFFFu;
  // 2^-24: the fraction (mantissa + 2^23) / 2^24 lies in [0.5, 1).
  const float f = static_cast<float>(mantissa + 0x800000u) * 5.9604644775390625e-8f;
  float value;
  if (biased == 255) {
    // 2^128 overflows a float; the largest fraction times 2^127 times 2 is
    // still the largest finite float.
    value = f * std::pow(2.0f, 127.0f) * 2.0f;
  } else {
    value = f * std::pow(2.0f, static_cast<float>(biased - 127));
  }
  return negative ? -value : value;
}

float kelvora_fromQVFloat(const uint8_t* bytes) {
  return kelvora_decodeQVFloatWord(kelvora_fromQVUint32(bytes));
}

uint64_t kelvora_getQVPackedSize(uint64_t count, uint32_t bits) {
  const float words = std::ceil(static_cast<float>(count * bits) * 0.03125f);
  return static_cast<uint64_t>(words) * 4u;
}

namespace {

// Validates the width and the word supply, then calls store(i, item).
template <class Store>
uint32_t unpackItems(const uint32_t* words, uint64_t wordCount, uint32_t bits, uint64_t count,
                     Store store) {
  if (bits < 1u || bits > 31u) return status::kInvalidValue;
  const uint64_t wordsNeeded = (count * bits + 31u) / 32u;
  if (wordsNeeded > wordCount) return status::kStreamTooShort;
  const uint32_t mask = (1u << bits) - 1u;
  uint64_t bit = 0;
  for (uint64_t i = 0; i < count; ++i, bit += bits) {
    const uint64_t w = bit >> 5;
    const uint32_t shift = static_cast<uint32_t>(bit & 31u);
    uint64_t window = words[w] >> shift;
    // An item crossing into the next word takes its high bits from there.
    if (shift + bits > 32u) window |= static_cast<uint64_t>(words[w + 1]) << (32u - shift);
    store(i, static_cast<uint32_t>(window) & mask);
  }
  return status::kSuccess;
}

}  // namespace

uint32_t kelvora_unpackQVUint(const uint32_t* words, uint64_t wordCount, uint32_t bits,
                              uint64_t count, uint32_t* out) {
  return unpackItems(words, wordCount, bits, count, [out](uint64_t i, uint32_t v) { out[i] = v; });
}

uint32_t kelvora_unpackQVFloat(const uint32_t* words, uint64_t wordCount, uint32_t bits,
                               uint64_t count, float scale, float offset, float* out) {
  return unpackItems(words, wordCount, bits, count, [=](uint64_t i, uint32_t v) {
    out[i] = offset + static_cast<float>(v) * scale;
  });
}

}  // namespace kelvora
