#include "calibration/QvHeader.hpp"

#include <cstring>

#include "base/StatusCodes.hpp"
#include "calibration/QvValueEncoding.hpp"

namespace kelvora {

uint32_t kelvora_readQVHeader(QvStream* stream, QvHeader* header) {
  if (uint32_t s = kelvora_canRead(stream, kQvMagicSize)) return s;
  if (std::memcmp(stream->data + stream->position, kQvMagic, kQvMagicSize) != 0) {
    return status::kUnsupported;
  }
  stream->position += kQvMagicSize;
  if (uint32_t s = kelvora_readQVUint8(stream, &header->version)) return s;
  if (uint32_t s = kelvora_readQVUint16(stream, &header->dimensionA)) return s;
  return kelvora_readQVUint16(stream, &header->dimensionB);
}

uint32_t kelvora_readQVBlockHeader(QvStream* stream, uint32_t pixelCount, QvBlockHeader* header) {
  *header = QvBlockHeader{};
  if (uint32_t s = kelvora_readQVUint8(stream, &header->id)) return s;
  if (header->id == kQvEndMarker) return status::kSuccess;
  if (uint32_t s = kelvora_readQVUint8(stream, &header->type)) return s;
  if (header->type >= kQvDataTypeCount) return status::kInvalidValue;
  if (uint32_t s = kelvora_readQVUint8(stream, &header->countCode)) return s;

  const uint8_t code = header->countCode;
  if (code == kQvCountPerPixel) {
    header->count = pixelCount;
  } else if (code <= kQvLargestLiteralCount) {
    header->count = code;
  } else if (code == kQvCountFollows) {
    uint32_t count = 0;
    if (uint32_t s = kelvora_readQVUint32(stream, &count)) return s;
    header->count = count;
  } else {
    header->count = static_cast<uint64_t>(code - kQvLargestLiteralCount) * pixelCount;
  }

  if (header->type == kQvPackedUint || header->type == kQvPackedFloat) {
    if (uint32_t s = kelvora_readQVUint8(stream, &header->bits)) return s;
  }
  if (header->type == kQvPackedFloat) {
    uint32_t word = 0;
    if (uint32_t s = kelvora_readQVUint32(stream, &word)) return s;
    header->scale = kelvora_decodeQVFloatWord(word);
    if (uint32_t s = kelvora_readQVUint32(stream, &word)) return s;
    header->offset = kelvora_decodeQVFloatWord(word);
  }
  return status::kSuccess;
}

namespace {

uint64_t valueSize(uint8_t type) {
  switch (type) {
    case kQvUint8:
      return 1;
    case kQvUint16:
      return 2;
    default:
      return 4;  // 32-bit integers, floats and unpacked items
  }
}

}  // namespace

uint64_t kelvora_getQVPackedBlockSize(const QvBlockHeader* header) {
  if (header->type == kQvPackedUint || header->type == kQvPackedFloat) {
    return kelvora_getQVPackedSize(header->count, header->bits);
  }
  return header->count * valueSize(header->type);
}

uint64_t kelvora_getQVUnpackedBlockSize(const QvBlockHeader* header) {
  return header->count * valueSize(header->type);
}

}  // namespace kelvora
