#pragma once
// Cursor over the bytes of a block-format calibration. Every read goes
// through kelvora_canRead first, so a truncated blob ends in a status code,
// never in a read past its end.
#include <cstdint>

namespace kelvora {

struct QvStream {
  const uint8_t* data;
  uint32_t position;  // bytes consumed so far
  uint32_t size;      // total bytes
};

QvStream kelvora_createStreamFromData(const void* data, uint32_t size);

// 0 when `byteCount` more bytes are left, else status::kStreamTooShort.
// Takes 64 bits so that sizes derived from huge value counts cannot wrap.
uint32_t kelvora_canRead(const QvStream* stream, uint64_t byteCount);

// Checked big-endian reads; on failure the position is left unchanged.
uint32_t kelvora_readQVUint8(QvStream* stream, uint8_t* value);
uint32_t kelvora_readQVUint16(QvStream* stream, uint16_t* value);
uint32_t kelvora_readQVUint32(QvStream* stream, uint32_t* value);
// Moves past `byteCount` bytes, or returns status::kStreamTooShort.
uint32_t kelvora_skipQV(QvStream* stream, uint64_t byteCount);

}  // namespace kelvora
