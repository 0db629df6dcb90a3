#pragma once
// File header and block headers of the block-format calibration.
#include <cstdint>

#include "calibration/QvStream.hpp"

namespace kelvora {

// File magic, 6 bytes, no terminator in the file.
constexpr char kQvMagic[] = "ZYNQVF";
constexpr uint32_t kQvMagicSize = 6;
constexpr uint8_t kQvSupportedVersion = 1;
constexpr uint8_t kQvEndMarker = 255;

// Count codes: 1..248 are the count itself, 249 announces a uint32 count,
// 0 means one value per pixel and 250..255 mean 2..7 values per pixel.
constexpr uint8_t kQvCountPerPixel = 0;
constexpr uint8_t kQvLargestLiteralCount = 248;
constexpr uint8_t kQvCountFollows = 249;

// Data types of a block.
enum QvDataType : uint8_t {
  kQvUint8 = 0,
  kQvUint16 = 1,
  kQvUint32 = 2,
  kQvInt32 = 3,
  kQvFloat = 4,
  kQvPackedUint = 5,
  kQvPackedFloat = 6,
  kQvDataTypeCount = 7,
};

struct QvHeader {
  uint8_t version;
  uint16_t dimensionA;  // width
  uint16_t dimensionB;  // height
};

struct QvBlockHeader {
  uint8_t id;
  uint8_t type;
  uint8_t countCode;
  uint64_t count;  // values in the block; per-pixel codes can exceed 32 bits
  uint8_t bits;    // packed types only
  float scale;     // kQvPackedFloat only
  float offset;    // kQvPackedFloat only
};

// status::kStreamTooShort when the 11 header bytes are not there,
// status::kUnsupported when the magic differs.
uint32_t kelvora_readQVHeader(QvStream* stream, QvHeader* header);

// Reads one block header; for the end marker only the id is read. Counts of
// the per-pixel codes are relative to `pixelCount`. status::kInvalidValue for
// a data type of 7 or more, status::kStreamTooShort when bytes run out.
uint32_t kelvora_readQVBlockHeader(QvStream* stream, uint32_t pixelCount, QvBlockHeader* header);

// Bytes of the block's payload in the file.
uint64_t kelvora_getQVPackedBlockSize(const QvBlockHeader* header);
// Bytes of the block's values once decoded.
uint64_t kelvora_getQVUnpackedBlockSize(const QvBlockHeader* header);

}  // namespace kelvora
