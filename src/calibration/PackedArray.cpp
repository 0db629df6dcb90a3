#include "calibration/PackedArray.hpp"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace kelvora {

namespace {

uint64_t wordsFor(uint32_t bitsPerItem, uint32_t count) {
  return (static_cast<uint64_t>(count) * bitsPerItem + 31u) / 32u;
}

// Item `index` of width B, for items whose position is only known at run time
// (the unaligned head and the tail of a run). Touches word w+1 only when the
// item really crosses into it, so the last word is never overrun.
template <uint32_t B>
inline uint32_t extractItem(const uint32_t* words, uint64_t index) {
  constexpr uint32_t kMask = B == 32 ? 0xFFFFFFFFu : ((1u << B) - 1u);
  const uint64_t bit = index * B;
  const uint64_t w = bit >> 5;
  const uint32_t s = static_cast<uint32_t>(bit & 31u);
  uint32_t v = words[w] >> s;
  if (s + B > 32u) v |= words[w + 1] << (32u - s);
  return v & kMask;
}

// Item J of a block of 32 items that starts on a word boundary: its word and
// shift are constants, so the unrolled block is straight shifts and masks.
template <uint32_t B, uint32_t J>
inline uint32_t blockItem(const uint32_t* block) {
  constexpr uint32_t kMask = B == 32 ? 0xFFFFFFFFu : ((1u << B) - 1u);
  constexpr uint32_t kBit = J * B;
  constexpr uint32_t kWord = kBit >> 5;
  constexpr uint32_t kShift = kBit & 31u;
  if constexpr (kShift + B > 32u) {
    return ((block[kWord] >> kShift) | (block[kWord + 1] << (32u - kShift))) & kMask;
  } else {
    return (block[kWord] >> kShift) & kMask;
  }
}

template <uint32_t B, uint32_t... J>
inline void unpackBlock(const uint32_t* block, uint32_t* out,
                        std::integer_sequence<uint32_t, J...>) {
  ((out[J] = blockItem<B, J>(block)), ...);
}

template <uint32_t B>
void unpackWidth(const uint32_t* words, uint32_t offset, uint32_t* out, uint32_t n) {
  if constexpr (B == 32) {
    std::memcpy(out, words + offset, static_cast<size_t>(n) * 4u);
  } else {
    uint64_t index = offset;
    const uint64_t end = index + n;
    // Head: items up to the next multiple of 32, where the bit position is
    // word-aligned again (32 items of B bits are exactly B words).
    while (index < end && (index & 31u) != 0) *out++ = extractItem<B>(words, index++);
    while (end - index >= 32u) {
      unpackBlock<B>(words + (index >> 5) * B, out, std::make_integer_sequence<uint32_t, 32>{});
      out += 32;
      index += 32;
    }
    while (index < end) *out++ = extractItem<B>(words, index++);
  }
}

using UnpackFn = void (*)(const uint32_t*, uint32_t, uint32_t*, uint32_t);

template <uint32_t... I>
constexpr auto makeUnpackTable(std::integer_sequence<uint32_t, I...>) {
  struct Table {
    UnpackFn fn[sizeof...(I)];
  };
  return Table{{&unpackWidth<I + 1>...}};
}

constexpr auto kUnpackers = makeUnpackTable(std::make_integer_sequence<uint32_t, 32>{});

}  // namespace

PackedArray* PackedArray_create(uint32_t bitsPerItem, uint32_t count) {
  if (bitsPerItem < 1u || bitsPerItem > 32u) return nullptr;
  const uint64_t words = wordsFor(bitsPerItem, count);
  void* block = std::malloc(sizeof(PackedArray) + static_cast<size_t>(words) * 4u);
  if (block == nullptr) return nullptr;
  auto* array = static_cast<PackedArray*>(block);
  array->bitsPerItem = bitsPerItem;
  array->count = count;
  array->reserved[0] = 0;
  array->reserved[1] = 0;
  array->buffer =
      reinterpret_cast<uint32_t*>(static_cast<unsigned char*>(block) + sizeof(PackedArray));
  if (words > 0) array->buffer[words - 1] = 0;
  return array;
}

void PackedArray_destroy(PackedArray* array) {
  std::free(array);
}

uint32_t PackedArray_bufferSize(const PackedArray* array) {
  return static_cast<uint32_t>(wordsFor(array->bitsPerItem, array->count));
}

void PackedArray_unpack(const PackedArray* array, uint32_t offset, uint32_t* out, uint32_t n) {
  if (offset >= array->count) return;
  if (n > array->count - offset) n = array->count - offset;
  kUnpackers.fn[array->bitsPerItem - 1](array->buffer, offset, out, n);
}

}  // namespace kelvora
