// PackedArray_unpack with arbitrary widths, counts, offsets and lengths,
// checked item by item against a bit-at-a-time reading of the same words.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "FuzzSupport.hpp"
#include "calibration/PackedArray.hpp"

namespace {

uint32_t take32(const uint8_t*& p, size_t& left) {
  uint32_t v = 0;
  const size_t k = left < 4 ? left : 4;
  std::memcpy(&v, p, k);
  p += k;
  left -= k;
  return v;
}

// Item `index` read one stream bit at a time (stream bit k is bit k mod 32
// of word k / 32).
uint32_t slowItem(const uint32_t* words, uint32_t bits, uint64_t index) {
  uint32_t v = 0;
  for (uint32_t b = 0; b < bits; ++b) {
    const uint64_t k = index * bits + b;
    v |= ((words[k / 32] >> (k % 32)) & 1u) << b;
  }
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kelvora;
  const uint8_t* p = data;
  size_t left = size;
  // Width taken from a whole byte: 0 and 33..255 must be refused.
  const uint32_t bits = left > 0 ? (--left, *p++) : 0u;
  const uint32_t count = take32(p, left) & 0xFFFu;  // up to 4 Ki items
  const uint32_t offset = take32(p, left);
  const uint32_t n = take32(p, left);

  PackedArray* array = PackedArray_create(bits, count);
  if (bits < 1 || bits > 32) {
    if (array != nullptr) fuzz::contractBroken();
    return 0;
  }
  if (array == nullptr) return 0;
  const uint32_t words = PackedArray_bufferSize(array);
  if (uint64_t{words} * 32 < uint64_t{count} * bits) fuzz::contractBroken();
  // The rest of the input fills the words, cycled; an empty rest leaves them
  // zero apart from what the allocator left (never read past the last item).
  for (uint32_t w = 0; w < words; ++w) {
    uint32_t v = 0;
    if (left > 0) {
      for (uint32_t b = 0; b < 4; ++b) v |= uint32_t{p[(uint64_t{w} * 4 + b) % left]} << (8 * b);
    }
    array->buffer[w] = v;
  }

  // Out holds only as many items as can exist past the offset; a sentinel
  // after them must survive.
  const uint64_t available = offset < count ? count - offset : 0;
  const uint32_t expected = static_cast<uint32_t>(n < available ? n : available);
  std::vector<uint32_t> out(expected + 1u, 0xA5A5A5A5u);
  PackedArray_unpack(array, offset, out.data(), n);
  for (uint32_t i = 0; i < expected; ++i) {
    if (out[i] != slowItem(array->buffer, bits, uint64_t{offset} + i)) fuzz::contractBroken();
  }
  if (out[expected] != 0xA5A5A5A5u) fuzz::contractBroken();
  PackedArray_destroy(array);
  return 0;
}
