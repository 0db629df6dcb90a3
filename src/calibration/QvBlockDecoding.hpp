#pragma once
// Decoding of one block's payload into plain host-order values.
#include <cstddef>
#include <cstdint>

#include "calibration/QvHeader.hpp"
#include "calibration/QvStream.hpp"

namespace kelvora {

// The reader's scratch room of pixel count x 12 bytes: the first 4 bytes per
// pixel take the decoded values of blocks that go through a copy function,
// the other 8 the big-endian words of packed blocks. The capacities are what
// the checks use; memory is only taken as blocks actually need it, so a
// header claiming an absurd pixel count costs nothing until that many bytes
// are really in the stream (every decode checks the stream before it grows
// the room).
struct QvScratch {
  uint64_t valueCapacity;  // bytes
  uint64_t wordCapacity;   // bytes
  void* values;
  size_t valuesAllocated;
  uint32_t* words;
  size_t wordsAllocated;
};

QvScratch kelvora_createQVScratch(uint32_t pixelCount);
void kelvora_freeQVScratch(QvScratch* scratch);
// Room for `bytes` decoded values (bytes <= valueCapacity); null when the
// allocation fails.
void* kelvora_reserveQVScratchValues(QvScratch* scratch, uint64_t bytes);

// The checks kelvora_decodeQVBlock makes before it touches anything:
// status::kCapacityExceeded when the decoded values or the packed words do
// not fit, then status::kStreamTooShort when the payload is not wholly in the
// stream.
uint32_t kelvora_checkQVBlock(const QvStream* stream, const QvBlockHeader* header,
                              uint64_t capacity, const QvScratch* scratch);

// Decodes the payload after `header` into `destination` (which holds
// `capacity` bytes) and moves the stream past it. Order of checks:
// status::kCapacityExceeded when the decoded values or the packed words do
// not fit, status::kStreamTooShort when the payload is not wholly in the
// stream, status::kInvalidValue for a packed width outside 1..31,
// status::kStreamTooShort when the packed words hold fewer values than the
// count. `decodedSize` receives the bytes written.
uint32_t kelvora_decodeQVBlock(QvStream* stream, const QvBlockHeader* header, void* destination,
                               uint64_t capacity, QvScratch* scratch, uint64_t* decodedSize);

}  // namespace kelvora
