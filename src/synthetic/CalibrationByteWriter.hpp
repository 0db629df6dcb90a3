#pragma once
// Appends values to a calibration blob in the byte orders the formats use.
// Test and tool support only; never part of the exported library.
#include <cstdint>
#include <cstring>
#include <vector>

namespace kelvora::synth {

class CalibrationByteWriter {
 public:
  std::vector<uint8_t>& bytes() { return bytes_; }
  uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }

  void bigEndian16(uint16_t v) {
    bytes_.push_back(static_cast<uint8_t>(v >> 8));
    bytes_.push_back(static_cast<uint8_t>(v));
  }
  void bigEndian32(uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes_.push_back(static_cast<uint8_t>(v >> shift));
  }
  void littleEndian16(uint16_t v) {
    bytes_.push_back(static_cast<uint8_t>(v));
    bytes_.push_back(static_cast<uint8_t>(v >> 8));
  }
  void littleEndian32(uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) bytes_.push_back(static_cast<uint8_t>(v >> shift));
  }
  void littleEndianFloat(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    littleEndian32(bits);
  }
  void raw(const void* data, uint32_t count) {
    const auto* p = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), p, p + count);
  }

 private:
  std::vector<uint8_t> bytes_;
};

// Packs `values` of `bits` bits each into little-endian-bit-order 32-bit words
// (item i at stream bits i*bits .. i*bits+bits-1; stream bit k is bit k%32 of
// word k/32).
std::vector<uint32_t> packBits(const std::vector<uint32_t>& values, uint32_t bits);

}  // namespace kelvora::synth
