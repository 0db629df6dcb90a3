#pragma once
// Unsigned integers of a fixed width of 1 to 32 bits stored back to back in
// 32-bit words, as calibration files keep their large per-pixel arrays. The
// items form one little-endian bit stream: item i occupies stream bits
// i*b .. i*b+b-1, and stream bit k is bit (k mod 32) of word k/32.
#include <cstdint>

namespace kelvora {

struct PackedArray {
  uint32_t bitsPerItem;  // 1..32
  uint32_t count;        // number of items
  uint32_t reserved[2];
  uint32_t* buffer;  // PackedArray_bufferSize words, in the same block as the header
};

// Header and words in one allocation; the last word is zeroed so that bits
// after the last item are defined. Null for a width outside 1..32 or when the
// allocation fails.
PackedArray* PackedArray_create(uint32_t bitsPerItem, uint32_t count);
void PackedArray_destroy(PackedArray* array);

// ceil(count * bitsPerItem / 32), computed in 64 bits.
uint32_t PackedArray_bufferSize(const PackedArray* array);

// Writes items offset .. offset+n-1 zero-extended to out[0 .. n-1]. Items at or
// past `count` are not read: out stops at the last stored item.
void PackedArray_unpack(const PackedArray* array, uint32_t offset, uint32_t* out, uint32_t n);

}  // namespace kelvora
