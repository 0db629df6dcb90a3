#include "calibration/PackedArray.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace kelvora {
namespace {

// Slow reference: item i gathered bit by bit from the little-endian stream.
uint32_t naiveItem(const std::vector<uint32_t>& words, uint32_t bits, uint64_t index) {
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

PackedPtr filledArray(uint32_t bits, uint32_t count, uint32_t seed) {
  PackedPtr a(PackedArray_create(bits, count));
  std::mt19937 rng(seed);
  for (uint32_t w = 0; w < PackedArray_bufferSize(a.get()); ++w) a->buffer[w] = rng();
  return a;
}

class PackedArrayWidth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(PackedArrayWidth, UnpacksEveryOffsetAndLengthLikeTheBitStream) {
  const uint32_t bits = GetParam();
  // Long enough for several whole 32-item blocks plus ragged heads and tails.
  const uint32_t count = 32 * 5 + 7;
  PackedPtr a = filledArray(bits, count, 1000 + bits);
  const std::vector<uint32_t> words(a->buffer, a->buffer + PackedArray_bufferSize(a.get()));
  for (uint32_t offset : {0u, 1u, 3u, 17u, 31u, 32u, 33u, 64u, 95u, count - 1}) {
    for (uint32_t n : {0u, 1u, 5u, 31u, 32u, 33u, 64u, 100u, count}) {
      if (offset + n > count) continue;
      std::vector<uint32_t> out(n + 1, 0xDEADBEEFu);
      PackedArray_unpack(a.get(), offset, out.data(), n);
      for (uint32_t i = 0; i < n; ++i) {
        ASSERT_EQ(out[i], naiveItem(words, bits, offset + i))
            << "bits " << bits << " offset " << offset << " n " << n << " item " << i;
      }
      EXPECT_EQ(out[n], 0xDEADBEEFu) << "wrote past n";
    }
  }
}

TEST_P(PackedArrayWidth, StopsAtTheLastStoredItem) {
  const uint32_t bits = GetParam();
  PackedPtr a = filledArray(bits, 40, 7 + bits);
  std::vector<uint32_t> out(20, 0xDEADBEEFu);
  PackedArray_unpack(a.get(), 30, out.data(), 20);
  EXPECT_EQ(out[9], naiveItem({a->buffer, a->buffer + PackedArray_bufferSize(a.get())}, bits, 39));
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

TEST(PackedArray, CreateRefusesWidthsOutsideOneToThirtyTwo) {
  EXPECT_EQ(PackedArray_create(0, 10), nullptr);
  EXPECT_EQ(PackedArray_create(33, 10), nullptr);
  PackedPtr empty(PackedArray_create(5, 0));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(PackedArray_bufferSize(empty.get()), 0u);
}

TEST(PackedArray, CreateZeroesTheLastWordSoTrailingBitsAreDefined) {
  PackedPtr a(PackedArray_create(3, 11));  // 33 bits: the last word holds one bit
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->bitsPerItem, 3u);
  EXPECT_EQ(a->count, 11u);
  EXPECT_EQ(a->buffer[1], 0u);
}

TEST(PackedArray, KnownLayouts) {
  // Four 16-bit items fill two words, item 0 in the low half of word 0.
  PackedPtr a(PackedArray_create(16, 4));
  a->buffer[0] = 0x22221111u;
  a->buffer[1] = 0x44443333u;
  uint32_t out[4];
  PackedArray_unpack(a.get(), 0, out, 4);
  EXPECT_EQ(out[0], 0x1111u);
  EXPECT_EQ(out[1], 0x2222u);
  EXPECT_EQ(out[2], 0x3333u);
  EXPECT_EQ(out[3], 0x4444u);

  // 3-bit item 10: bits 30 and 31 of word 0 are its low bits, bit 0 of word 1 its high bit.
  PackedPtr b(PackedArray_create(3, 11));
  b->buffer[0] = 0x80000000u;  // bit 31 -> item 10 bit 1
  b->buffer[1] = 0x1u;         // bit 32 -> item 10 bit 2
  uint32_t item = 0;
  PackedArray_unpack(b.get(), 10, &item, 1);
  EXPECT_EQ(item, 6u);

  // 1-bit items: item 32 is bit 0 of word 1.
  PackedPtr c(PackedArray_create(1, 38528));
  std::memset(c->buffer, 0, PackedArray_bufferSize(c.get()) * 4);
  c->buffer[1] = 1u;
  uint32_t bits[2];
  PackedArray_unpack(c.get(), 31, bits, 2);
  EXPECT_EQ(bits[0], 0u);
  EXPECT_EQ(bits[1], 1u);
}

}  // namespace
}  // namespace kelvora
