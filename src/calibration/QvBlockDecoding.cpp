#include "calibration/QvBlockDecoding.hpp"

#include <cstdlib>
#include <cstring>

#include "base/StatusCodes.hpp"
#include "calibration/QvValueEncoding.hpp"

namespace kelvora {

QvScratch kelvora_createQVScratch(uint32_t pixelCount) {
  QvScratch s{};
  s.valueCapacity = static_cast<uint64_t>(pixelCount) * 4u;
  s.wordCapacity = static_cast<uint64_t>(pixelCount) * 8u;
  return s;
}

void kelvora_freeQVScratch(QvScratch* scratch) {
  std::free(scratch->values);
  std::free(scratch->words);
  scratch->values = nullptr;
  scratch->words = nullptr;
  scratch->valuesAllocated = 0;
  scratch->wordsAllocated = 0;
}

namespace {

// Grows *buffer to at least `bytes` (never shrinks); false when out of memory
// or when the size does not fit this platform's size_t.
bool grow(void** buffer, size_t* allocated, uint64_t bytes) {
  if (bytes == 0) bytes = 1;
  if (bytes <= *allocated) return true;
  if (bytes > static_cast<uint64_t>(SIZE_MAX)) return false;
  void* grown = std::realloc(*buffer, static_cast<size_t>(bytes));
  if (grown == nullptr) return false;
  *buffer = grown;
  *allocated = static_cast<size_t>(bytes);
  return true;
}

template <class T>
void storeValue(void* destination, uint64_t index, T value) {
  std::memcpy(static_cast<uint8_t*>(destination) + index * sizeof(T), &value, sizeof(T));
}

}  // namespace

void* kelvora_reserveQVScratchValues(QvScratch* scratch, uint64_t bytes) {
  if (!grow(&scratch->values, &scratch->valuesAllocated, bytes)) return nullptr;
  return scratch->values;
}

uint32_t kelvora_checkQVBlock(const QvStream* stream, const QvBlockHeader* header,
                              uint64_t capacity, const QvScratch* scratch) {
  const bool isPacked = header->type == kQvPackedUint || header->type == kQvPackedFloat;
  const uint64_t packed = kelvora_getQVPackedBlockSize(header);
  if (kelvora_getQVUnpackedBlockSize(header) > capacity) return status::kCapacityExceeded;
  if (isPacked && packed > scratch->wordCapacity) return status::kCapacityExceeded;
  return kelvora_canRead(stream, packed);
}

uint32_t kelvora_decodeQVBlock(QvStream* stream, const QvBlockHeader* header, void* destination,
                               uint64_t capacity, QvScratch* scratch, uint64_t* decodedSize) {
  const uint64_t unpacked = kelvora_getQVUnpackedBlockSize(header);
  const uint64_t packed = kelvora_getQVPackedBlockSize(header);
  if (uint32_t s = kelvora_checkQVBlock(stream, header, capacity, scratch)) return s;

  const uint8_t* payload = stream->data + stream->position;
  const uint64_t n = header->count;
  switch (header->type) {
    case kQvUint8:
      if (n != 0) std::memcpy(destination, payload, static_cast<size_t>(n));
      break;
    case kQvUint16:
      for (uint64_t i = 0; i < n; ++i) {
        storeValue(destination, i, kelvora_fromQVUint16(payload + 2 * i));
      }
      break;
    case kQvUint32:
      for (uint64_t i = 0; i < n; ++i) {
        storeValue(destination, i, kelvora_fromQVUint32(payload + 4 * i));
      }
      break;
    case kQvInt32:
      for (uint64_t i = 0; i < n; ++i) {
        storeValue(destination, i, kelvora_fromQVInt32(payload + 4 * i));
      }
      break;
    case kQvFloat:
      for (uint64_t i = 0; i < n; ++i) {
        storeValue(destination, i, kelvora_fromQVFloat(payload + 4 * i));
      }
      break;
    default: {
      const uint64_t wordCount = packed / 4u;
      void* room = scratch->words;
      if (!grow(&room, &scratch->wordsAllocated, packed)) return status::kCapacityExceeded;
      scratch->words = static_cast<uint32_t*>(room);
      for (uint64_t w = 0; w < wordCount; ++w) {
        scratch->words[w] = kelvora_fromQVUint32(payload + 4 * w);
      }
      // Every destination is a heap buffer or a 4-byte field, so the typed
      // stores of the unpackers are aligned.
      const uint32_t s =
          header->type == kQvPackedUint
              ? kelvora_unpackQVUint(scratch->words, wordCount, header->bits, n,
                                     static_cast<uint32_t*>(destination))
              : kelvora_unpackQVFloat(scratch->words, wordCount, header->bits, n, header->scale,
                                      header->offset, static_cast<float*>(destination));
      if (s != status::kSuccess) return s;
      break;
    }
  }
  stream->position += static_cast<uint32_t>(packed);
  *decodedSize = unpacked;
  return status::kSuccess;
}

}  // namespace kelvora
