#include "calibration/QvStream.hpp"

#include "base/StatusCodes.hpp"
#include "calibration/QvValueEncoding.hpp"

namespace kelvora {

QvStream kelvora_createStreamFromData(const void* data, uint32_t size) {
  return QvStream{static_cast<const uint8_t*>(data), 0u, size};
}

uint32_t kelvora_canRead(const QvStream* stream, uint64_t byteCount) {
  const uint64_t left = stream->position <= stream->size ? stream->size - stream->position : 0u;
  return byteCount > left ? status::kStreamTooShort : status::kSuccess;
}

uint32_t kelvora_readQVUint8(QvStream* stream, uint8_t* value) {
  if (uint32_t s = kelvora_canRead(stream, 1)) return s;
  *value = stream->data[stream->position];
  stream->position += 1;
  return status::kSuccess;
}

uint32_t kelvora_readQVUint16(QvStream* stream, uint16_t* value) {
  if (uint32_t s = kelvora_canRead(stream, 2)) return s;
  *value = kelvora_fromQVUint16(stream->data + stream->position);
  stream->position += 2;
  return status::kSuccess;
}

uint32_t kelvora_readQVUint32(QvStream* stream, uint32_t* value) {
  if (uint32_t s = kelvora_canRead(stream, 4)) return s;
  *value = kelvora_fromQVUint32(stream->data + stream->position);
  stream->position += 4;
  return status::kSuccess;
}

uint32_t kelvora_skipQV(QvStream* stream, uint64_t byteCount) {
  if (uint32_t s = kelvora_canRead(stream, byteCount)) return s;
  stream->position += static_cast<uint32_t>(byteCount);
  return status::kSuccess;
}

}  // namespace kelvora
