#pragma once
// Value encodings of the block format: big-endian integers, the 4-byte
// encoded float and bit-packed unsigned integers in big-endian words.
#include <cstdint>

namespace kelvora {

uint16_t kelvora_fromQVUint16(const uint8_t* bytes);
uint32_t kelvora_fromQVUint32(const uint8_t* bytes);
int32_t kelvora_fromQVInt32(const uint8_t* bytes);

// The encoded float: the big-endian word w holds, for a positive value, the
// biased exponent e + 127 in bits 23..30 and the fraction f in [0.5, 1) as
// 23 bits below the implicit leading one (frexp's split); a negative value is
// stored as the two's complement of its positive encoding. Zero is word 0.
float kelvora_fromQVFloat(const uint8_t* bytes);
float kelvora_decodeQVFloatWord(uint32_t word);

// Payload bytes of `count` values of `bits` bits. The quotient is taken in
// single precision, which the files were written with, so beyond 2^24 bits the
// size can fall short of the bits needed; unpacking then reports the shortage.
uint64_t kelvora_getQVPackedSize(uint64_t count, uint32_t bits);

// Item i is stream bits i*bits .. i*bits+bits-1, stream bit k being bit k%32
// of words[k/32] (least significant first). `words` are already in host
// order. Returns 0, status::kInvalidValue for bits outside 1..31, or
// status::kStreamTooShort when wordCount words hold fewer than `count` items.
uint32_t kelvora_unpackQVUint(const uint32_t* words, uint64_t wordCount, uint32_t bits,
                              uint64_t count, uint32_t* out);
// As above; each item v becomes offset + v * scale.
uint32_t kelvora_unpackQVFloat(const uint32_t* words, uint64_t wordCount, uint32_t bits,
                               uint64_t count, float scale, float offset, float* out);

}  // namespace kelvora
